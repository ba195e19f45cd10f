// Takes the body of the older path apart: lines of 86 quoted texts. Nothing in them is escaped (docs/sqm-files.md), so
// a border between two texts is `","`, and a line ends at `"` and a line feed.

#include <cstddef>

#include "tools/collector/RecordReader.h"
#include "tools/support/SqmLine.h"

namespace collector {

namespace {

constexpr std::size_t kPositions = 86;

/// Positions that no call fills go by their number.
std::string nameOf(std::size_t position) {
  const std::string_view name = tools::sqmPositionName(position);
  return name.empty() ? std::to_string(position) : std::string(name);
}

/// One line: where it ends, how many texts it has, and those of them that have a position and are not empty.
struct Line {
  std::size_t end = 0;
  std::size_t texts = 0;
  std::vector<std::pair<std::string, std::string>> values;
};

/// True where a line can end: at the end of the body, and where the next line begins.
bool isBorder(std::string_view rest) { return rest.empty() || rest.front() == '"'; }

/// Reads the line at the beginning of `text`, which begins with a double quote.
Line readLine(std::string_view text) {
  constexpr std::string_view kBorder = "\",\"";
  constexpr std::string_view kEnd = "\"\n";
  Line line;
  const auto add = [&](std::string_view value) {
    if (line.texts < kPositions && !value.empty()) line.values.emplace_back(nameOf(line.texts), value);
    ++line.texts;
  };
  std::size_t begin = 1;
  for (std::size_t at = begin; (at = text.find('"', at)) != std::string_view::npos; ++at) {
    if (text.substr(at).starts_with(kBorder)) {
      add(text.substr(begin, at - begin));
      at += kBorder.size() - 1;
      begin = at + 1;
    } else if (const std::size_t end = at + kEnd.size();
               text.substr(at).starts_with(kEnd) && (line.texts + 1 == kPositions || isBorder(text.substr(end)))) {
      add(text.substr(begin, at - begin));
      line.end = end;
      return line;
    }
  }
  // A line that was cut off, by a full disk as a rule: its end is the body's.
  std::string_view rest = text.substr(begin);
  if (rest.ends_with('"')) rest.remove_suffix(1);
  add(rest);
  line.end = text.size();
  return line;
}

}  // namespace

std::optional<std::string> readSessionLines(std::string_view body, const TakeRecord& take) {
  std::optional<std::string> problem;
  std::size_t number = 0;
  while (!body.empty()) {
    if (++number > kMostRecords) return problem ? problem : "more than 100000 lines: the others are not taken apart";
    Record record;
    record.type = "sqm";
    if (body.front() != '"') {
      // No line of the library. What stands there is kept until a line begins.
      const std::size_t end = body.find("\n\"");
      record.raw = body.substr(0, end == std::string_view::npos ? end : end + 1);
      record.problem = "it does not begin with a double quote";
    } else {
      Line line = readLine(body);
      record.raw = body.substr(0, line.end);
      // With more texts than positions nobody can say which border belongs to a value.
      if (line.texts <= kPositions) record.values = std::move(line.values);
      if (line.texts != kPositions) record.problem = "it has " + std::to_string(line.texts) + " texts, and not 86";
    }
    if (record.problem && !problem) problem = "line " + std::to_string(number) + ": " + *record.problem;
    body.remove_prefix(record.raw.size());
    take(record);
  }
  return problem;
}

}  // namespace collector
