#include "tools/support/Terminal.h"

#include <array>
#include <cstdlib>
#include <unistd.h>

#include "sqm/common/internal/Utf8.h"

namespace tools {

namespace {

constexpr std::array<std::string_view, 6> kColours = {"", "\033[1m", "\033[2m", "\033[32m", "\033[31m", "\033[36m"};
constexpr std::string_view kReset = "\033[0m";
constexpr std::string_view kClearLine = "\r\033[K";

/// True for invisible characters that control a terminal or the direction of writing.
bool isControl(char32_t character) {
  const auto isWithin = [&](char32_t first, char32_t last) { return character >= first && character <= last; };
  return character < 0x20 || isWithin(0x7F, 0x9F) || character == 0x061C || isWithin(0x200B, 0x200F) ||
         isWithin(0x2028, 0x202E) || isWithin(0x2066, 0x2069) || character == 0xFEFF;
}

void appendHex(std::string& out, std::string_view mark, unsigned value, int digits) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  out += mark;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    out += kDigits[value >> static_cast<unsigned>(shift) & 0xFU];
}

}  // namespace

std::string visible(std::string_view text, bool keepsLines) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const sqm::Utf8Character first = sqm::utf8CharacterAt(text);
    const std::string_view bytes = text.substr(0, first.length);
    text.remove_prefix(first.length);
    if (!first.code) {
      for (const char byte : bytes) appendHex(out, "\\x", static_cast<unsigned char>(byte), 2);
    } else if (bytes == "\n") {
      out += keepsLines ? "\n" : "\\n";
    } else if (bytes == "\t") {
      out += "\\t";
    } else if (isControl(*first.code)) {
      appendHex(out, "\\u", *first.code, 4);
    } else {
      out += bytes;
    }
  }
  return out;
}

std::string beginning(std::string_view text, std::size_t characters) {
  std::size_t at = 0;
  for (; characters > 0 && at < text.size(); --characters) at += sqm::utf8CharacterAt(text.substr(at)).length;
  return std::string(text.substr(0, at)) + (at < text.size() ? "…" : "");
}

std::string plural(std::uintmax_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

Terminal::Terminal(std::FILE* stream) : stream_(stream), isTerminal_(isatty(fileno(stream)) != 0) {
  const char* noColour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): no thread changes the environment
  isColoured_ = isTerminal_ && (noColour == nullptr || *noColour == '\0');
}

std::string Terminal::shown(std::string_view text, bool keepsLines) const {
  return isTerminal_ ? visible(text, keepsLines) : std::string(text);
}

std::string Terminal::styled(Style style, std::string_view text) const {
  if (!isColoured_ || style == Style::plain) return shown(text);
  return std::string(kColours[static_cast<std::size_t>(style)]) + shown(text) + std::string(kReset);
}

void Terminal::line(std::string_view text) const {
  std::fwrite(text.data(), 1, text.size(), stream_);
  std::fputc('\n', stream_);
  std::fflush(stream_);
}

void Terminal::passing(std::string_view text) {
  if (!isTerminal_) return;
  std::fwrite(kClearLine.data(), 1, kClearLine.size(), stream_);
  std::fwrite(text.data(), 1, text.size(), stream_);
  std::fflush(stream_);
}

}  // namespace tools
