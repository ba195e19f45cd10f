#include "sqm/testing/MemoryFiles.h"

#include <algorithm>
#include <utility>

namespace sqm::testing {

namespace {

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

bool isIn(const std::string& folder, const std::string& path) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

}  // namespace

std::error_code MemoryFiles::list(const std::string& folder, NameTest isWanted, std::vector<Entry>& entries) {
  entries.clear();
  if (isRefused(Operation::list, folder)) return make_error_code(std::errc::permission_denied);
  if (!folders_.contains(folder)) return make_error_code(std::errc::no_such_file_or_directory);
  forEachIn(folder, [&](const Entry& entry) {
    if (isWanted(entry.name)) entries.push_back(entry);
  });
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name > b.name; });
  return {};
}

std::error_code MemoryFiles::read(const std::string& path, std::string& content) {
  if (isRefused(Operation::read, path)) return make_error_code(std::errc::permission_denied);
  const auto found = files_.find(path);
  if (found == files_.end()) return make_error_code(std::errc::no_such_file_or_directory);
  content.append(found->second);
  return {};
}

class MemoryFiles::OpenFolder : public Folder {
 public:
  OpenFolder(MemoryFiles& files, std::string path) : files_(files), path_(std::move(path)) {}

  std::error_code read(const std::string& name, std::string& content) override {
    return files_.read(path_ + "/" + name, content);
  }

 private:
  MemoryFiles& files_;
  std::string path_;
};

std::unique_ptr<Files::Folder> MemoryFiles::open(const std::string& folder) {
  return folders_.contains(folder) ? std::make_unique<OpenFolder>(*this, folder) : nullptr;
}

std::error_code MemoryFiles::write(const std::string& path, std::string_view content) {
  if (isRefused(Operation::write, path)) return make_error_code(std::errc::permission_denied);
  if (!folders_.contains(folderOf(path))) return make_error_code(std::errc::no_such_file_or_directory);
  files_[path] = content;
  return {};
}

std::error_code MemoryFiles::replace(const std::string& path, std::initializer_list<std::string_view> pieces) {
  if (isRefused(Operation::write, path)) return make_error_code(std::errc::permission_denied);
  std::string content;
  for (const std::string_view piece : pieces) content.append(piece);
  put(path, content);
  return {};
}

std::error_code MemoryFiles::remove(const std::string& path) {
  if (isRefused(Operation::remove, path)) return make_error_code(std::errc::permission_denied);
  const std::size_t removed =
      std::erase_if(files_, [&](const auto& file) { return file.first == path || isIn(path, file.first); }) +
      std::erase_if(folders_, [&](const std::string& folder) { return folder == path || isIn(path, folder); });
  return removed == 0 ? make_error_code(std::errc::no_such_file_or_directory) : std::error_code();
}

void MemoryFiles::put(const std::string& path, std::string_view content) {
  makeFolder(folderOf(path));
  files_[path] = content;
}

std::optional<std::string> MemoryFiles::content(const std::string& path) const {
  const auto found = files_.find(path);
  return found == files_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<std::string> MemoryFiles::names(const std::string& folder) const {
  std::vector<std::string> names;
  forEachIn(folder, [&](const Entry& entry) { names.push_back(entry.name); });
  std::sort(names.begin(), names.end());
  return names;
}

void MemoryFiles::forEachIn(const std::string& folder, const std::function<void(const Entry&)>& visit) const {
  const auto isDirectlyIn = [&](const std::string& path) { return isIn(folder, path) && folderOf(path) == folder; };
  for (const auto& [path, content] : files_) {
    if (isDirectlyIn(path)) visit({path.substr(folder.size() + 1), true});
  }
  for (const std::string& path : folders_) {
    if (isDirectlyIn(path)) visit({path.substr(folder.size() + 1), false});
  }
}

}  // namespace sqm::testing
