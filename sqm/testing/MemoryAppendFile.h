#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "sqm/common/AppendFile.h"

namespace sqm::testing {

/// The content of a `MemoryAppendFile`, which outlives it as a file outlives a process.
struct MemoryDisk {
  std::optional<std::string> content;
  std::optional<std::string> aside;  ///< what was moved aside last
  int syncs = 0;
  int replacements = 0;
  std::error_code failure = {};      ///< what appending, syncing, replacing and moving report, unless it is none
  std::error_code readFailure = {};  ///< what reading reports, when the content was taken
  std::size_t room = 0;              ///< bytes that can still be appended in spite of `failure`
};

/// An `AppendFile` in memory.
///
/// Ownership: the disk is borrowed.
class MemoryAppendFile final : public AppendFile {
 public:
  explicit MemoryAppendFile(MemoryDisk& disk) : disk_(disk) {}

  std::error_code readPieces(const Taker& take) override;
  std::error_code append(std::string_view bytes, std::size_t& written) override;
  std::error_code sync() override;
  std::error_code replace(std::string_view content, bool synced, bool& isReplaced) override;
  std::error_code moveAside() override;

 private:
  MemoryDisk& disk_;
};

}  // namespace sqm::testing
