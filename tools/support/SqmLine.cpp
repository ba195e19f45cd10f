#include "tools/support/SqmLine.h"

#include <algorithm>

#include "sqm/sessionfiles/SQMRecord.h"
#include "sqm/sessionfiles/SqmPosition.h"

namespace tools {

namespace {

using sqm::SQMRecord;

constexpr std::string_view kBorder = "\",\"";
constexpr std::string_view kEnd = "\"\n";

}  // namespace

std::string sqmPositionName(std::size_t position) {
  const auto* found = std::find_if(
      sqm::kSqmPositionNames.begin(), sqm::kSqmPositionNames.end(),
      [&](const sqm::SqmPositionName& each) { return static_cast<std::size_t>(each.position) == position; });
  const bool isNamed = found != sqm::kSqmPositionNames.end() && !found->name.empty();
  return isNamed ? std::string(found->name) : std::to_string(position);
}

SqmSession sqmSessionOf(std::string_view text) {
  SqmSession session;
  if (!text.starts_with('"')) {
    session.problem = "it does not begin with a quote";
    return session;
  }
  std::string_view rest = text.substr(1);
  for (auto border = rest.find(kBorder); border != std::string_view::npos; border = rest.find(kBorder)) {
    session.fields.push_back(rest.substr(0, border));
    rest.remove_prefix(border + kBorder.size());
  }
  const bool isEnded = rest.ends_with(kEnd);
  if (isEnded) {
    rest.remove_suffix(kEnd.size());
  } else if (rest.ends_with('"')) {
    rest.remove_suffix(1);
  }
  session.fields.push_back(rest);
  if (!isEnded) {
    session.problem = "it is cut short: it does not end with a quote and a line feed";
  } else if (session.fields.size() < SQMRecord::kPositions) {
    session.problem = "it has fewer than 86 fields";
  } else if (session.fields.size() > SQMRecord::kPositions) {
    session.problem = "it has more than 86 fields: a value that looks like the border of two, or two sessions";
  }
  return session;
}

std::size_t sqmLineLength(std::string_view body) {
  std::size_t fields = 1;
  for (std::size_t at = 1; (at = body.find('"', at)) != std::string_view::npos; ++at) {
    const std::string_view rest = body.substr(at);
    if (rest.starts_with(kBorder)) {
      ++fields;
      at += kBorder.size() - 1;
    } else if (rest.starts_with(kEnd)) {
      const std::string_view next = rest.substr(kEnd.size());
      if (fields == SQMRecord::kPositions || next.empty() || next.front() == '"') return at + kEnd.size();
    }
  }
  return body.size();
}

}  // namespace tools
