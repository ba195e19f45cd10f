#include "tools/collector/Server.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/TimeStamp.h"

#include "tools/collector/HostNames.h"
#include "tools/collector/Json.h"
#include "tools/collector/Page.h"

namespace collector {

namespace {

using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr const char* kText = "text/plain";
constexpr const char* kJson = "application/json";
constexpr std::string_view kKept = "kept\n";
constexpr std::size_t kLongestFaults = std::size_t{1} << 20;
constexpr std::chrono::seconds kKeepAlive{15};  // how long a watcher hears nothing
constexpr milliseconds kLook{500};              // how often it is looked whether a watcher is still there

std::string utcNow() { return sqm::isoTimeStamp(std::chrono::floor<milliseconds>(std::chrono::system_clock::now())); }

/// What tells of requests, or steers the server; what is posted or put elsewhere is kept.
bool isOwn(const std::string& path) { return path.starts_with("/_"); }

/// What a request's head says, as the client wrote it.
struct Head {
  std::string path;
  std::string query;
  std::string contentType;
  std::vector<std::pair<std::string, std::string>> headers;
};

Head parseHead(std::string_view text) {
  Head head;
  const auto takeLine = [&text] {
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
  };
  const auto trimmed = [](std::string_view value) {
    const auto begin = std::min(value.find_first_not_of(" \t"), value.size());
    return value.substr(begin, value.find_last_not_of(" \t") + 1 - begin);
  };
  std::string_view target = takeLine();
  target.remove_prefix(std::min(target.find(' ') + 1, target.size()));
  target = target.substr(0, target.find(' '));
  const auto query = target.find('?');
  head.path = target.substr(0, query);
  if (query != std::string_view::npos) head.query = target.substr(query + 1);
  for (std::string_view line = takeLine(); !line.empty(); line = takeLine()) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    head.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    const auto& [name, value] = head.headers.back();
    if (httplib::detail::ci less; !less(name, "Content-Type") && !less("Content-Type", name)) head.contentType = value;
  }
  return head;
}

/// Text from outside as a terminal can bear it.
std::string printable(std::string_view text) {
  std::string shown;
  for (const char character : text) shown += character > ' ' && character < 0x7F ? character : '?';
  return shown;
}

/// Reads a body of at most `longest` bytes. Otherwise the response says what is wrong with it.
std::optional<std::string> readBody(const Request& request, Response& response, const httplib::ContentReader& read,
                                    std::size_t longest) {
  std::string body;
  bool isTooLong = false;
  std::uint64_t announced = 0;
  const std::string length = request.get_header_value("Content-Length");
  std::from_chars(length.data(), length.data() + length.size(), announced);
  body.reserve(std::min<std::uint64_t>(announced, longest));
  const bool isWhole = read([&](const char* data, std::size_t size) {
    isTooLong = size > longest - body.size();
    if (!isTooLong) body.append(data, size);
    return !isTooLong;
  });
  if (isWhole) return body;
  HttpServer::connection().closeAfterAnswer();
  if (isTooLong) {
    fail(response, 413, "the body is longer than " + std::to_string(longest) + " bytes");
  } else {
    fail(response, 400, "the body is not all there");
  }
  return std::nullopt;
}

/// Answers with a body that may be large: it is not copied once more.
void send(Response& response, std::string body, const std::string& contentType) {
  if (body.empty()) return response.set_content("", contentType);  // the engine would announce no length
  const auto kept = std::make_shared<const std::string>(std::move(body));
  response.set_content_provider(kept->size(), contentType,
                                [kept](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                  return sink.write(kept->data() + offset, length);
                                });
}

/// Sends half of the answer that it announces.
void sendHalf(Response& response, bool isReset) {
  response.set_content_provider(kKept.size(), kText, [isReset](std::size_t, std::size_t, httplib::DataSink& sink) {
    sink.write(kKept.data(), kKept.size() / 2);
    if (isReset) HttpServer::connection().breakOff();
    return false;
  });
}

void answer(Response& response, const std::optional<FaultRule>& fault) {
  if (!fault) return response.set_content(kKept.data(), kKept.size(), kText);
  switch (fault->kind) {
    case FaultRule::Kind::resetBefore:
      return HttpServer::connection().breakOff();
    case FaultRule::Kind::resetInside:
      return sendHalf(response, true);
    case FaultRule::Kind::cut:
      return sendHalf(response, false);
    case FaultRule::Kind::status:
    case FaultRule::Kind::delay:
      break;
  }
  response.status = fault->status;
  if (fault->status != 204 && fault->status != 304) {
    response.set_content("status " + std::to_string(fault->status) + ", as asked for\n", kText);
  }
}

void keep(const Services& services, const std::string& body, const Request& request, Response& response) {
  Head head = parseHead(HttpServer::connection().head());
  const Misfortune misfortune = services.faults.next(head.path);
  const RequestRow kept = services.database.add({.time = utcNow(),
                                                 .method = request.method,
                                                 .path = std::move(head.path),
                                                 .query = std::move(head.query),
                                                 .contentType = std::move(head.contentType),
                                                 .headers = pairsJson(head.headers),
                                                 .body = body,
                                                 .answered = answeredText(misfortune.fault)});
  services.events.tell();
  if (!services.isQuiet) {
    std::printf("%lld  %s %s  %lld bytes  %lld records  %s%s%s\n", static_cast<long long>(kept.id), kept.method.c_str(),
                printable(kept.path).c_str(), static_cast<long long>(kept.bytes), static_cast<long long>(kept.records),
                kept.answered.c_str(), kept.problem ? "  " : "", kept.problem.value_or("").c_str());
    std::fflush(stdout);
  }
  if (misfortune.delay.count() > 0) services.events.pause(misfortune.delay);
  answer(response, misfortune.fault);
}

void replaceFaults(Faults& faults, const std::string& body, Response& response) {
  try {
    const auto texts = nlohmann::json::parse(body).get<std::vector<std::string>>();
    std::vector<FaultRule> rules;
    for (const std::string& text : texts) rules.push_back(parseFaultRule(text));
    faults.replace(std::move(rules));
    response.set_content(textsJson(faults.texts()) + "\n", kJson);
  } catch (const nlohmann::json::exception&) {
    fail(response, 400, R"(the body is to be a JSON array of rules, such as ["/sqm:status=500:once"])");
  } catch (const std::invalid_argument& error) {
    fail(response, 400, error.what());
  }
}

/// A number of the query, from 0 on; `otherwise` when there is none. Throws std::invalid_argument.
std::int64_t queryNumber(const Request& request, const char* name, std::int64_t otherwise) {
  if (!request.has_param(name)) return otherwise;
  const std::string text = request.get_param_value(name);
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) {
    throw std::invalid_argument(std::string(name) + " is to be a whole number from 0 on");
  }
  return number;
}

/// Answers with a JSON array of what `fetch` gives, read and sent piece by piece.
template <typename Row>
void sendList(const Request& request, Response& response,
              std::function<std::vector<Row>(std::int64_t since, std::int64_t limit)> fetch,
              std::string (*toJson)(const Row&)) {
  constexpr std::int64_t kAtATime = 256;
  std::int64_t since = queryNumber(request, "since", 0);
  std::int64_t left = queryNumber(request, "limit", std::numeric_limits<std::int64_t>::max());
  bool isFirst = true;
  response.set_chunked_content_provider(kJson,
                                        [=, fetch = std::move(fetch)](std::size_t, httplib::DataSink& sink) mutable {
                                          std::string text = isFirst ? "[" : "";
                                          const auto rows = fetch(since, std::min(left, kAtATime));
                                          for (const Row& row : rows) {
                                            if (!std::exchange(isFirst, false)) text += ",\n";
                                            text += toJson(row);
                                            since = row.id;
                                            --left;
                                          }
                                          if (rows.empty()) text += "]\n";
                                          isFirst = isFirst && !rows.empty();
                                          const bool isSent = sink.write(text.data(), text.size());
                                          if (rows.empty()) sink.done();
                                          return isSent;
                                        });
}

void watch(const Services& services, const Request& request, Response& response) {
  Database& database = services.database;
  Events& events = services.events;
  const auto [lastRequest, lastRecord] = database.last();
  Cursor cursor{lastRequest, lastRecord};
  const bool isBack = request.has_header("Last-Event-ID");
  if (isBack || request.has_param("since")) {
    const auto asked =
        parseCursor(isBack ? request.get_header_value("Last-Event-ID") : request.get_param_value("since"), database);
    if (!asked) return fail(response, 400, "since, or Last-Event-ID, is to be the id of an event, or 0");
    cursor = startOf(*asked, database);
  }
  auto place = events.join();
  if (!place) return fail(response, 503, "there are as many watchers as --watchers allows");
  response.set_header("Cache-Control", "no-store");
  response.set_chunked_content_provider("text/event-stream", [&database, &events, cursor, place = std::move(place)](
                                                                 std::size_t, httplib::DataSink& sink) mutable {
    const auto silentSince = std::chrono::steady_clock::now();
    for (;;) {
      if (events.hasEnded() || HttpServer::connection().hasPeerLeft()) return false;
      const auto count = events.count();
      std::string text = nextEvents(database, cursor);
      if (text.empty() && std::chrono::steady_clock::now() - silentSince >= kKeepAlive) text = ": still here\n\n";
      if (!text.empty()) return sink.write(text.data(), text.size());
      events.waitBeyond(count, kLook);
    }
  });
}

/// Lets no page of the web read what is kept here.
std::optional<Refusal> refuseForeignName(const Request& request) {
  const std::string host = request.get_header_value("Host");
  if ((request.path != "/" && !isOwn(request.path)) || isOwnName(host)) return std::nullopt;
  return Refusal{403, "'" + host + "' is no name of this machine: ask for localhost, or for its address"};
}

void addPage(HttpServer& server) {
  const auto show = [](const Request& request, Response& response) {
    const auto found =
        std::find_if(assets().begin(), assets().end(), [&](const Asset& asset) { return asset.path == request.path; });
    if (found == assets().end()) return fail(response, 404, "the page has no such file");
    response.set_header("Content-Security-Policy", "default-src 'self'");
    response.set_header("Cache-Control", "no-cache");
    response.set_content(found->content.data(), found->content.size(), std::string(found->contentType));
  };
  server.Get("/", show);
  server.Get(R"(/_page/[\s\S]*)", show);
}

void addRequests(HttpServer& server, Database& database) {
  using Answering = std::function<void(const RequestRow&, Response&)>;
  const auto one = [&server, &database](const std::string& pattern, const Answering& answering) {
    server.Get(pattern, [&database, answering](const Request& request, Response& response) {
      const auto row = database.request(std::stoll(request.matches[1].str()));
      row ? answering(*row, response) : fail(response, 404, "there is no such request");
    });
  };
  server.Get("/_requests", [&](const Request& request, Response& response) {
    sendList<RequestRow>(
        request, response, [&](auto since, auto limit) { return database.requests(since, limit); }, requestJson);
  });
  one(R"(/_requests/(\d{1,18}))", [&](const RequestRow& row, Response& response) {
    send(response, wholeRequestJson(row, database.headers(row.id), database.body(row.id)) + "\n", kJson);
  });
  one(R"(/_requests/(\d{1,18})/body)", [&](const RequestRow& row, Response& response) {
    response.set_header("Content-Security-Policy", "sandbox");
    send(response, database.body(row.id), row.contentType.empty() ? "application/octet-stream" : row.contentType);
  });
}

void addRecords(HttpServer& server, Database& database) {
  server.Get("/_records", [&](const Request& request, Response& response) {
    sendList<RecordRow>(
        request, response, [&](auto since, auto limit) { return database.records(since, limit); }, recordJson);
  });
  server.Get(R"(/_records/(\d{1,18}))", [&](const Request& request, Response& response) {
    const auto row = database.record(std::stoll(request.matches[1].str()));
    row ? send(response, recordJson(*row) + "\n", kJson) : fail(response, 404, "there is no such record");
  });
}

}  // namespace

void addRoutes(HttpServer& server, const Services& services) {
  server.set_default_headers({{"X-Content-Type-Options", "nosniff"}});
  server.set_exception_handler([](const Request&, Response& response, const std::exception_ptr& thrown) {
    try {
      std::rethrow_exception(thrown);
    } catch (const std::invalid_argument& error) {
      fail(response, 400, error.what());
    } catch (const std::exception& error) {
      std::fprintf(stderr, "sqm-collector: a request failed: %s\n", error.what());
      fail(response, 500, error.what());
    }
  });
  if (services.isForThisMachine) server.refuseToo(refuseForeignName);
  addPage(server);
  addRequests(server, services.database);
  addRecords(server, services.database);
  server.Get("/_faults", [services](const Request&, Response& response) {
    response.set_content(textsJson(services.faults.texts()) + "\n", kJson);
  });
  server.Get("/_events",
             [services](const Request& request, Response& response) { watch(services, request, response); });

  const std::size_t largestBody = server.limits().largestBody;
  const auto take = [services, largestBody](const Request& request, Response& response,
                                            const httplib::ContentReader& read) {
    const bool isKept = !isOwn(request.path);
    const auto body = readBody(request, response, read, isKept ? largestBody : kLongestFaults);
    if (!body) return;
    if (isKept) {
      keep(services, *body, request, response);
    } else if (request.method == "PUT" && request.path == "/_faults") {
      replaceFaults(services.faults, *body, response);
    } else {
      fail(response, 404, "nothing is kept below /_");
    }
  };
  server.Post(R"([\s\S]*)", take);
  server.Put(R"([\s\S]*)", take);
  server.Get(R"([\s\S]*)", [](const Request&, Response& response) {
    fail(response, 404, "there is nothing here: what is posted or put here is kept");
  });
}

}  // namespace collector
