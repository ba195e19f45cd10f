#include "tools/demo/Stage.h"

#include <fstream>
#include <stdexcept>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "sqm/platform/system/HomeFolders.h"

#include "tools/support/TemporaryFolder.h"

namespace demo {

namespace {

/// Shows the lines that the library wrote to the system console, which is the program's standard error.
void showConsole(const Shown& shown, const std::string& file) {
  std::ifstream lines(file);
  std::string line;
  if (!std::getline(lines, line)) return;
  shown.note("\n  The library also wrote to the system console (standard error):");
  do shown.aside("    " + line);
  while (std::getline(lines, line));
}

}  // namespace

Collector::Collector(const std::filesystem::path& programs, int port)
    : process_({(programs / "sqm-collector").string(), "--port", std::to_string(port), "--quiet"},
               /*readsOutput=*/true),
      address_(process_.readLine()) {
  if (address_.empty()) throw std::runtime_error("the collection server did not start");
  address_.pop_back();  // the slash at the end
}

void Stage::run(const std::string& program, const std::vector<std::string>& arguments, int expectedStatus) const {
  std::vector<std::string> command = {(programs / program).string()};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const tools::TemporaryFolder folder;
  const int status = tools::Process(command, /*readsOutput=*/false, folder / "errors").wait();
  showConsole(shown, folder / "errors");
  if (status != expectedStatus) throw std::runtime_error(program + " ended with status " + std::to_string(status));
}

std::string Stage::sqmFolder() const { return sqm::sqmFolderPath(sqm::platform::HomeFolders(home)); }

void Stage::setFaults(const std::vector<std::string>& rules) const {
  const auto answer = httplib::Client(server).Put("/_faults", nlohmann::json(rules).dump(), "application/json");
  if (!answer || answer->status != 200) throw std::runtime_error("the collection server does not accept the faults");
}

std::vector<Post> Stage::arrived(std::size_t known) const {
  httplib::Client client(server);
  const auto get = [&](const std::string& path) {
    const auto answer = client.Get(path);
    if (!answer || answer->status != 200) throw std::runtime_error("the collection server does not return " + path);
    return answer->body;
  };
  std::vector<Post> posts;
  for (const auto& request : nlohmann::json::parse(get("/_requests"))) {
    const auto id = request.at("id").get<std::size_t>();
    if (id <= known) continue;
    posts.push_back({request.at("path"), request.at("contentType"), request.at("answered"),
                     get("/_requests/" + std::to_string(id) + "/body")});
  }
  return posts;
}

}  // namespace demo
