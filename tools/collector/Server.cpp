#include "tools/collector/Server.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/collector/Export.h"
#include "tools/collector/Json.h"
#include "tools/collector/ListAnswer.h"
#include "tools/collector/http/HostNames.h"
#include "tools/collector/metrics/Metrics.h"
#include "tools/support/Number.h"

namespace collector {

namespace {

using namespace std::string_view_literals;
using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr const char* kJson = "application/json";
const ListFrame kJsonArray = {kJson, "[", ",\n", "]\n"};
constexpr const char* kServicePage = "/service";  // of a server for a fleet; others have no such file
constexpr std::chrono::seconds kKeepAlive{15};    // the longest silence of an event stream
constexpr milliseconds kPeerCheck{500};           // between two checks whether a watcher is still connected

/// Answers with a body that may be large, without copying it.
void send(Response& response, std::string body, const std::string& contentType) {
  if (body.empty()) return response.set_content("", contentType);  // the engine would announce no length
  const auto kept = std::make_shared<const std::string>(std::move(body));
  response.set_content_provider(kept->size(), contentType,
                                [kept](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                  return sink.write(kept->data() + offset, length);
                                });
}

void watch(const Services& services, const Request& request, Response& response) {
  Storage& storage = services.storage;
  Events& events = services.events;
  const auto [lastRequest, lastRecord] = storage.last();
  Cursor cursor{lastRequest, lastRecord};
  const bool isBack = request.has_header("Last-Event-ID");
  if (isBack || request.has_param("since")) {
    const auto asked =
        parseCursor(isBack ? request.get_header_value("Last-Event-ID") : request.get_param_value("since"), storage);
    if (!asked) return fail(response, 400, "since, or Last-Event-ID, is to be the id of an event, or 0");
    cursor = startOf(*asked, storage);
  }
  auto place = events.join();
  if (!place) return fail(response, 503, "there are as many watchers as --watchers allows");
  response.set_header("Cache-Control", "no-store");
  response.set_chunked_content_provider("text/event-stream", [&storage, &events, cursor, place = std::move(place)](
                                                                 std::size_t, httplib::DataSink& sink) mutable {
    const auto silentSince = std::chrono::steady_clock::now();
    for (;;) {
      if (events.hasEnded() || HttpServer::connection().hasPeerLeft()) return false;
      const auto count = events.count();
      std::string text = nextEvents(storage, cursor);
      if (text.empty() && std::chrono::steady_clock::now() - silentSince >= kKeepAlive) text = ": still here\n\n";
      if (!text.empty()) return sink.write(text.data(), text.size());
      events.waitBeyond(count, kPeerCheck);
    }
  });
}

/// Keeps web pages of other names from reading the data and setting faults. Clients may post under any name.
std::optional<Refusal> refuseForeignName(const Request& request) {
  const std::string host = request.get_header_value("Host");
  if (isPost(request) || isOwnName(host)) return std::nullopt;
  return Refusal{403, "'" + host + "' is no name of this machine: ask for localhost, or for its address"};
}

/// The right that a request needs.
Right rightFor(const Request& request) {
  if (isPost(request)) return Right::write;
  if (request.path == "/metrics") return Right::metrics;
  return request.method == "PUT" ? Right::faults : Right::read;
}

std::optional<Refusal> refuseWithoutToken(const TokenFile& tokens, const Request& request) {
  switch (tokens.check(request.get_header_value("Authorization"), rightFor(request))) {
    case Tokens::Answer::allowed:
      return std::nullopt;
    case Tokens::Answer::notAllowed:
      return Refusal{403, "its token does not allow this"};
    case Tokens::Answer::unknown:
      break;
  }
  return Refusal{401, "it has no valid token"};
}

/// A file of the page.
struct Asset {
  std::string_view path;  ///< "/", "/service", or below "/_page/"
  std::string_view contentType;
  std::string_view content;
};

constexpr Asset kAssets[] = {
#include "PageAssets.inc"  // made from the files in page/
};

void addPage(HttpServer& server) {
  const auto show = [](const Request& request, Response& response) {
    const auto* found = std::ranges::find(kAssets, request.path, &Asset::path);
    if (found == std::end(kAssets)) return fail(response, 404, "the page has no such file");
    response.set_header("Content-Security-Policy", "default-src 'self'");
    response.set_header("Cache-Control", "no-cache");
    response.set_content(found->content.data(), found->content.size(), std::string(found->contentType));
  };
  server.Get("/", show);
  server.Get(kServicePage, show);
  server.Get(R"(/_page/[\s\S]*)", show);
}

void addRequests(HttpServer& server, Storage& storage) {
  using Answering = std::function<void(const RequestRow&, Response&)>;
  const auto one = [&server, &storage](const std::string& pattern, const Answering& answering) {
    server.Get(pattern, [&storage, answering](const Request& request, Response& response) {
      const auto row = storage.request(std::stoll(request.matches[1].str()));
      row ? answering(*row, response) : fail(response, 404, "there is no such request");
    });
  };
  server.Get("/_requests", [&](const Request& request, Response& response) {
    sendList<RequestRow>(
        request, response, [&](auto since, auto limit) { return storage.requests(since, limit); }, kJsonArray,
        requestJson);
  });
  one(R"(/_requests/(\d{1,18}))", [&](const RequestRow& row, Response& response) {
    send(response, wholeRequestJson(row, storage.headers(row.id), storage.body(row.id)) + "\n", kJson);
  });
  one(R"(/_requests/(\d{1,18})/body)", [&](const RequestRow& row, Response& response) {
    response.set_header("Content-Security-Policy", "sandbox");
    send(response, storage.body(row.id), row.contentType.empty() ? "application/octet-stream" : row.contentType);
  });
}

void addRecords(HttpServer& server, Storage& storage) {
  server.Get("/_records", [&](const Request& request, Response& response) {
    sendList<RecordRow>(
        request, response, [&](auto since, auto limit) { return storage.records(since, limit); }, kJsonArray,
        recordJson);
  });
  server.Get(R"(/_records/(\d{1,18}))", [&](const Request& request, Response& response) {
    const auto row = storage.record(std::stoll(request.matches[1].str()));
    row ? send(response, recordJson(*row) + "\n", kJson) : fail(response, 404, "there is no such record");
  });
}

}  // namespace

void addRoutes(HttpServer& server, const Services& services) {
  server.set_default_headers({{"X-Content-Type-Options", "nosniff"}});
  server.set_exception_handler(
      [services](const Request& request, Response& response, const std::exception_ptr& thrown) {
        try {
          std::rethrow_exception(thrown);
        } catch (const std::exception& error) {
          if (isPost(request)) return refusePost(services.counters, Count::postsFailed, error.what());
          const bool isOfClient = dynamic_cast<const std::invalid_argument*>(&error) != nullptr;
          if (!isOfClient) std::fprintf(stderr, "sqm-collector: a request failed: %s\n", error.what());
          fail(response, isOfClient ? 400 : 500, error.what());
        }
      });
  if (services.isForThisMachine) server.addRefusal(refuseForeignName);
  if (services.tokens != nullptr) {
    server.addRefusal([services](const Request& request) { return refuseWithoutToken(*services.tokens, request); });
  }
  addPage(server);
  addRequests(server, services.storage);
  addRecords(server, services.storage);
  server.Get("/_faults", [services](const Request&, Response& response) {
    response.set_content(textsJson(services.faults.texts()) + "\n", kJson);
  });
  server.Get("/_events",
             [services](const Request& request, Response& response) { watch(services, request, response); });

  server.Get("/_counts", [services](const Request&, Response& response) {
    response.set_content(countsJson(services.counters) + "\n", kJson);
  });
  addMetrics(server, services);
  addExport(server, services);
  addServiceRoutes(server, services);
  addKeeping(server, services);
  server.Get(R"([\s\S]*)", [](const Request&, Response& response) {
    fail(response, 404, "there is nothing here: what is posted or put here is kept");
  });
}

}  // namespace collector
