#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>

namespace sqm {

/// A file that grows at its end and is replaced as a whole now and then, such as a journal.
///
/// Threading: one thread.
/// Failure: by the result. Nothing throws but `std::bad_alloc`, which reading reports as well.
class AppendFile {
 public:
  /// Takes the next bytes of a file. `toCome` is the number of those that are expected to follow.
  using Taker = std::function<void(std::string_view bytes, std::uintmax_t toCome)>;

  virtual ~AppendFile() = default;

  /// Passes the whole file to `take`, piece by piece. `std::errc::no_such_file_or_directory` when there is none. After
  /// another failure some pieces may have been taken.
  virtual std::error_code readPieces(const Taker& take) = 0;

  /// The same for a file that is known to be short: its bytes are appended to `content`.
  std::error_code read(std::string& content) {
    return readPieces([&](std::string_view bytes, std::uintmax_t /*toCome*/) { content.append(bytes); });
  }

  /// Appends `bytes`, whose beginning is in the file after a failure: `written` is the number of its bytes. A file that
  /// was removed or exchanged at its path is `std::errc::no_such_file_or_directory`, which may be noticed a second
  /// late.
  virtual std::error_code append(std::string_view bytes, std::size_t& written) = 0;

  /// Returns when what was appended survives a loss of power.
  virtual std::error_code sync() = 0;

  /// Replaces the file, or makes it. With `synced` the new one survives a loss of power when this returns. After a
  /// failure the old file is there, or, when `isReplaced`, the new one, which a loss of power may take back.
  virtual std::error_code replace(std::string_view content, bool synced, bool& isReplaced) = 0;

  /// Renames the file, so that it is kept and out of the way.
  virtual std::error_code moveAside() = 0;
};

}  // namespace sqm
