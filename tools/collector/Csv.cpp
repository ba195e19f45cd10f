#include "tools/collector/Csv.h"

#include "tools/support/Number.h"
#include "tools/support/Terminal.h"

namespace collector {

namespace {

bool beginsFormula(std::string_view text) {
  constexpr std::string_view kBegins = "=+-@\t\r\n";
  constexpr std::string_view kDigits = "0123456789";
  if (text.empty() || kBegins.find(text.front()) == std::string_view::npos) return false;
  const bool isNumber = tools::numberIn<double>(text) && kDigits.find(text.back()) != std::string_view::npos;
  return !isNumber;
}

}  // namespace

std::string csvCell(std::string_view text) {
  std::string cell = beginsFormula(text) ? "\"'" : "\"";
  for (const char character : tools::visible(text, /*keepsLines=*/true)) {
    if (character == '"') cell += '"';
    cell += character;
  }
  return cell + '"';
}

}  // namespace collector
