#pragma once

#include <cstddef>
#include <dirent.h>
#include <string_view>
#include <sys/types.h>

namespace sqm::platform {

/// What a buffer for entries is aligned to.
inline constexpr std::size_t kFolderEntryAlignment = alignof(::dirent64);

/// Reads entries of an open folder into a buffer, as many as fit: the records of a Linux system call (getdents64), for
/// which the C library allocates nothing. Returns their bytes in all, 0 behind the last entry, and -1 with the reason
/// in errno.
inline ssize_t readFolderEntries(int folder, void* buffer, std::size_t size) {
  return ::getdents64(folder, buffer, size);
}

/// Calls `take` with the name and the type (d_type) of each entry in the `size` bytes that were read into `buffer`.
template <typename Take>
void forEachFolderEntry(const char* buffer, std::size_t size, Take&& take) {
  for (std::size_t at = 0; at < size;) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the system writes records of this type
    const auto* const entry = reinterpret_cast<const ::dirent64*>(buffer + at);
    take(std::string_view(entry->d_name), entry->d_type);
    at += entry->d_reclen;
  }
}

}  // namespace sqm::platform
