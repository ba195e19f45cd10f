#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "sqm/sessionfiles/SQMRecord.h"

/// The line of a row with these texts at their positions, and empty texts at all others.
inline std::string sqmLine(const std::map<std::size_t, std::string>& texts) {
  std::string line;
  for (std::size_t position = 0; position < sqm::SQMRecord::kPositions; ++position) {
    const auto text = texts.find(position);
    line += (position == 0 ? "\"" : ",\"") + (text == texts.end() ? "" : text->second) + "\"";
  }
  return line + "\n";
}
