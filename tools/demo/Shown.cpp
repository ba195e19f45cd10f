#include "tools/demo/Shown.h"

#include <sstream>

#include <nlohmann/json.hpp>

#include "tools/support/IndentedXml.h"

namespace demo {

using tools::Style;

void Shown::title(std::string_view text) const {
  terminal_.line("");
  line(Style::bold, text);
  line(Style::dim, std::string(text.size(), '-'));
}

void Shown::note(std::string_view text) const { terminal_.line(terminal_.shown(text, /*keepsLines=*/true)); }

void Shown::aside(std::string_view text) const { line(Style::dim, terminal_.shown(text)); }

void Shown::verdict(bool isGood, std::string_view text) const { line(isGood ? Style::good : Style::bad, text); }

void Shown::xml(const std::string& text) const { terminal_.line(tools::indentedXml(terminal_, text, 4)); }

void Shown::json(const std::string& text) const {
  const auto value = nlohmann::ordered_json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return note("    " + text);
  std::istringstream lines(value.dump(2));
  for (std::string each; std::getline(lines, each);) line(Style::dim, "    " + each);
}

void Shown::line(Style style, std::string_view text) const { terminal_.line(terminal_.styled(style, text)); }

}  // namespace demo
