// sqm-demo: the library's work on one screen. It starts a collection server, has example programs record and upload,
// and compares what the server got with what lay on disk.

#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "tools/demo/Stage.h"
#include "tools/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

constexpr std::array kScenes = {
    demo::playLaptopDay,
    demo::playOutage,
    demo::playFailedAttempt,
};

int play(const fs::path& programs) {
  const tools::TemporaryFolder home;
  const demo::Collector collector(programs);

  const demo::Stage stage{demo::Shown(), programs, home.path(), collector.address()};
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
