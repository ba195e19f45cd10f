#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sqmctl::play {

/// Writes all bytes to a descriptor. Returns false, with `errno` set, on failure.
bool writeAll(int descriptor, std::string_view bytes);

/// Reads the lines of a file or of standard input, as often as needed. Input that cannot be read twice, such as a pipe,
/// is first copied to a temporary file without a name. One line at a time is in memory.
///
/// Failure: throws Problem (bad input) when the file cannot be read.
class Lines {
 public:
  /// The length of the longest line, in bytes.
  static constexpr std::size_t kLongest = std::size_t{64} << 20;

  /// Opens `file`; "-" means standard input.
  explicit Lines(std::string file);
  Lines(const Lines&) = delete;
  Lines& operator=(const Lines&) = delete;
  ~Lines();

  /// Reads the next line. Returns false when there is none.
  bool next();

  /// Makes the first line the next one.
  void rewind();

  std::size_t number() const { return number_; }

  /// The line without its line feed and without the byte-order mark at the beginning of the file. Empty when the line
  /// is too long.
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
