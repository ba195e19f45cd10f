#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/StandardHost.h"

#include "tools/demo/Stage.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

/// One of the five lists: what an operator finds on disk, and what the server then gets.
struct List {
  const char* file;
  const char* path;
  const char* element;
};

constexpr std::array<List, 5> kLists = {{
    {"SQMClient.plist", "/client", "clientList"},
    {"SQMConnection.plist", "/connection", "connectionList"},
    {"SQMDevice.plist", "/device", "deviceList"},
    {"SQMApplication.plist", "/application", "sqmList"},
    {"SQMUserAcceptance.plist", "/user-acceptance", "userAcceptanceList"},
}};

/// A document that is to arrive.
struct Document {
  std::string path;
  std::string body;
};

/// Reads and shows the five files; gives the documents that their records make.
std::vector<Document> showStored(const Stage& stage) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = stage.home;
  const sqm::platform::StandardHost host(options);
  std::vector<Document> documents;
  for (const List& list : kLists) {
    const fs::path file = fs::path(stage.home) / kSqmFolder / list.file;
    const auto records = host.propertyLists->arrayWithContentsOfFile(file.string());
    if (!records) throw std::runtime_error(file.string() + " is not there, or cannot be read");
    std::array<char, 128> line{};
    std::snprintf(line.data(), line.size(), "  %-26s%10s%10ju bytes", list.file,
                  tools::plural(records->size(), "record").c_str(), static_cast<std::uintmax_t>(fs::file_size(file)));
    stage.shown.note(line.data());
    if (records->empty()) continue;
    const std::string element = list.element;
    Document document{list.path, R"(<?xml version="1.0" encoding="utf-8"?><)" + element + ">"};
    for (const auto& record : *records) document.body += record.value_or("");
    document.body += "</" + element + ">";
    documents.push_back(std::move(document));
  }
  return documents;
}

}  // namespace

bool playLaptopDay(const Stage& stage) {
  const Shown& shown = stage.shown;
  const std::size_t known = stage.arrived().size();

  shown.title("A laptop's day, recorded by a host application");
  stage.run("02_laptop_day", {stage.home});

  shown.title("What lies in its five files while it is switched off");
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
  const bool isNothingLeft = showStored(stage).empty();
  const bool isAllThere = std::equal(arrived.begin(), arrived.end(), stored.begin(), stored.end(),
                                     [](const Post& post, const Document& document) {
                                       return post.path == document.path && post.body == document.body;
                                     });
  return isAllThere && isNothingLeft;
}

}  // namespace demo
