#include "sqm/platform/files/ArchiveFiles.h"

#include <new>
#include <string_view>
#include <system_error>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/RequestArchive.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kAsideSuffix = ".unreadable";

std::error_code replaceBy(FileOperations& files, const std::string& path, const UploadRequests& requests) {
  FileReplacement file(files, path, FileReplacement::Mode::atomically);
  std::size_t size = 0;
  writeRequests(requests, [&](std::string_view piece) {
    size += piece.size();
    if (size <= kLargestArchive) file.write(piece);
  });
  return size > kLargestArchive ? make_error_code(std::errc::file_too_large) : file.commit();
}

}  // namespace

bool ArchiveFiles::serializeObject(const UploadRequests& object, const std::string& toFile) {
  const auto failure = replaceBy(files_, toFile, object);
  if (failure) problems_.cannotWrite(toFile, failure.message());
  return !failure;
}

std::optional<UploadRequests> ArchiveFiles::objectFromFile(const std::string& path) try {
  FileBytes content;
  if (const auto failure = readWholeFile(files_, path, kLargestArchive, content)) {
    if (failure == std::errc::no_such_file_or_directory) return std::nullopt;
    if (failure == std::errc::not_enough_memory) throw std::bad_alloc();
    return withoutFile(path, failure.message());
  }
  std::string_view problem;
  auto value = readBinaryValue(content.text(), roomForRequests(content.size), problem);
  if (!value) return withoutFile(path, std::string(problem));
  auto requests = requestsFrom(*std::move(value));
  return requests ? std::move(requests) : withoutFile(path, "it holds something else than upload requests");
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return std::nullopt;
}

/// What a reading returns when the file cannot be read, for this reason.
std::optional<UploadRequests> ArchiveFiles::withoutFile(const std::string& path, std::string reason) {
  if (unreadable_ == Unreadable::stays) {
    problems_.cannotRead(path, reason);
    return std::nullopt;
  }
  std::string aside;
  if (const auto failure = moveAside(files_, path, kAsideSuffix, aside)) {
    problems_.cannotRead(path,
                         reason.append("; it cannot be moved to ").append(aside).append(": ") + failure.message());
    return std::nullopt;
  }
  problems_.cannotRead(path, reason.append("; moved to ").append(aside));
  return UploadRequests{};
}

}  // namespace sqm::platform
