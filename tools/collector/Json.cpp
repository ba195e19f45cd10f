#include "tools/collector/Json.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/Base64.h"
#include "sqm/common/internal/Utf8.h"

#include "tools/collector/CountTable.h"
#include "tools/collector/storage/Rows.h"

namespace collector {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kLongestInEvent = std::size_t{64} * 1024;

std::string textOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

template <typename Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

Json summary(const RequestRow& request) {
  return {{"id", request.id},
          {"time", request.time},
          {"method", request.method},
          {"path", request.path},
          {"query", request.query},
          {"contentType", request.contentType},
          {"bytes", request.bytes},
          {"answered", request.answered},
          {"records", request.records},
          {"duplicates", request.duplicates},
          {"problem", orNull(request.problem)}};
}

Json whole(const RecordRow& record) {
  return {{"id", record.id},
          {"request", record.request},
          {"time", record.time},
          {"path", record.path},
          {"type", record.type},
          {"subType", orNull(record.subType)},
          {"event", orNull(record.event)},
          {"problem", orNull(record.problem)},
          {"values", Json::parse(record.values)},
          {"raw", record.raw}};
}

/// Cuts a long text at a character boundary. Returns true when it was cut.
bool cut(std::string& text) {
  if (text.size() <= kLongestInEvent) return false;
  text.resize(sqm::utf8PrefixLength(text, kLongestInEvent));
  return true;
}

}  // namespace

std::string pairsJson(const std::vector<std::pair<std::string, std::string>>& pairs) {
  Json list = Json::array();
  for (const auto& [name, value] : pairs) list.push_back(Json::array({name, value}));
  return textOf(list);
}

std::vector<std::pair<std::string, std::string>> pairsOfJson(std::string_view json) {
  return Json::parse(json).get<std::vector<std::pair<std::string, std::string>>>();
}

std::string textsJson(const std::vector<std::string>& texts) { return textOf(Json(texts)); }

std::vector<std::string> textsOfJson(std::string_view json) {
  try {
    return Json::parse(json).get<std::vector<std::string>>();
  } catch (const Json::exception&) {
    throw std::invalid_argument(R"(the body is to be a JSON array of rules, such as ["/sqm:status=500:once"])");
  }
}

std::string errorJson(std::string_view error) { return textOf({{"error", error}}); }

std::string countsJson(const Counters& counters) {
  Json json = Json::object();
  for (const CountRow& row : kCountTable) {
    Json& named = json[std::string(row.name)];
    (row.label.empty() ? named : named[std::string(row.value)]) = counters.of(row.count);
  }
  return textOf(json);
}

std::string requestJson(const RequestRow& request) { return textOf(summary(request)); }

std::string wholeRequestJson(const RequestRow& request, const std::string& headers, std::string body) {
  Json json = summary(request);
  const bool isText = sqm::isWellFormedUtf8(body);
  json["headers"] = Json::parse(headers);
  json["encoding"] = isText ? "utf-8" : "base64";
  json["body"] = isText ? std::move(body) : sqm::base64Of(body);
  return textOf(json);
}

std::string recordJson(const RecordRow& record) { return textOf(whole(record)); }

std::string recordEventJson(RecordRow record) {
  bool isCut = cut(record.raw);
  Json json = whole(record);
  for (Json& value : json["values"]) {
    for (Json& part : value) isCut |= cut(part.get_ref<std::string&>());
  }
  if (isCut) json["cut"] = true;
  return textOf(json);
}

}  // namespace collector
