#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json_fwd.hpp>

#include "tests/support/OrdinaryUser.h"
#include "tests/support/Programs.h"

inline const std::string kSqmctl = kPrograms + "/sqmctl";

using Words = std::vector<std::string>;
using Json = nlohmann::ordered_json;

/// A home directory for sqmctl to work on, with nothing in it.
class Home {
 public:
  const std::string& path() const { return folder_.path(); }

  /// Where the five lists lie, which is made.
  std::string lists() const {
    std::filesystem::create_directories(application() + "/SQM");
    return application() + "/SQM";
  }
  std::string list(const std::string& name) const { return lists() + "/" + name; }
  std::string queue() const {
    std::filesystem::create_directories(application());
    return application() + "/QFRecordUploader.plist";
  }

  /// A list file with these records, which hold nothing that must be escaped in XML but < and >.
  void putList(const std::string& name, const std::vector<std::string>& records) const {
    std::string text = "<plist version=\"1.0\"><array>";
    for (const std::string& record : records) text += "<string><![CDATA[" + record + "]]></string>";
    putContent(list(name), text + "</array></plist>");
  }

  Words command(const Words& words) const {
    Words all = {kSqmctl, "--home", path()};
    all.insert(all.end(), words.begin(), words.end());
    return all;
  }
  Outcome run(const Words& words, std::string_view input = "") const { return runProgram(command(words), input); }
  Outcome runAtTerminal(const Words& words) const { return runOnTerminal(command(words)); }

 private:
  std::string application() const { return path() + "/Library/Application Support/Trelk/Trelk Quenfa"; }

  TemporaryFolder folder_;
};

/// The same, after a laptop's day: a client, a device, six connection, two application and a user-acceptance record.
class DayHome : public Home {
 public:
  DayHome() { EXPECT_EQ(runProgram({kPrograms + "/02_laptop_day", path()}).status, 0); }
};

/// The sample table where every user can read it: the folder of the build may be closed to others.
class OpenResources {
 public:
  OpenResources() {
    std::filesystem::permissions(path(), kReadOnlyFolder, std::filesystem::perm_options::add);
    putContent(folder_ / "SQMFieldNames.plist", contentOf(kPrograms + "/SQMFieldNames.plist"));
  }

  const std::string& path() const { return folder_.path(); }

 private:
  TemporaryFolder folder_;
};

/// Everything below a folder: what it is, what it holds, when it changed.
inline std::map<std::string, std::string> everythingBelow(const std::string& folder) {
  namespace fs = std::filesystem;
  std::map<std::string, std::string> all;
  if (!fs::exists(folder)) return all;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path().string();
    all[path] = std::to_string(static_cast<int>(entry.status().permissions())) + " " +
                std::to_string(entry.last_write_time().time_since_epoch().count()) + " " +
                (entry.is_regular_file() ? contentOf(path) : "");
  }
  all[folder] = std::to_string(fs::last_write_time(folder).time_since_epoch().count());
  return all;
}

/// The bodies that a collection server received, by path.
std::vector<std::pair<std::string, std::string>> postsTo(const Collector& collector);

/// An address of this machine where no server listens while the test runs.
std::string deadAddress();

/// `text` without the seconds that a request took, which differ.
inline std::string withoutSeconds(std::string text) {
  for (std::size_t at = text.find(" s  "); at != std::string::npos; at = text.find(" s  ", at + 1)) {
    std::size_t begin = at;
    while (begin > 0 && (std::isdigit(static_cast<unsigned char>(text[begin - 1])) != 0 || text[begin - 1] == '.'))
      --begin;
    text.replace(begin, at - begin, "N");
    at = begin + 1;  // behind the N
  }
  return text;
}
