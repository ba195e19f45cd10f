#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/KeyedCoder.h"

namespace sqm::testing {

/// A keyed archive in memory. Its bytes are the name under which its content is kept.
///
/// Threading: one thread.
class MemoryCoder : public KeyedArchive {
 public:
  using Objects = std::map<std::string, std::optional<UploadRequests>>;
  using Files = std::map<std::string, Objects>;

  explicit MemoryCoder(std::shared_ptr<Files> files = std::make_shared<Files>(), Objects content = {})
      : objects(std::move(content)), files_(std::move(files)) {}

  void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) override {
    objects[std::string(forKey)] = object;
  }
  std::optional<UploadRequests> decodeObjectForKey(std::string_view key) override {
    const auto found = objects.find(std::string(key));
    return found == objects.end() ? std::nullopt : found->second;
  }
  std::string bytes() const override {
    const std::string name = "archive " + std::to_string(files_->size());
    writeToFile(name);
    return name;
  }
  bool writeToFile(const std::string& path) const override {
    (*files_)[path] = objects;
    return true;
  }

  Objects objects;

 private:
  std::shared_ptr<Files> files_;
};

/// Creates keyed archives in memory, which share its files.
///
/// Threading: one thread.
class MemoryCoders : public KeyedCoderFactory {
 public:
  std::unique_ptr<KeyedArchive> makeArchive() override { return std::make_unique<MemoryCoder>(files_); }
  std::unique_ptr<KeyedArchive> archiveWithBytes(std::string_view bytes) override {
    return archiveWithContentsOfFile(std::string(bytes));
  }
  std::unique_ptr<KeyedArchive> archiveWithContentsOfFile(const std::string& path) override {
    const auto found = files_->find(path);
    return found == files_->end() ? nullptr : std::make_unique<MemoryCoder>(files_, found->second);
  }

 private:
  std::shared_ptr<MemoryCoder::Files> files_ = std::make_shared<MemoryCoder::Files>();
};

}  // namespace sqm::testing
