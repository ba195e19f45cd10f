#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <strings.h>
#include <utility>
#include <vector>

#include "sqm/common/internal/TimeStamp.h"

#include "tools/collector/Gunzip.h"
#include "tools/collector/Json.h"
#include "tools/collector/Server.h"
#include "tools/support/Number.h"

namespace collector {

namespace {

using httplib::Request;
using httplib::Response;
using std::chrono::milliseconds;

constexpr const char* kText = "text/plain";
constexpr std::string_view kKept = "kept\n";
constexpr std::string_view kNotInTime = "the body could not be stored in time";
constexpr std::size_t kLongestFaults = std::size_t{1} << 20;

std::string utcNow() { return sqm::isoTimeStamp(std::chrono::floor<milliseconds>(std::chrono::system_clock::now())); }

/// The head of a request as the client wrote it.
struct RequestHead {
  std::string path;
  std::string query;
  std::string contentType;
  bool isGzip = false;
  std::vector<std::pair<std::string, std::string>> headers;
};

/// True for a header whose value must not be stored: it holds the client's token.
bool isSecret(std::string_view name) { return strcasecmp(std::string(name).c_str(), "Authorization") == 0; }

/// Reads a request line and the headers after it.
RequestHead parseHead(std::string_view text) {
  RequestHead head;
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
    if (colon == std::string_view::npos || isSecret(line.substr(0, colon))) continue;
    head.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    const auto& [name, value] = head.headers.back();
    if (strcasecmp(name.c_str(), "Content-Type") == 0) head.contentType = value;
    if (strcasecmp(name.c_str(), "Content-Encoding") == 0) head.isGzip = strcasecmp(value.c_str(), "gzip") == 0;
  }
  return head;
}

std::optional<std::uint64_t> announcedLength(const Request& request) {
  return tools::numberIn<std::uint64_t>(request.get_header_value("Content-Length"));
}

/// Makes room in memory for a body of at least this length. Returns the length for which there is room, or 0 when there
/// is none in time.
using MakeRoom = std::function<std::size_t(std::size_t length)>;

/// Reads a body of at most `longest` bytes. When it cannot be read, the request is refused.
std::optional<std::string> readBody(Counters& counters, const Request& request, Response& response,
                                    const httplib::ContentReader& read, std::size_t longest, const MakeRoom& makeRoom) {
  std::string body;
  bool isTooLong = false;
  bool hasRoom = true;
  const std::uint64_t announced = announcedLength(request).value_or(0);
  const bool isWhole = read([&, room = std::size_t{0}](const char* data, std::size_t size) mutable {
    const std::size_t length = body.size() + size;
    isTooLong = length > longest;
    if (!isTooLong && length > room) {
      room = makeRoom(length);
      hasRoom = length <= room;
      body.reserve(std::min<std::uint64_t>(announced, room));
    }
    if (isTooLong || !hasRoom) return false;
    body.append(data, size);
    return true;
  });
  counters.add(Count::postBytes, body.size());
  if (isWhole) return body;
  if (isTooLong) {
    HttpServer::connection().endBy(Connection::End::drain);
    refuseTooLong(counters, response, longest);
  } else if (!hasRoom) {
    refusePost(counters, Count::postsFailed, kNotInTime);
  } else {
    refusePost(counters, Count::postsIncomplete, "the body is not all there");
  }
  return std::nullopt;
}

/// Announces an answer and sends half of it.
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

/// The longest that a body can be in memory, as sent and decoded.
std::size_t lengthInMemory(const Request& request, bool isGzip, std::size_t longest) {
  constexpr std::size_t kMostOfOneByte = 1032;  // a byte of deflate (RFC 1951) becomes no more bytes than that
  const std::size_t sent = std::min<std::uint64_t>(announcedLength(request).value_or(longest), longest);
  return isGzip ? sent + std::min(sent * kMostOfOneByte, longest) : sent;
}

void print(const RequestRow& kept) {
  std::printf("%lld  %s %s  %lld bytes  %lld records  %s%s%s\n", static_cast<long long>(kept.id), kept.method.c_str(),
              printable(kept.path).c_str(), static_cast<long long>(kept.bytes), static_cast<long long>(kept.records),
              kept.answered.c_str(), kept.problem ? "  " : "", kept.problem.value_or("").c_str());
  std::fflush(stdout);
}

/// Reads a body and stores it. What is not stored is refused.
void keep(const Services& services, std::size_t longest, const Request& request, Response& response,
          const httplib::ContentReader& read) {
  Keeper& keeper = services.keeper;
  const auto fail = [&services] { refusePost(services.counters, Count::postsFailed, kNotInTime); };
  Keeper::Time until;
  RequestHead head = parseHead(HttpServer::connection().head());
  // A body that announces much and sends little takes no more than its share.
  const std::size_t most = lengthInMemory(request, head.isGzip, longest);
  InFlight::Room room;
  const auto makeRoom = [&](std::size_t length) {
    room = keeper.makeRoom(length <= keeper.share() ? std::min(most, keeper.share()) : most, until);
    return room.bytes();
  };
  auto received = readBody(services.counters, request, response, read, longest, [&](std::size_t length) {
    until = keeper.deadline();  // the client sends on after each wait
    return makeRoom(length);
  });
  if (!received) return;
  until = keeper.deadline();  // it waits from the last byte on, however long the others took
  std::string body = *std::move(received);
  if (head.isGzip) {
    try {
      auto decoded = gunzip(body, std::min(longest, room.bytes() - body.size()));
      if (!decoded && room.bytes() < most) {
        if (makeRoom(most) == 0) return fail();
        decoded = gunzip(body, longest);
      }
      if (!decoded) return refuseTooLong(services.counters, response, longest);
      body = *std::move(decoded);
    } catch (const std::invalid_argument&) {
      // It is kept as it was sent, with the problem that its records cannot be read.
    }
  }
  const Misfortune misfortune = services.faults.next(head.path);
  RequestRow row = {.time = utcNow(),
                    .method = request.method,
                    .path = std::move(head.path),
                    .query = std::move(head.query),
                    .contentType = std::move(head.contentType),
                    .answered = answeredText(misfortune.fault)};
  room.shrinkTo(body.capacity());
  const auto arrival = std::make_shared<Arrival>(std::move(row), pairsJson(head.headers), std::move(body));
  if (!keeper.keep(arrival, std::move(room), until)) return fail();
  services.counters.add(Count::postsKept);
  services.events.notifyArrival();
  if (!services.isQuiet) print(arrival->request);
  if (misfortune.delay.count() > 0) services.events.pause(misfortune.delay);
  answer(response, misfortune.fault);
}

void replaceFaults(Faults& faults, const std::string& body, Response& response) {
  try {
    std::vector<FaultRule> rules;
    for (const std::string& text : textsOfJson(body)) rules.push_back(parseFaultRule(text));
    faults.replace(std::move(rules));
    response.set_content(textsJson(faults.texts()) + "\n", "application/json");
  } catch (const std::invalid_argument& error) {
    fail(response, 400, error.what());
  }
}

}  // namespace

void addKeeping(HttpServer& server, const Services& services) {
  const std::size_t largestBody = server.limits().largestBody;
  const auto take = [services, largestBody](const Request& request, Response& response,
                                            const httplib::ContentReader& read) {
    if (!isOwn(request.path)) return keep(services, largestBody, request, response, read);
    const auto body = readBody(services.counters, request, response, read, kLongestFaults,
                               [](std::size_t) { return kLongestFaults; });
    if (!body) return;
    if (request.method == "PUT" && request.path == "/_faults") {
      replaceFaults(services.faults, *body, response);
    } else {
      refusePost(services.counters, Count::postsInvalid, "nothing is kept below /_");
    }
  };
  server.Post(R"([\s\S]*)", take);
  server.Put(R"([\s\S]*)", take);
}

}  // namespace collector
