#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace tools {

/// The text with everything spelt out that would steer a terminal instead of being seen: control characters, those of
/// Unicode and those that turn the direction of writing included, as "\n", "\t" or "\u001B"; bytes that are no UTF-8 as
/// "\xFF". With `keepsLines` line feeds stay.
std::string visible(std::string_view text, bool keepsLines = false);

/// The first characters of the text, and "…" where there are more. Parts no character.
std::string beginning(std::string_view text, std::size_t characters);

/// "1 record", "2 records".
std::string plural(std::uintmax_t count, const std::string& noun);

enum class Style : std::uint8_t { plain, bold, dim, good, bad, name };

/// An output of the process. On a terminal, texts are coloured (unless NO_COLOR is set) and texts that come from
/// outside cannot steer it; anywhere else they are written as they are.
class Terminal {
 public:
  explicit Terminal(std::FILE* stream);

  bool isTerminal() const { return isTerminal_; }

  /// A text from outside, as it may be written here.
  std::string shown(std::string_view text, bool keepsLines = false) const;

  /// The same in a colour.
  std::string styled(Style style, std::string_view text) const;

  /// Writes a line, made of such pieces.
  void line(std::string_view text) const;

  /// On a terminal, writes what the next line takes the place of; anywhere else, nothing.
  void passing(std::string_view text);

 private:
  std::FILE* stream_;
  bool isTerminal_;
  bool isColoured_;
};

}  // namespace tools
