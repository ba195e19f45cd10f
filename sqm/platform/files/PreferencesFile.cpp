#include "sqm/platform/files/PreferencesFile.h"

#include <cstddef>
#include <cstdint>
#include <locale.h>
#include <memory>
#include <utility>

#include <plist/plist.h>

#include "sqm/platform/files/internal/BinaryPropertyList.h"
#include "sqm/platform/files/internal/WholeFile.h"
#include "sqm/platform/files/internal/XmlAllowed.h"

namespace sqm::platform {

namespace {

constexpr const char* kClientTimeStamp = "clientTimeStamp";

/// libplist recurses on nesting and unfolds every reference of a binary list: small XML files cannot nest deep enough
/// to matter, and a binary one is measured first.
constexpr std::size_t kLargestFile = 64 * 1024;
constexpr std::size_t kDeepest = 32;
constexpr std::size_t kMostObjects = 10'000;

/// libplist reads and writes real numbers as the locale has them, 1,5 for 1.5 where the host has set a German one. For
/// its life this thread goes by the "C" locale.
class ClassicLocale {
 public:
  ClassicLocale() : before_(::uselocale(classic())) {}
  ClassicLocale(const ClassicLocale&) = delete;
  ClassicLocale& operator=(const ClassicLocale&) = delete;
  ~ClassicLocale() { ::uselocale(before_); }

 private:
  static locale_t classic() {
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
  }

  locale_t before_;
};

struct Free {
  void operator()(void* list) const { plist_free(list); }
};
using List = std::unique_ptr<void, Free>;

/// The dictionary that the bytes hold, or null.
List dictionaryFrom(std::string_view bytes) {
  const ClassicLocale locale;
  plist_t parsed = nullptr;
  const auto size = static_cast<std::uint32_t>(bytes.size());
  if (BinaryPropertyList::recognises(bytes)) {
    const auto list = BinaryPropertyList::open(bytes);
    if (!list || !list->isWithin(kDeepest, kMostObjects)) return nullptr;
    plist_from_bin(bytes.data(), size, &parsed);
  } else {
    plist_from_xml(bytes.data(), size, &parsed);
  }
  List list(parsed);
  if (!list || plist_get_node_type(list.get()) != PLIST_DICT) return nullptr;
  return list;
}

/// The dictionary of the file, or null; an empty one where there is no file.
List dictionaryOf(FileOperations& files, const std::string& path, std::error_code& failure) {
  FileBytes content;
  failure = readWholeFile(files, path, kLargestFile, content);
  if (!failure) return dictionaryFrom(content.text());
  if (failure != std::errc::no_such_file_or_directory) return nullptr;
  failure.clear();
  return List(plist_new_dict());
}

/// Removes what stands under `key`: in a damaged file more than one value may.
void removeAll(const char* key, const List& dictionary) {
  while (plist_dict_get_item(dictionary.get(), key) != nullptr) plist_dict_remove_item(dictionary.get(), key);
}

std::string textUnder(const char* key, const List& dictionary) {
  plist_t value = plist_dict_get_item(dictionary.get(), key);
  if (value == nullptr || plist_get_node_type(value) != PLIST_STRING) return {};
  std::uint64_t length = 0;
  const char* text = plist_get_string_ptr(value, &length);
  return xmlAllowed(std::string(text, static_cast<std::size_t>(length)));
}

}  // namespace

PreferencesFile::PreferencesFile(const std::string& applicationFolder, FileProblems problems, FileOperations& files)
    : folder_(applicationFolder),
      path_(applicationFolder + "/UserPrefs.plist"),
      problems_(std::move(problems)),
      files_(files) {
  std::error_code failure;
  const List dictionary = dictionaryOf(files_, path_, failure);
  if (dictionary) {
    clientTimeStamp_ = textUnder(kClientTimeStamp, dictionary);
  } else {
    problems_.cannotRead(path_, failure ? failure.message() : "it is no property list with a dictionary as its root");
  }
}

bool PreferencesFile::setClientTimeStamp(std::optional<std::string_view> value) {
  clientTimeStamp_ = xmlAllowed(std::string(value.value_or("")));
  std::error_code failure;
  List dictionary = dictionaryOf(files_, path_, failure);
  if (!failure) {
    if (!dictionary) dictionary.reset(plist_new_dict());
    if (!value && plist_dict_get_item(dictionary.get(), kClientTimeStamp) == nullptr) return true;
    removeAll(kClientTimeStamp, dictionary);
    if (value) plist_dict_set_item(dictionary.get(), kClientTimeStamp, plist_new_string(clientTimeStamp_.c_str()));
    failure = makeFolders(files_, folder_);
  }
  if (!failure) {
    const ClassicLocale locale;
    char* xml = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(dictionary.get(), &xml, &length);
    if (xml == nullptr) {
      failure = make_error_code(std::errc::not_enough_memory);
    } else {
      FileReplacement file(files_, path_, FileReplacement::Mode::atomically);
      file.write({xml, length});
      plist_to_xml_free(xml);
      failure = file.commit();
    }
  }
  if (failure) problems_.cannotWrite(path_, failure.message());
  return !failure;
}

}  // namespace sqm::platform
