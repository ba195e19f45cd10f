// The callbacks of C, each a method of the delegate.

#include <cmath>
#include <string_view>

#include "faces/c/sqm-c/services.h"
#include "faces/objc/internal/Bridge.h"
#import "faces/objc/internal/SQMHostOptions+Handle.h"
#import "faces/objc/internal/SQMHttpRequest+Handle.h"

using sqm::objc::callOut;
using sqm::objc::CText;
using sqm::objc::guarded;
using sqm::objc::stringOf;
using sqm::objc::succeeded;
using sqm::objc::textOf;

namespace {

id<SQMHostDelegate> delegateOf(void* context) { return static_cast<id>(context); }

NSString* given(const char* text) { return text == nullptr ? nil : stringOf(std::string_view(text)); }

void fileProblem(void* context, const sqm_file_problem* problem) {
  callOut([=] { [delegateOf(context) sqmFileProblem:problem]; });
}

void httpExchange(void* context, const sqm_http_exchange* exchange) {
  callOut([=] { [delegateOf(context) sqmHttpExchange:exchange]; });
}

void delivery(void* context, const sqm_delivery* delivery) {
  callOut([=] { [delegateOf(context) sqmDelivery:delivery]; });
}

void drop(void* context, const sqm_drop* drop) {
  callOut([=] { [delegateOf(context) sqmDrop:drop]; });
}

void refusedDrop(void* context, const sqm_refused_drop* drop) {
  callOut([=] { [delegateOf(context) sqmRefusedDrop:drop]; });
}

void httpHeaders(void* context, const char* address, sqm_http_headers* headers) {
  callOut([=] {
    NSDictionary* const added = [delegateOf(context) sqmHttpHeadersForAddress:given(address)];
    guarded([&] {
      NSEnumerator* const names = [added keyEnumerator];
      for (NSString* name = [names nextObject]; name != nil; name = [names nextObject]) {
        sqm_http_headers_add(headers, CText(name), CText([added objectForKey:name]));
      }
    });
  });
}

void send(void* context, sqm_http_request* handle, const char* url, const char* body, size_t size) {
  callOut([=] {
    NSData* const data = [NSData dataWithBytes:body length:size];
    SQMHttpRequest* const request = [[SQMHttpRequest alloc] initWithHandle:handle URL:given(url) body:data];
    [delegateOf(context) sqmSendHttpRequest:[request autorelease]];
  });
}

void abortRequest(void* context, sqm_http_request* handle) {
  callOut([=] { [delegateOf(context) sqmAbortHttpRequest:[SQMHttpRequest requestWithHandle:handle]]; });
}

void addValue(void* dictionary, const char* key, const char* value) {
  [static_cast<NSMutableDictionary*>(dictionary) setObject:given(value) forKey:given(key)];
}

NSMutableDictionary* dictionaryOf(const sqm_values* values) {
  NSMutableDictionary* const dictionary = [NSMutableDictionary dictionary];
  sqm_values_for_each(values, addValue, dictionary);
  return dictionary;
}

bool isDisabled(void* context, const char* name, const char* subType, const sqm_values* values) {
  bool result = false;
  callOut([&] {
    result = [delegateOf(context) recordingDisabledForRecordName:given(name)
                                                         subType:given(subType)
                                                    andSQMValues:dictionaryOf(values)];
  });
  return result;
}

void applyFilters(void* context, const char* name, const char* subType, sqm_values* values) {
  callOut([=] {
    NSDictionary* const before = dictionaryOf(values);
    NSDictionary* const after = [delegateOf(context) appyFiltersForRecord:given(name)
                                                                  subType:given(subType)
                                                                   values:before];
    if (after == nil) return;
    guarded([&] {
      NSEnumerator* keys = [before keyEnumerator];
      for (NSString* key = [keys nextObject]; key != nil; key = [keys nextObject]) {
        if ([after objectForKey:key] == nil) sqm_values_set(values, CText(key), nullptr);
      }
      keys = [after keyEnumerator];
      for (NSString* key = [keys nextObject]; key != nil; key = [keys nextObject]) {
        NSString* const value = [after objectForKey:key];
        if (![value isEqual:[before objectForKey:key]]) sqm_values_set(values, CText(key), CText(value));
      }
    });
  });
}

void writeLog(void* context, const char* file, const char* category, int32_t level, const char* text) {
  callOut([=] { [delegateOf(context) sqmWriteLog:given(file) category:given(category) level:level text:given(text)]; });
}

int64_t now(void* context) {
  NSTimeInterval seconds = 0;
  callOut([&] { seconds = [[delegateOf(context) sqmNow] timeIntervalSince1970]; });
  return std::llround(seconds * 1e6);
}

}  // namespace

namespace sqm::objc {

void useDelegate(sqm_options* options, id<SQMHostDelegate> delegate) {
  const auto has = [=](SEL method) { return [delegate respondsToSelector:method] == YES; };
  const auto observe = [&](SEL method, auto setter, auto callback) {
    if (has(method)) succeeded(setter(options, callback, delegate));
  };
  observe(@selector(sqmFileProblem:), sqm_options_on_file_problem, fileProblem);
  observe(@selector(sqmHttpExchange:), sqm_options_on_http_exchange, httpExchange);
  observe(@selector(sqmHttpHeadersForAddress:), sqm_options_on_http_headers, httpHeaders);
  observe(@selector(sqmDelivery:), sqm_options_on_delivery, delivery);
  observe(@selector(sqmDrop:), sqm_options_on_drop, drop);
  observe(@selector(sqmRefusedDrop:), sqm_options_on_refused_drop, refusedDrop);

  if (has(@selector(sqmSendHttpRequest:))) {
    const bool aborts = has(@selector(sqmAbortHttpRequest:));
    const sqm_http_service http = {sizeof http, delegate, send, aborts ? abortRequest : nullptr};
    succeeded(sqm_options_set_http(options, &http));
  }
  const bool disables = has(@selector(recordingDisabledForRecordName:subType:andSQMValues:));
  const bool replaces = has(@selector(appyFiltersForRecord:subType:values:));
  if (disables || replaces) {
    const sqm_filter_service filter = {sizeof filter, delegate, disables ? isDisabled : nullptr,
                                       replaces ? applyFilters : nullptr};
    succeeded(sqm_options_set_filter(options, &filter));
  }
  if (has(@selector(sqmWriteLog:category:level:text:))) {
    const sqm_log_service log = {sizeof log, delegate, writeLog};
    succeeded(sqm_options_set_log(options, &log));
  }
  if (has(@selector(sqmNow))) {
    const sqm_clock_service clock = {sizeof clock, delegate, now};
    succeeded(sqm_options_set_clock(options, &clock));
  }
}

}  // namespace sqm::objc
