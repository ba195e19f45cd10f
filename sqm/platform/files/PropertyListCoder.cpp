#include "sqm/platform/files/PropertyListCoder.h"

#include <algorithm>
#include <functional>
#include <map>
#include <new>
#include <utility>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/RequestArchive.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

class PropertyListCoder : public KeyedArchive {
 public:
  PropertyListCoder(const FileProblems& problems, FileOperations& files) : problems_(problems), files_(files) {}

  void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) override {
    if (object) {
      entries_.insert_or_assign(std::string(forKey), valueOf(*object));
    } else {
      entries_.erase(std::string(forKey));
    }
  }

  std::optional<UploadRequests> decodeObjectForKey(std::string_view key) override {
    const auto found = entries_.find(key);
    return found == entries_.end() ? std::nullopt : requestsFrom(found->second);
  }

  std::string bytes() const override {
    PropertyListValue::Dictionary dictionary;
    dictionary.reserve(entries_.size());
    for (const auto& [key, value] : entries_) dictionary.push_back({key, value});
    return binaryOf({std::move(dictionary)}, kRequestKeys);
  }

  bool writeToFile(const std::string& path) const override {
    const auto failure = replaceFile(files_, path, bytes(), kLargestArchive);
    if (failure) problems_.cannotWrite(path, failure.message());
    return !failure;
  }

  /// Takes the entries of a property list. Returns false, and why in `problem`, when it has none.
  bool read(const FileBytes& content, std::string_view& problem) {
    auto root = readPropertyList(content, roomForRequests(content.size), problem);
    if (!root) return false;
    problem = "the root of the property list is no dictionary";
    auto* const dictionary = std::get_if<PropertyListValue::Dictionary>(&root->content);
    if (dictionary == nullptr) return false;
    for (auto& [key, value] : *dictionary) entries_.insert_or_assign(std::move(key), std::move(value));
    return true;
  }

 private:
  std::map<std::string, PropertyListValue, std::less<>> entries_;
  const FileProblems& problems_;
  FileOperations& files_;
};

}  // namespace

std::unique_ptr<KeyedArchive> PropertyListCoders::makeArchive() {
  return std::make_unique<PropertyListCoder>(problems_, files_);
}

std::unique_ptr<KeyedArchive> PropertyListCoders::archiveWithBytes(std::string_view bytes) {
  auto archive = std::make_unique<PropertyListCoder>(problems_, files_);
  const FileBytes copy{std::make_unique<char[]>(bytes.size()), bytes.size()};
  std::ranges::copy(bytes, copy.bytes.get());
  std::string_view problem;
  if (!archive->read(copy, problem)) return nullptr;
  return archive;
}

std::unique_ptr<KeyedArchive> PropertyListCoders::archiveWithContentsOfFile(const std::string& path) try {
  FileBytes content;
  if (const auto failure = readWholeFile(files_, path, kLargestArchive, content)) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return nullptr;
  }
  auto archive = std::make_unique<PropertyListCoder>(problems_, files_);
  std::string_view problem;
  if (archive->read(content, problem)) return archive;
  problems_.cannotRead(path, problem);
  return nullptr;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return nullptr;
}

}  // namespace sqm::platform
