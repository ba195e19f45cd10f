#include "tools/collector/RecordReader.h"

#include <cstddef>

#include "sqm/sessionfiles/SQMRecord.h"

#include "tools/support/SqmLine.h"

namespace collector {

namespace {

/// Splits the body of the file-based path into lines of 86 fields (docs/sqm-files.md).
std::optional<std::string> readSessionLines(std::string_view body, const TakeRecord& take) {
  std::optional<std::string> problem;
  std::size_t number = 0;
  while (!body.empty()) {
    if (++number > kMostRecords) return problem ? problem : "more than 100000 lines: the others are not taken apart";
    Record record;
    record.type = "sqm";
    if (body.front() != '"') {
      // The library did not write this: skip to the next quote at the beginning of a line.
      const std::size_t end = body.find("\n\"");
      record.raw = body.substr(0, end == std::string_view::npos ? end : end + 1);
      record.problem = "it does not begin with a double quote";
    } else {
      record.raw = body.substr(0, tools::sqmLineLength(body));
      const auto fields = tools::sqmSessionOf(record.raw).fields;
      // With more fields than positions it is unknown which border belongs to a value.
      for (std::size_t at = 0; at < fields.size() && fields.size() <= sqm::SQMRecord::kPositions; ++at) {
        if (!fields[at].empty()) record.values.emplace_back(tools::sqmPositionName(at), fields[at]);
      }
      if (fields.size() != sqm::SQMRecord::kPositions) {
        record.problem = "it has " + std::to_string(fields.size()) + " texts, and not 86";
      }
    }
    if (record.problem && !problem) problem = "line " + std::to_string(number) + ": " + *record.problem;
    body.remove_prefix(record.raw.size());
    take(record);
  }
  return problem;
}

}  // namespace

std::optional<std::string> readRecords(std::string_view path, std::string_view body, const TakeRecord& take) {
  if (path == "/sqm") return readSessionLines(body, take);
  if (path != "/queue") return readDocument(path, body, take);
  Record record;
  record.type = "queue";
  record.raw = body;
  take(record);
  return std::nullopt;
}

}  // namespace collector
