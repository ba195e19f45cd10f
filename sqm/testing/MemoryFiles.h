#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "sqm/common/Files.h"

namespace sqm::testing {

/// Files and folders in memory, by path. A file can be written only to a folder that was made.
///
/// Threading: one thread.
class MemoryFiles : public Files {
 public:
  enum class Operation { list, read, write, remove };

  bool exists(const std::string& path) const override { return files_.contains(path) || folders_.contains(path); }

  std::uintmax_t size(const std::string& path) const override { return content(path).value_or("").size(); }

  /// In descending order of the names: a caller that needs ascending order must sort.
  std::error_code list(const std::string& folder, NameTest isWanted, std::vector<Entry>& entries) override;

  std::error_code read(const std::string& path, std::string& content) override;
  std::unique_ptr<Folder> open(const std::string& folder) override;
  std::error_code write(const std::string& path, std::string_view content) override;
  std::error_code replace(const std::string& path, std::initializer_list<std::string_view> pieces) override;
  std::error_code remove(const std::string& path) override;

  void makeFolder(const std::string& path) { folders_.insert(path); }

  /// Makes the file, and its folder.
  void put(const std::string& path, std::string_view content);

  /// Nothing when there is no such file.
  std::optional<std::string> content(const std::string& path) const;

  /// The names in a folder, sorted.
  std::vector<std::string> names(const std::string& folder) const;

  /// From now on the operation fails on this file or folder.
  void refuse(Operation operation, const std::string& path) { refused_.emplace(operation, path); }

 private:
  class OpenFolder;

  bool isRefused(Operation operation, const std::string& path) const { return refused_.contains({operation, path}); }
  void forEachIn(const std::string& folder, const std::function<void(const Entry&)>& visit) const;

  std::map<std::string, std::string> files_;
  std::set<std::string> folders_;
  std::set<std::pair<Operation, std::string>> refused_;
};

}  // namespace sqm::testing
