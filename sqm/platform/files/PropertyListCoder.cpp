#include "sqm/platform/files/PropertyListCoder.h"

#include <cstddef>
#include <functional>
#include <map>
#include <new>
#include <variant>

#include "sqm/platform/files/internal/BinaryPropertyListWriter.h"
#include "sqm/platform/files/internal/PropertyListReader.h"
#include "sqm/platform/files/internal/RequestArchive.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 27;

class PropertyListCoder : public KeyedArchive {
 public:
  PropertyListCoder(const FileProblems& problems, FileOperations& files) : problems_(problems), files_(files) {}

  void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) override {
    if (object) {
      entries_.insert_or_assign(std::string(forKey), *object);
    } else {
      entries_.erase(std::string(forKey));
    }
  }

  std::optional<UploadRequests> decodeObjectForKey(std::string_view key) override {
    const auto found = entries_.find(key);
    if (found == entries_.end()) return std::nullopt;
    if (const auto* const requests = std::get_if<UploadRequests>(&found->second)) return *requests;
    return requestsFrom(std::get<PropertyListValue>(found->second));
  }

  std::string bytes() const override {
    std::string bytes;
    write([&](std::string_view piece) { bytes.append(piece); });
    return bytes;
  }

  bool writeToFile(const std::string& path) const override {
    const auto failure = replaceFile(files_, path, kLargestFile, [this](const ByteSink& sink) { write(sink); });
    if (failure) problems_.cannotWrite(path, failure.message());
    return !failure;
  }

  /// Takes the entries of a property list. Returns false, and why in `problem`, when it has none.
  bool read(char* bytes, std::size_t size, std::string_view& problem) {
    auto root = readPropertyList(bytes, size, roomForRequests(size), problem);
    if (!root) return false;
    problem = "the root of the property list is no dictionary";
    auto* const dictionary = std::get_if<PropertyListValue::Dictionary>(&root->content);
    if (dictionary == nullptr) return false;
    for (auto& [key, value] : *dictionary) entries_.insert_or_assign(std::move(key), std::move(value));
    return true;
  }

 private:
  /// What was encoded here, or read.
  using Entry = std::variant<UploadRequests, PropertyListValue>;

  void write(const ByteSink& sink) const {
    std::size_t objects = kRequestKeys.size() + 1;
    for (const auto& [key, entry] : entries_) {
      const auto* const requests = std::get_if<UploadRequests>(&entry);
      objects += 1 + (requests != nullptr ? objectsOf(*requests) : std::get<PropertyListValue>(entry).objects());
    }
    BinaryPropertyListWriter list(objects, kRequestKeys, sink);
    list.beginDictionary(entries_.size());
    for (const auto& [key, entry] : entries_) {
      list.key(key);
      if (const auto* const requests = std::get_if<UploadRequests>(&entry)) {
        writeRequests(list, *requests);
      } else {
        std::get<PropertyListValue>(entry).writeTo(list);
      }
    }
    list.end();
    list.finish();
  }

  std::map<std::string, Entry, std::less<>> entries_;
  const FileProblems& problems_;
  FileOperations& files_;
};

}  // namespace

std::unique_ptr<KeyedArchive> PropertyListCoders::makeArchive() {
  return std::make_unique<PropertyListCoder>(problems_, files_);
}

std::unique_ptr<KeyedArchive> PropertyListCoders::archiveWithBytes(std::string_view bytes) {
  auto archive = std::make_unique<PropertyListCoder>(problems_, files_);
  std::string copy(bytes);
  std::string_view problem;
  if (!archive->read(copy.data(), copy.size(), problem)) return nullptr;
  return archive;
}

std::unique_ptr<KeyedArchive> PropertyListCoders::archiveWithContentsOfFile(const std::string& path) try {
  FileBytes content;
  if (const auto failure = readWholeFile(files_, path, kLargestFile, content)) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return nullptr;
  }
  auto archive = std::make_unique<PropertyListCoder>(problems_, files_);
  std::string_view problem;
  if (archive->read(content.bytes.get(), content.size, problem)) return archive;
  problems_.cannotRead(path, problem);
  return nullptr;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return nullptr;
}

}  // namespace sqm::platform
