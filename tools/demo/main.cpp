// sqm-demo: the library's work on one screen. It starts a collection server, has example programs record and upload,
// and compares what the server got with what lay on disk.

#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "tools/demo/Stage.h"
#include "tools/support/Process.h"
#include "tools/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

constexpr std::array kScenes = {demo::playLaptopDay};

int play(const fs::path& programs) {
  const tools::TemporaryFolder home;
  tools::Process collector({(programs / "sqm-collector").string(), "--port", "0", "--quiet"}, /*readsOutput=*/true);
  std::string server = collector.readLine();
  if (server.empty()) throw std::runtime_error("the collection server did not start");
  server.pop_back();  // the slash at the end

  const demo::Stage stage{demo::Shown(), programs, home.path(), server};
  bool isAllRight = true;
  for (const auto& scene : kScenes) isAllRight = scene(stage) && isAllRight;

  stage.shown.note("");
  if (!isAllRight) {
    stage.shown.bad("What arrived is not what was stored.");
    return 1;
  }
  stage.shown.good("Everything that was stored arrived, in " + tools::plural(stage.arrived().size(), "post") +
                   ", and nothing else did.");
  return 0;
}

}  // namespace

int main() {
  try {
    return play(fs::read_symlink("/proc/self/exe").parent_path());
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "sqm-demo: %s\n", problem.what());
    return 1;
  }
}
