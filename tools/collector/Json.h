#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector {

class Counters;
struct RequestRow;
struct RecordRow;

// Rows of the database as JSON, each on one line. Ill-formed UTF-8 becomes U+FFFD.

/// [["name","value"],…]
std::string pairsJson(const std::vector<std::pair<std::string, std::string>>& pairs);

/// The pairs of such a text. Throws a std::exception for anything else.
std::vector<std::pair<std::string, std::string>> pairsOfJson(std::string_view json);

/// ["text",…]
std::string textsJson(const std::vector<std::string>& texts);

/// The texts of a JSON array of them. Throws std::invalid_argument for anything else.
std::vector<std::string> textsOfJson(std::string_view json);

/// {"error":"…"}
std::string errorJson(std::string_view error);

/// {"posts_total":{"kept":5,…},"reads_total":7,…}, with the names of the metrics.
std::string countsJson(const Counters& counters);

std::string requestJson(const RequestRow& request);

/// The request with its headers and body.
std::string wholeRequestJson(const RequestRow& request, const std::string& headers, std::string body);

std::string recordJson(const RecordRow& record);

/// The record for an event. Texts longer than 64 KiB are cut, and "cut":true is then added.
std::string recordEventJson(RecordRow record);

}  // namespace collector
