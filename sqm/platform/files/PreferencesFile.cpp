#include "sqm/platform/files/PreferencesFile.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

using Value = PropertyListValue;

constexpr std::string_view kClientTimeStamp = "clientTimeStamp";

constexpr std::size_t kLargestFile = std::size_t{64} * 1024;
/// What a binary list may take in memory, in bytes.
constexpr std::size_t kRoom = 10 * kLargestFile;

/// The dictionary of the file: an empty one without a file; nothing when the file holds none, or cannot be read, which
/// is the failure.
std::optional<Value::Dictionary> dictionaryOf(FileOperations& files, const std::string& path,
                                              std::error_code& failure) try {
  FileBytes content;
  failure = readWholeFile(files, path, kLargestFile, content);
  if (failure == std::errc::no_such_file_or_directory) {
    failure.clear();
    return Value::Dictionary{};
  }
  std::string_view problem;
  auto root = failure ? std::nullopt : readPropertyList(content, kRoom, problem);
  auto* const dictionary = root ? std::get_if<Value::Dictionary>(&root->content) : nullptr;
  return dictionary == nullptr ? std::nullopt : std::optional(std::move(*dictionary));
} catch (const std::bad_alloc&) {
  failure = make_error_code(std::errc::not_enough_memory);
  return std::nullopt;
}

}  // namespace

PreferencesFile::PreferencesFile(const std::string& applicationFolder, FileProblems problems, FileOperations& files,
                                 Access access)
    : folder_(applicationFolder),
      path_(applicationFolder + "/UserPrefs.plist"),
      problems_(std::move(problems)),
      files_(files),
      access_(access) {
  std::error_code failure;
  auto dictionary = dictionaryOf(files_, path_, failure);
  if (!dictionary) {
    problems_.cannotRead(path_, failure ? failure.message() : "it is no property list with a dictionary as its root");
    return;
  }
  const auto found = std::ranges::find(*dictionary, kClientTimeStamp, &Value::Entry::key);
  const auto* const text = found == dictionary->end() ? nullptr : std::get_if<std::string>(&found->value.content);
  if (text != nullptr) clientTimeStamp_ = xmlAllowed(*text);
}

bool PreferencesFile::setClientTimeStamp(std::optional<std::string_view> value) {
  clientTimeStamp_ = xmlAllowed(std::string(value.value_or("")));
  std::error_code failure;
  auto dictionary = dictionaryOf(files_, path_, failure).value_or(Value::Dictionary{});
  if (!failure) {
    const auto removed = std::erase_if(dictionary, [](const auto& entry) { return entry.key == kClientTimeStamp; });
    if (!value && removed == 0) return true;
    if (value) dictionary.push_back({std::string(kClientTimeStamp), {clientTimeStamp_}});
    failure = access_ == Access::readOnly ? make_error_code(std::errc::operation_not_permitted)
                                          : makeFolders(files_, folder_);
  }
  if (!failure) failure = replaceFile(files_, path_, xmlOf({std::move(dictionary)}), kLargestFile);
  if (failure) problems_.cannotWrite(path_, failure.message());
  return !failure;
}

}  // namespace sqm::platform
