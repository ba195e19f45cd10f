// The callbacks of the options: each gets a structure with the values of the C++ observer's argument.

#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "faces/c/internal/Handles.h"
#include "faces/c/internal/Options.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using sqm::delivery::Delivery;
using sqm::delivery::Drop;
using sqm::delivery::DropReason;
using sqm::delivery::RefusedFile;
using sqm::platform::FileProblem;
using sqm::platform::HttpExchange;

namespace {

/// Sets an observer that passes its argument on to a callback; none without a callback. An argument that cannot be
/// passed on, without memory for its copy, is lost: observers must not throw.
template <typename Observer, typename Pass>
sqm_status observe(sqm_options* options, Observer sqm::platform::StandardHost::Options::*member, bool isSet,
                   Pass pass) {
  return attempt([&] {
    Observer& observer = on(options).standard.*member;
    observer = nullptr;
    if (!isSet) return;
    observer = [pass](const auto&... arguments) {
      try {
        pass(arguments...);
      } catch (const std::bad_alloc&) {
        return;
      }
    };
  });
}

}  // namespace

sqm_status sqm_options_on_file_problem(sqm_options* options, sqm_file_problem_callback callback, void* context) {
  return observe(options, &sqm::platform::StandardHost::Options::onFileProblem, callback != nullptr,
                 [callback, context](const FileProblem& problem) {
                   const std::string path(problem.path);
                   const std::string reason(problem.reason);
                   const sqm_file_problem given = {problem.operation == FileProblem::Operation::write, path.c_str(),
                                                   reason.c_str()};
                   callback(context, &given);
                 });
}

sqm_status sqm_options_on_http_exchange(sqm_options* options, sqm_http_exchange_callback callback, void* context) {
  return observe(options, &sqm::platform::StandardHost::Options::onHttpExchange, callback != nullptr,
                 [callback, context](const HttpExchange& exchange) {
                   std::vector<sqm_http_header> headers;
                   for (const auto& header : exchange.headers) {
                     headers.push_back({header.name.c_str(), header.value.c_str()});
                   }
                   const sqm_http_exchange given = {static_cast<std::int32_t>(exchange.outcome),
                                                    exchange.status,
                                                    exchange.address.c_str(),
                                                    exchange.reason.c_str(),
                                                    exchange.elapsed.count(),
                                                    exchange.bytesSent,
                                                    exchange.bytesReceived,
                                                    exchange.contentType.c_str(),
                                                    exchange.retryAfter.count(),
                                                    headers.data(),
                                                    headers.size()};
                   callback(context, &given);
                 });
}

struct sqm_http_headers {
  std::vector<sqm::platform::HttpHeader> added;
  bool isComplete = true;
};

sqm_status sqm_options_on_http_headers(sqm_options* options, sqm_http_headers_callback callback, void* context) {
  return attempt([&] {
    sqm::platform::HttpHeaderSource& source = on(options).standard.http.headers;
    source = nullptr;
    if (callback == nullptr) return;
    source = [callback, context](std::string_view address) {
      sqm_http_headers headers;
      callback(context, std::string(address).c_str(), &headers);
      if (!headers.isComplete) throw std::bad_alloc();  // the request is then an error
      return std::move(headers.added);
    };
  });
}

sqm_status sqm_http_headers_add(sqm_http_headers* headers, const char* name, const char* value) {
  const sqm_status status = attempt([&] {
    require(headers != nullptr, "the headers are NULL");
    require(name != nullptr && value != nullptr, "a header's name or value is NULL");
    headers->added.push_back({name, value});
  });
  if (status == SQM_NO_MEMORY) headers->isComplete = false;
  return status;
}

sqm_status sqm_options_on_delivery(sqm_options* options, sqm_delivery_callback callback, void* context) {
  return observe(options, &sqm::platform::StandardHost::Options::onDelivery, callback != nullptr,
                 [callback, context](const Delivery& delivery) {
                   const std::string address(delivery.address);
                   const std::string reason(delivery.reason);
                   const sqm_delivery given = {static_cast<std::int32_t>(delivery.outcome),
                                               delivery.status,
                                               delivery.shownStatus,
                                               delivery.retryAfter.count(),
                                               address.c_str(),
                                               delivery.bytes,
                                               reason.c_str()};
                   callback(context, &given);
                 });
}

sqm_status sqm_options_on_drop(sqm_options* options, sqm_drop_callback callback, void* context) {
  return observe(options, &sqm::platform::StandardHost::Options::onDrop, callback != nullptr,
                 [callback, context](const Drop& drop) {
                   const auto list = drop.type ? static_cast<std::int32_t>(*drop.type) : SQM_LIST_QUEUE;
                   const sqm_drop given = {list, drop.count, static_cast<std::int32_t>(drop.reason)};
                   callback(context, &given);
                 });
}

sqm_status sqm_options_on_refused_drop(sqm_options* options, sqm_refused_drop_callback callback, void* context) {
  return observe(
      options, &sqm::platform::StandardHost::Options::onRefusedDrop, callback != nullptr,
      [callback, context](const RefusedFile& dropped, DropReason reason, std::uint64_t count) {
        const sqm_refused_drop given = {dropped.path.c_str(), dropped.bytes, static_cast<std::int32_t>(reason), count};
        callback(context, &given);
      });
}
