#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/UploadRequest.h"

namespace sqm {

/// Keeps objects of the library under keys.
class KeyedCoder {
 public:
  virtual ~KeyedCoder() = default;

  /// Keeps a copy of `object` under the key, in the place of what was there. An absent object leaves the key without
  /// one.
  virtual void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) = 0;

  /// What was encoded under the key; nothing when nothing was.
  virtual std::optional<UploadRequests> decodeObjectForKey(std::string_view key) = 0;
};

/// A keyed coder whose content can be kept, as bytes or in a file.
class KeyedArchive : public KeyedCoder {
 public:
  /// The content, to be read again by `KeyedCoderFactory::archiveWithBytes`.
  virtual std::string bytes() const = 0;

  /// Replaces the file atomically by the content. Returns false when it cannot be written, with a line in the log.
  virtual bool writeToFile(const std::string& path) const = 0;
};

/// Creates keyed archives.
///
/// Ownership: outlives its archives.
/// Threading: any thread; an archive, one thread at a time.
class KeyedCoderFactory {
 public:
  virtual ~KeyedCoderFactory() = default;

  virtual std::unique_ptr<KeyedArchive> makeArchive() = 0;

  /// Null when the bytes are no archive.
  virtual std::unique_ptr<KeyedArchive> archiveWithBytes(std::string_view bytes) = 0;

  /// Null when there is no such file, or it is no archive; the latter with a line in the log.
  virtual std::unique_ptr<KeyedArchive> archiveWithContentsOfFile(const std::string& path) = 0;
};

}  // namespace sqm
