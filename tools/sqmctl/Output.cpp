#include "tools/sqmctl/Output.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/Base64.h"
#include "sqm/common/internal/Utf8.h"

namespace sqmctl {

namespace {

std::size_t charactersIn(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) text.remove_prefix(sqm::utf8CharacterAt(text).length);
  return count;
}

std::string blanks(std::string_view text, std::size_t width) {
  std::string all(width - std::min(width, charactersIn(text)), ' ');
  return all;
}

}  // namespace

Json jsonOf(const sqm::delivery::DropCounts& dropped) {
  Json reasons = Json::object();
  for (std::size_t at = 0; at < dropped.size(); ++at) {
    if (dropped[at] > 0) reasons[std::string(sqm::delivery::kDropReasonNames[at])] = dropped[at];
  }
  return reasons;
}

Json jsonOf(const sqm::delivery::DeliveryCounts& counts) {
  return {{"accepted", counts.accepted},
          {"delivered", counts.delivered},
          {"refused", counts.refused},
          {"dropped", jsonOf(counts.dropped)},
          {"waiting", counts.waiting}};
}

void printJson(const tools::Terminal& terminal, const Json& value) {
  terminal.line(terminal.shown(value.dump(2, ' ', false, Json::error_handler_t::replace), /*keepsLines=*/true));
}

EncodedBytes encodedForJson(std::string_view bytes) {
  if (sqm::isWellFormedUtf8(bytes)) return {std::string(bytes), "utf-8"};
  return {sqm::base64Of(bytes), "base64"};
}

std::string padded(std::string_view text, std::size_t width) { return std::string(text) + blanks(text, width); }

std::string flushRight(std::string_view text, std::size_t width) { return blanks(text, width) + std::string(text); }

std::string counted(std::uintmax_t count, const std::string& noun) {
  constexpr std::size_t kDigits = 9;
  return flushRight(std::to_string(count), kDigits) + " " + padded(noun + (count == 1 ? "" : "s"), noun.size() + 1);
}

}  // namespace sqmctl
