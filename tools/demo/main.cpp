// sqm-demo: the library's main job on one screen. It starts a collection server, plays a laptop's day with one example
// program, uploads what that stored with another, and compares what the server got with what lay on disk.

#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/StandardHost.h"

#include "tools/demo/Shown.h"
#include "tools/support/Process.h"
#include "tools/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using demo::Shown;
using tools::Process;
using tools::TemporaryFolder;

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

constexpr const char* kFolder = "Library/Application Support/Trelk/Trelk Quenfa/SQM";

/// A document as the server is to get it.
struct Document {
  std::string path;
  std::string body;
  friend bool operator==(const Document&, const Document&) = default;
};

std::string plural(std::size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void run(const std::vector<std::string>& arguments) {
  const int status = Process(arguments, /*readsOutput=*/false).wait();
  if (status != 0) throw std::runtime_error(arguments[0] + " ended with status " + std::to_string(status));
}

/// Reads and shows the five files; gives the documents that their records make.
std::vector<Document> showStored(const Shown& shown, const std::string& home) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home;
  sqm::platform::StandardHost host(options);
  std::vector<Document> documents;
  for (const List& list : kLists) {
    const fs::path file = fs::path(home) / kFolder / list.file;
    const auto records = host.propertyLists->arrayWithContentsOfFile(file.string());
    if (!records) throw std::runtime_error(file.string() + " is not there, or cannot be read");
    char line[128];
    std::snprintf(line, sizeof line, "  %-26s%10s%10ju bytes", list.file, plural(records->size(), "record").c_str(),
                  static_cast<std::uintmax_t>(fs::file_size(file)));
    shown.note(line);
    if (records->empty()) continue;
    Document document{list.path, "<?xml version=\"1.0\" encoding=\"utf-8\"?><" + std::string(list.element) + ">"};
    for (const auto& record : *records) document.body += record.value_or("");
    document.body += "</" + std::string(list.element) + ">";
    documents.push_back(std::move(document));
  }
  return documents;
}

/// Asks the server for what it got, and shows it.
std::vector<Document> showArrived(const Shown& shown, const std::string& server) {
  httplib::Client client(server);
  const auto get = [&](const std::string& path) {
    const auto answer = client.Get(path);
    if (!answer || answer->status != 200) throw std::runtime_error("the collection server does not tell " + path);
    return answer->body;
  };
  std::vector<Document> documents;
  for (const auto& request : nlohmann::json::parse(get("/_requests"))) {
    const std::string id = std::to_string(request.at("id").get<int>());
    documents.push_back({request.at("path").get<std::string>(), get("/_requests/" + id)});
    shown.note("\n  POST " + documents.back().path + "  " + request.at("contentType").get<std::string>() + "  " +
               std::to_string(request.at("bytes").get<std::size_t>()) + " bytes");
    shown.xml(documents.back().body);
  }
  return documents;
}

int runDemo(const fs::path& programs) {
  const Shown shown;
  const TemporaryFolder folder("sqm-demo");
  const std::string& home = folder.path();
  Process collector({(programs / "sqm-collector").string(), "--port", "0", "--quiet"}, /*readsOutput=*/true);
  std::string server = collector.readLine();
  if (server.empty()) throw std::runtime_error("the collection server did not start");
  server.pop_back();  // the slash at the end

  shown.title("A laptop's day, recorded by a host application");
  run({(programs / "02_laptop_day").string(), home});

  shown.title("What lies in its five files while it is switched off");
  const auto stored = showStored(shown, home);

  shown.title("The next morning, a new process uploads");
  run({(programs / "03_upload").string(), home, server});

  shown.title("What the collection server got");
  const auto arrived = showArrived(shown, server);

  shown.title("And what is left on disk");
  const auto left = showStored(shown, home);

  shown.note("");
  if (arrived != stored || !left.empty()) {
    shown.bad("What arrived is not what was stored.");
    return 1;
  }
  shown.good("Everything that was stored arrived, in " + plural(arrived.size(), "document") +
             ", and nothing else did.");
  return 0;
}

}  // namespace

int main() {
  try {
    return runDemo(fs::read_symlink("/proc/self/exe").parent_path());
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "sqm-demo: %s\n", problem.what());
    return 1;
  }
}
