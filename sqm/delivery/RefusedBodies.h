#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "sqm/common/Files.h"
#include "sqm/common/Host.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/delivery/DeliveryStatistics.h"

namespace sqm::delivery {

/// A body that a server refused. The views of one that was read refer to the text of its file.
struct RefusedBody {
  std::string_view address;  ///< where it was posted, with user name and password
  int status = 0;            ///< of the response
  std::string_view time;     ///< of the response, in UTC: "2026-11-21T10:00:00Z"
  std::string_view body;
};

/// Reads the text of a file of the folder (docs/delivery.md describes it). Nothing when it is no such text.
std::optional<RefusedBody> refusedBodyOf(std::string_view text);

/// A file of the folder.
struct RefusedFile {
  std::uint64_t number = 0;  ///< from 1, in the order in which the bodies were refused
  std::string path;
  std::uintmax_t bytes = 0;
};

/// The folder of the refused bodies. The library makes it with the first of them.
std::string refusedFolderPath(const TrelkConfiguration& configuration);

/// The files of the folder, the oldest first; none when there is no folder.
std::error_code listRefused(Files& files, const std::string& folder, std::vector<RefusedFile>& refused);

/// What the folder may hold. The oldest files are dropped for a new one.
struct RefusedLimits {
  std::size_t files = 1000;
  std::uintmax_t bytes = std::uintmax_t{64} * 1024 * 1024;
  std::optional<std::chrono::seconds> age = {};  ///< since the body was refused; checked with each new one
};

/// Called after a file was dropped, with the limit that it was beyond (`records` is that of the files) and the number
/// of files that this object has dropped.
using RefusedDropObserver = std::function<void(const RefusedFile& dropped, DropReason reason, std::uint64_t count)>;

/// Keeps refused bodies as files in `Refused` in the SQM folder, private to the user.
///
/// Ownership: the host must outlive the object. Its files must implement `Files::replace`.
/// Threading: one thread. One process at a time keeps bodies; others may read, and remove files.
class RefusedBodies {
 public:
  explicit RefusedBodies(const Host& host, const RefusedLimits& limits = {}, RefusedDropObserver onDrop = {})
      : host_(host), limits_(limits), onDrop_(std::move(onDrop)) {}

  /// Writes the body to a new file, which is on the disk afterwards. After a failure there is none; a body that exceeds
  /// the limits alone is a failure. Then drops the oldest files beyond the limits.
  std::error_code keep(std::string_view address, int status, std::string_view body);

 private:
  void dropOldest(const std::vector<RefusedFile>& refused, std::uintmax_t added);
  std::chrono::sys_seconds now() const;

  const Host& host_;
  const RefusedLimits limits_;
  const RefusedDropObserver onDrop_;
  std::uint64_t dropped_ = 0;
};

}  // namespace sqm::delivery
