// sqm-demo: starts a collection server, runs example programs that record and upload, and compares the bodies that the
// server received with the records on disk.

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/demo/Stage.h"
#include "tools/support/TemporaryFolder.h"
#include "tools/support/Terminal.h"

namespace {

namespace fs = std::filesystem;

constexpr std::array kScenes = {
    demo::playLaptopDay,
    demo::playSqmFiles,
    demo::playOutage,
    demo::playFailedAttempt,
};

/// The number of posts. One that the server refused is counted too; its scene checks that it was sent again.
std::string summary(const std::vector<demo::Post>& posts) {
  const auto kept = static_cast<std::size_t>(
      std::count_if(posts.begin(), posts.end(), [](const auto& post) { return post.isKept(); }));
  std::string text = "Everything that was stored arrived, in " + tools::plural(kept, "post") + ", and nothing else did";
  if (kept < posts.size()) {
    text += " (refused, kept and sent again: " + tools::plural(posts.size() - kept, "post") + ")";
  }
  return text + ".";
}

int play(const fs::path& programs) {
  const tools::TemporaryFolder home;
  const demo::Collector collector(programs);

  const demo::Stage stage{demo::Shown(), programs, home.path(), collector.address()};
  bool isAllRight = true;
  for (const auto& scene : kScenes) isAllRight = scene(stage) && isAllRight;

  stage.shown.note("");
  stage.shown.verdict(isAllRight, isAllRight ? summary(stage.arrived()) : "What arrived is not what was stored.");
  return isAllRight ? 0 : 1;
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
