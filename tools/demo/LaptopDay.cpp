#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "sqm/common/PropertyList.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/store/RecordTypes.h"

#include "tools/demo/Stage.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

/// The stored records, by type.
using StoredRecords = sqm::ByType<sqm::TextArray>;

/// Shows the list files, and returns their records.
StoredRecords showStored(const Stage& stage) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = stage.home;
  const sqm::platform::StandardHost host(options);
  StoredRecords stored;
  for (const sqm::RecordType type : sqm::kRecordTypes) {
    const std::string file = sqm::listFilePath(*host.configuration, type);
    auto records = host.propertyLists->arrayWithContentsOfFile(file);
    if (!records) throw std::runtime_error(file + " is missing or cannot be read");
    std::array<char, 128> line{};
    std::snprintf(line.data(), line.size(), "  %-26s%10s%10ju bytes", sqm::rowOf(type).file.data(),
                  tools::plural(records->size(), "record").c_str(), static_cast<std::uintmax_t>(fs::file_size(file)));
    stage.shown.note(line.data());
    stored[indexOf(type)] = *std::move(records);
  }
  return stored;
}

/// True when the posts are those of an upload of these records, and no others.
bool isUploadOf(const StoredRecords& stored, const std::vector<Post>& posts) {
  const auto plan = sqm::uploadPlan([&](sqm::RecordType type) { return !stored[indexOf(type)].empty(); });
  return std::equal(posts.begin(), posts.end(), plan.begin(), plan.end(), [&](const Post& post, sqm::RecordType type) {
    return post.path == "/" + std::string(sqm::rowOf(type).name) &&
           post.body == sqm::listDocument(type, stored[indexOf(type)]);
  });
}

}  // namespace

bool playLaptopDay(const Stage& stage) {
  const Shown& shown = stage.shown;
  const std::size_t known = stage.arrived().size();

  shown.title("A laptop's day, recorded by a host application");
  stage.run("02_laptop_day", {stage.home});

  shown.title("The five files while it is switched off");
  const auto stored = showStored(stage);

  shown.title("The next morning, a new process uploads");
  stage.run("03_upload", {stage.home, stage.server});

  shown.title("What the collection server got");
  const auto arrived = stage.arrived(known);
  for (const Post& post : arrived) {
    shown.note("\n  POST " + post.path + "  " + post.contentType + "  " + std::to_string(post.body.size()) + " bytes");
    shown.xml(post.body);
  }

  shown.title("And what is left on disk");
  const StoredRecords left = showStored(stage);
  const bool isNothingLeft = std::ranges::all_of(left, [](const auto& records) { return records.empty(); });
  return isUploadOf(stored, arrived) && isNothingLeft;
}

}  // namespace demo
