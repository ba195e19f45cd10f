#pragma once

#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "sqm/common/AppendFile.h"
#include "sqm/common/Files.h"
#include "sqm/common/Host.h"
#include "sqm/common/PropertyList.h"
#include "sqm/common/QFSerializer.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

// The file services of a host whose folder belongs to another one. They have nothing that could be sent, and write
// nothing.

inline constexpr std::string_view kNotOwned = "the folder is not locked by this host";

/// Folders without entries, and files that cannot be written or removed. A file that is read by its path is on the
/// disk: what the user and a server have asked for holds for this host, too.
class NoFiles final : public Files {
 public:
  /// Ownership: `disk` must outlive the object.
  explicit NoFiles(Files& disk) : disk_(disk) {}

  bool exists(const std::string&) const override { return false; }
  std::uintmax_t size(const std::string&) const override { return 0; }
  std::error_code list(const std::string&, NameTest, std::vector<Entry>& entries) override {
    entries.clear();
    return {};
  }
  std::error_code read(const std::string& path, std::string& content) override { return disk_.read(path, content); }
  std::unique_ptr<Folder> open(const std::string&) override { return nullptr; }
  std::error_code write(const std::string&, std::string_view) override { return refused(); }
  std::error_code replace(const std::string&, std::initializer_list<std::string_view>) override { return refused(); }
  std::error_code remove(const std::string&) override { return refused(); }

 private:
  static std::error_code refused() { return make_error_code(std::errc::operation_not_permitted); }

  Files& disk_;
};

/// Lists that are neither loaded nor saved. The field names, which are a resource, are read.
class NoLists final : public PropertyList {
 public:
  /// Ownership: `resources` must outlive the object.
  NoLists(PropertyList& resources, FileProblems problems) : resources_(resources), problems_(std::move(problems)) {}

  std::optional<TextArray> arrayWithContentsOfFile(const std::string&) override { return std::nullopt; }
  std::shared_ptr<const FieldNameTable> fieldNamesOfFile(const std::string& path) override {
    return resources_.fieldNamesOfFile(path);
  }
  bool writeToFile(const TextArray&, const std::string& path, bool) override {
    problems_.cannotWrite(path, kNotOwned);
    return false;
  }

 private:
  PropertyList& resources_;
  FileProblems problems_;
};

/// Archives that are neither read nor written.
class NoArchives final : public QFSerializer {
 public:
  explicit NoArchives(FileProblems problems) : problems_(std::move(problems)) {}

  bool serializeObject(const UploadRequests&, const std::string& toFile) override {
    problems_.cannotWrite(toFile, kNotOwned);
    return false;
  }
  std::optional<UploadRequests> objectFromFile(const std::string&) override { return UploadRequests{}; }

 private:
  FileProblems problems_;
};

/// Takes everything and keeps nothing.
class NoAppendFile final : public AppendFile {
 public:
  std::error_code readPieces(const Taker&) override { return make_error_code(std::errc::no_such_file_or_directory); }
  std::error_code append(std::string_view bytes, std::size_t& written) override {
    written = bytes.size();
    return {};
  }
  std::error_code sync() override { return {}; }
  std::error_code replace(std::string_view, bool, bool& isReplaced) override {
    isReplaced = true;
    return {};
  }
  std::error_code moveAside() override { return {}; }
};

/// Takes the place of a host's file services.
///
/// Ownership: the services that the host had must outlive the object.
class WithoutDisk {
 public:
  WithoutDisk(Host& host, const FileProblems& problems)
      : files_(*host.files), lists_(*host.propertyLists, problems), archives_(problems) {
    host.files = &files_;
    host.propertyLists = &lists_;
    host.serializer = &archives_;
  }
  WithoutDisk(const WithoutDisk&) = delete;
  WithoutDisk& operator=(const WithoutDisk&) = delete;

 private:
  NoFiles files_;
  NoLists lists_;
  NoArchives archives_;
};

}  // namespace sqm::platform
