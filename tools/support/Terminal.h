#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace tools {

/// The text with escapes for everything that controls a terminal: control characters, including those of Unicode and
/// those that change the direction of writing, as "\n", "\t" or "\u001B", and ill-formed UTF-8 as "\xFF". With
/// `keepsLines` line feeds are kept.
std::string visible(std::string_view text, bool keepsLines = false);

/// The first characters of the text, followed by "…" when there are more. Splits no character.
std::string beginning(std::string_view text, std::size_t characters);

/// "1 record", "2 records".
std::string plural(std::uintmax_t count, const std::string& noun);

enum class Style : std::uint8_t { plain, bold, dim, good, bad, name };

/// An output of the process. On a terminal, texts are coloured (unless NO_COLOR is set), and texts from outside cannot
/// control it. Any other output gets the texts unchanged.
class Terminal {
 public:
  explicit Terminal(std::FILE* stream);

  bool isTerminal() const { return isTerminal_; }

  /// A text from outside, escaped as this output requires.
  std::string shown(std::string_view text, bool keepsLines = false) const;

  /// The same in a colour.
  std::string styled(Style style, std::string_view text) const;

  /// Writes a line of such texts.
  void line(std::string_view text) const;

  /// On a terminal, writes a text that the next line replaces. On any other output, does nothing.
  void passing(std::string_view text);

 private:
  std::FILE* stream_;
  bool isTerminal_;
  bool isColoured_;
};

}  // namespace tools
