#include "tools/demo/Shown.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <unistd.h>

#include <pugixml.hpp>

namespace demo {

namespace {

constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kDim = "\033[2m";
constexpr std::string_view kGreen = "\033[32m";
constexpr std::string_view kRed = "\033[31m";
constexpr std::string_view kReset = "\033[0m";

}  // namespace

Shown::Shown() : isColoured_(isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr) {}

void Shown::title(std::string_view text) const {
  std::fputc('\n', stdout);
  line(kBold, text);
  line(kDim, std::string(text.size(), '-'));
}

void Shown::note(std::string_view text) const { line({}, text); }

void Shown::aside(std::string_view text) const { line(kDim, text); }

void Shown::good(std::string_view text) const { line(kGreen, text); }

void Shown::bad(std::string_view text) const { line(kRed, text); }

void Shown::xml(const std::string& text) const {
  pugi::xml_document document;
  if (!document.load_string(text.c_str())) return note("    " + text);
  std::ostringstream indented;
  for (const pugi::xml_node& child : document.children()) {
    child.print(indented, "  ", pugi::format_indent, pugi::encoding_utf8, 2);
  }
  std::string shown = indented.str();
  if (!shown.empty() && shown.back() == '\n') shown.pop_back();
  line(kDim, shown);
}

void Shown::line(std::string_view colour, std::string_view text) const {
  std::string out;
  if (isColoured_) out.append(colour);
  out.append(text);
  if (isColoured_ && !colour.empty()) out.append(kReset);
  out.push_back('\n');
  std::fwrite(out.data(), 1, out.size(), stdout);
  std::fflush(stdout);
}

}  // namespace demo
