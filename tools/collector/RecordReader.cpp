#include "tools/collector/RecordReader.h"

namespace collector {

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
