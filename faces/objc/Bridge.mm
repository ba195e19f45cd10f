#include "faces/objc/internal/Bridge.h"

#include <exception>
#include <new>
#include <stdexcept>

#include "faces/c/internal/Objects.h"
#import "faces/objc/internal/SQMHost+Handle.h"

namespace sqm::objc {

namespace {

void appendUtf8(std::string& text, char32_t point) {
  const int following = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  constexpr char32_t kLeading[] = {0, 0xc0, 0xe0, 0xf0};
  text += static_cast<char>(kLeading[following] | point >> (6 * following));
  for (int at = following - 1; at >= 0; --at) text += static_cast<char>(0x80 | (point >> (6 * at) & 0x3f));
}

/// For a string with unpaired surrogates, of which UTF-8 and Foundation make nothing: U+FFFD takes their place.
std::string repaired(NSString* string) {
  std::string text;
  const NSUInteger length = [string length];
  for (NSUInteger at = 0; at < length; ++at) {
    const char32_t unit = [string characterAtIndex:at];
    const char32_t next = at + 1 < length ? [string characterAtIndex:at + 1] : 0;
    if ((unit & 0xfc00) == 0xd800 && (next & 0xfc00) == 0xdc00) {
      appendUtf8(text, 0x10000 + ((unit & 0x3ff) << 10 | (next & 0x3ff)));
      ++at;
    } else {
      appendUtf8(text, (unit & 0xf800) == 0xd800 ? 0xfffd : unit);
    }
  }
  return text;
}

}  // namespace

Text textOf(NSString* string) {
  if (string == nil) return std::nullopt;
  NSData* const data = [string dataUsingEncoding:NSUTF8StringEncoding];
  if (data == nil) return repaired(string);
  return std::string(static_cast<const char*>([data bytes]), [data length]);
}

NSString* stringOf(std::optional<std::string_view> text) {
  if (!text) return nil;
  NSString* string = [[NSString alloc] initWithBytes:text->data() length:text->size() encoding:NSUTF8StringEncoding];
  if (string == nil) {
    string = [[NSString alloc] initWithBytes:text->data() length:text->size() encoding:NSISOLatin1StringEncoding];
  }
  return [string autorelease];
}

NSString* takenString(char* text) {
  NSString* string = text == nullptr ? nil : stringOf(text);
  sqm_string_free(text);
  return string;
}

NSString* tableText(char* text) {
  if (text == nullptr) raise({NSInvalidArgumentException, stringOf(sqm_last_error())});
  return takenString(text);
}

ValueDictionary valuesOf(NSDictionary* dictionary) {
  ValueDictionary values;
  NSEnumerator* keys = [dictionary keyEnumerator];
  for (id key = [keys nextObject]; key != nil; key = [keys nextObject]) {
    values.set(*textOf(key), *textOf([dictionary objectForKey:key]));
  }
  return values;
}

NSDictionary* dictionaryOf(const ValueDictionary& values) {
  NSMutableDictionary* dictionary = [NSMutableDictionary dictionary];
  values.forEach([&](std::string_view key, std::string_view value) {
    [dictionary setObject:stringOf(value) forKey:stringOf(key)];
  });
  return dictionary;
}

Problem problemInFlight() {
  if (!std::current_exception()) throw;  // one of Objective-C
  try {
    throw;
#ifdef __APPLE__
  } catch (NSException*) {
    throw;  // there, exceptions of Objective-C are exceptions of C++
#endif
  } catch (const std::invalid_argument& error) {
    return {NSInvalidArgumentException, stringOf(error.what())};
  } catch (const std::out_of_range& error) {
    return {NSRangeException, stringOf(error.what())};
  } catch (const std::bad_alloc&) {
    return {NSMallocException, @"out of memory"};
  } catch (const std::exception& error) {
    return {NSInternalInconsistencyException, stringOf(error.what())};
  } catch (...) {
    return {NSInternalInconsistencyException, @"an exception of an unknown type"};
  }
}

void raise(const Problem& problem) { sqm_objc_raise(problem.name, problem.reason); }

void discard(id object) { [object release]; }

BOOL succeeded(sqm_status status) {
  if (status == SQM_OK || status == SQM_FAILED) return status == SQM_OK;
  NSString* const names[] = {nil, NSInvalidArgumentException, NSRangeException, NSMallocException,
                             NSInternalInconsistencyException};
  raise({names[status], stringOf(sqm_last_error())});
}

KeptHost::KeptHost() : KeptHost([SQMHost sharedHost]) {}

KeptHost::KeptHost(SQMHost* host) : host_([host retain]) {}

KeptHost::KeptHost(const KeptHost& other) : KeptHost(other.host_) {}

KeptHost::~KeptHost() { [host_ release]; }

Host& KeptHost::services() const { return c::on(handle(), c::Use::anyThread).state->host; }

sqm_host* KeptHost::handle() const { return [host_ handle]; }

namespace {

/// A handler that posts a notification of the application.
struct Post {
  void operator()(const Notification& /*posted*/) const {
    NSString* const posted = name;
    id const object = [sender retain];  // an observer may release it, and with it this handler
    callOut([=] { [[NSNotificationCenter defaultCenter] postNotificationName:posted object:object]; });
    [object release];
  }

  NSString* name;
  id sender;
};

}  // namespace

Announcer::Announcer(const Host& host, std::initializer_list<NSString*> names, const void* from, id sender) {
  for (NSString* const name : names) {
    registrations_.push_back(host.notificationCenter->addObserver(*textOf(name), from, Post{name, sender}));
  }
}

GivenNotification::GivenNotification(NSNotification* notification) : name_(textOf([notification name]).value_or("")) {}

}  // namespace sqm::objc
