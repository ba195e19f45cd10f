#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace collector {

/// A request, without its headers and body.
struct RequestRow {
  std::int64_t id = 0;
  std::string time{};  ///< UTC, ISO 8601
  std::string method{};
  std::string path{};         ///< as the client wrote it, without a query
  std::string query{};        ///< the part after the question mark
  std::string contentType{};  ///< empty: none
  std::int64_t bytes = 0;
  std::string answered{};
  std::int64_t records = 0;
  std::int64_t duplicates = 0;  ///< those of its records that had arrived before, and are stored with another request
  std::optional<std::string> problem{};
};

/// A record.
struct RecordRow {
  std::int64_t id = 0;
  std::int64_t request = 0;
  std::string time;
  std::string path;
  std::string type;
  std::optional<std::string> subType;
  std::optional<std::string> event;
  std::string values;  ///< a JSON array of [name, value]
  std::string raw;
  std::optional<std::string> problem;
};

}  // namespace collector
