#include "sqm/sessionfiles/SQMStore.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "sqm/common/Format.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/common/internal/TryReserve.h"
#include "sqm/common/internal/Utf8.h"

namespace sqm {

namespace {

/// The extension of a name without its dot; empty where there is none. A dot at the beginning of a name does not begin
/// an extension.
std::string_view extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

/// Appends the file to `body`, which stays as it is when the file cannot be read or is not well-formed UTF-8.
void appendFile(Files::Folder& folder, const std::string& name, std::string& body) {
  const std::size_t before = body.size();
  if (folder.read(name, body)) return;
  if (!isWellFormedUtf8(std::string_view(body).substr(before))) body.resize(before);
}

/// Reserves room for the files that follow the first `count` ones, which are as long on average, and for an eighth
/// more: a body that grew with each file would be copied, and be in memory twice. The bound is for folders whose files
/// differ in size.
void reserveForRest(std::string& body, std::size_t count, std::size_t all) {
  constexpr std::uintmax_t kMost = std::uintmax_t{64} << 20;
  const std::uintmax_t average = body.size() / count + 1;
  if (body.capacity() - body.size() > average) return;
  const std::uintmax_t rest = (all - count) * average;
  tryReserve(body, std::min(rest + rest / 8, kMost));
}

void writeToConsole(SystemConsole& console, std::string_view format, std::string_view argument) {
  std::string line;
  appendFormatted(line, format, {&argument, 1});
  console.writeLine(line);
}

}  // namespace

bool isSqmFileName(std::string_view name) {
  constexpr std::string_view kExtension = "sqm";
  const std::string_view extension = extensionOf(name);
  const auto isSame = [](char given, char wanted) {
    return (given >= 'A' && given <= 'Z' ? given - 'A' + 'a' : given) == wanted;
  };
  return std::equal(extension.begin(), extension.end(), kExtension.begin(), kExtension.end(), isSame);
}

std::error_code listSqmFiles(Files& files, const std::string& folder, std::vector<Files::Entry>& entries) {
  const auto problem = files.list(folder, isSqmFileName, entries);
  std::sort(entries.begin(), entries.end(),
            [](const Files::Entry& a, const Files::Entry& b) { return a.name < b.name; });
  return problem;
}

std::vector<Files::Entry> SQMStore::entries() const {
  std::vector<Files::Entry> entries;
  if (mSQMDirPath_) listSqmFiles(*host_.files, *mSQMDirPath_, entries);
  return entries;
}

std::string SQMStore::getDataFromSQMRec() const {
  std::string body;
  const std::vector<Files::Entry> all = entries();
  const auto folder = all.empty() ? nullptr : host_.files->open(*mSQMDirPath_);
  std::size_t count = 0;
  for (const Files::Entry& entry : all) {
    writeToConsole(*host_.console, "Path :%@", extensionOf(entry.name));  // the extension alone: not to change
    if (folder && entry.isRegularFile) appendFile(*folder, entry.name, body);
    reserveForRest(body, ++count, all.size());
  }
  return body;
}

void SQMStore::deleteSQMRecord() const {
  for (const Files::Entry& entry : entries()) {
    const std::string path = *mSQMDirPath_ + "/" + entry.name;
    writeToConsole(*host_.console, "file deleted:%@", path);
    host_.files->remove(path);
  }
}

}  // namespace sqm
