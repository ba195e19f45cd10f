#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sqmctl::play {

/// The lines of a file, or of standard input, one after another and as often as wanted. What cannot be read twice, as a
/// pipe, is copied first, into a temporary file that has no name.
///
/// One line is in memory at a time. Throws Problem, bad input, where the file cannot be read.
class Lines {
 public:
  /// Bytes of the longest line.
  static constexpr std::size_t kLongest = std::size_t{64} << 20;

  /// Opens `file`; "-" is standard input.
  explicit Lines(std::string file);
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;
  ~Lines();

  /// Goes to the next line; false when there is none.
  bool next();

  /// Goes back to before the first line.
  void rewind();

  std::size_t number() const { return number_; }

  /// The line, without its line feed, nor the byte-order mark that the file may begin with. Empty when it is too long.
  std::string_view text() const;
  bool isTooLong() const { return isTooLong_; }

 private:
  bool fill();
  void append(std::string_view part);

  std::string file_;
  int descriptor_ = -1;
  std::string buffer_;
  std::string_view unread_;
  std::string line_;
  std::size_t number_ = 0;
  bool isTooLong_ = false;
};

}  // namespace sqmctl::play
