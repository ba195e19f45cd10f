#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "tools/demo/Stage.h"
#include "tools/support/Terminal.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

/// The content of the `.sqm` files, by name.
using Files = std::map<std::string, std::string>;

constexpr const char* kProgram = "04_sqm_files";

/// Shows the `.sqm` files of the SQM folder, and returns them.
Files showFiles(const Stage& stage) {
  Files files;
  for (const auto& entry : fs::directory_iterator(stage.sqmFolder())) {
    if (entry.path().extension() != ".sqm") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    files[entry.path().filename()] = {std::istreambuf_iterator<char>(file), {}};
  }
  stage.shown.note("  " + tools::plural(files.size(), ".sqm file") + " in the folder");
  for (const auto& [name, content] : files) {
    stage.shown.note("  " + name);
    stage.shown.aside("    " + content.substr(0, content.find('\n')));
  }
  return files;
}

/// Shows the last line of the upload log.
void showEndOfLog(const Stage& stage) {
  constexpr const char* kLog = "Library/Logs/Trelk/Trelk Quenfa/SQMUploadlog.log";
  std::ifstream lines(fs::path(stage.home) / kLog);
  std::string last;
  for (std::string line; std::getline(lines, line);) last = line;
  stage.shown.note("\n  The last line of SQMUploadlog.log:");
  stage.shown.aside("    " + last);
}

std::string bodyOf(const Files& files) {
  std::string body;
  for (const auto& [name, content] : files) body += content;
  return body;
}

/// Shows the posts after the first `known`. Returns true when there is one, with this body and answer.
bool showArrived(const Stage& stage, std::size_t known, const std::string& body, const std::string& answered) {
  const auto posts = stage.arrived(known);
  for (const Post& post : posts) {
    stage.shown.note("\n  POST " + post.path + "  " + post.contentType + "  " + std::to_string(post.body.size()) +
                     " bytes, answered " + post.answered);
  }
  return posts.size() == 1 && posts[0].path == "/sqm" && posts[0].body == body && posts[0].answered == answered;
}

/// Uploads the folder to a server that accepts the files. Returns true when they arrived and were deleted.
bool isDelivered(const Stage& stage, const Files& files) {
  const std::size_t known = stage.arrived().size();
  stage.run(kProgram, {stage.home, stage.server});
  const bool isArrived = showArrived(stage, known, bodyOf(files), "200");
  return showFiles(stage).empty() && isArrived;
}

/// Uploads the folder to a server that answers 500. Returns true when the files arrived and were not deleted.
bool isRefusedAndKept(const Stage& stage, const Files& files) {
  const std::size_t known = stage.arrived().size();
  stage.setFaults({"/sqm:status=500:once"});
  stage.run(kProgram, {stage.home, stage.server}, /*expectedStatus=*/1);
  showEndOfLog(stage);
  const bool isArrived = showArrived(stage, known, bodyOf(files), "500");
  return showFiles(stage) == files && isArrived;
}

}  // namespace

bool playSqmFiles(const Stage& stage) {
  const Shown& shown = stage.shown;

  shown.title("A session as a .sqm file, the older path beside the records");
  stage.run(kProgram, {stage.home});
  const Files first = showFiles(stage);

  shown.title("It is posted, and the folder is empty afterwards");
  bool isAllRight = first.size() == 1 && isDelivered(stage, first);

  shown.title("Another session, and a server that answers 500: the file stays");
  stage.run(kProgram, {stage.home});
  const Files second = showFiles(stage);
  isAllRight = second.size() == 1 && isRefusedAndKept(stage, second) && isAllRight;

  shown.title("The next time the server is well again");
  return isDelivered(stage, second) && isAllRight;
}

}  // namespace demo
