#include <algorithm>
#include <csignal>
#include <string>

#include "sqm/common/QFSerializer.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/queue/QFRecordUploader.h"

#include "tools/demo/Stage.h"
#include "tools/support/ReservedPort.h"
#include "tools/support/Terminal.h"

namespace demo {

namespace {

constexpr const char* kProgram = "05_upload_queue";

/// Shows the requests of the queue's archive, and returns them.
sqm::UploadRequests showArchive(const Stage& stage) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = stage.home;
  const sqm::platform::StandardHost host(options);
  const std::string name(sqm::QFRecordUploader::kArchiveFile);
  auto requests = host.serializer->objectFromFile(host.configuration->applicationQuenfaFolderPath() + "/" + name)
                      .value_or(sqm::UploadRequests{});
  stage.shown.note("  " + name + ": " + tools::plural(requests.size(), "request"));
  for (const auto& request : requests) stage.shown.note("    " + request.uploadData.value_or(""));
  return requests;
}

}  // namespace

bool playOutage(const Stage& stage) {
  const Shown& shown = stage.shown;
  const tools::ReservedPort port;

  shown.title("Requests are queued while their server is down, and the process is killed");
  stage.run(kProgram, {stage.home, "queue", port.address()}, 128 + SIGKILL);
  shown.note("  killed; the requests that remain on disk:");
  const auto left = showArchive(stage);

  shown.title("The server is up, and a new process sends the rest");
  const Collector server(stage.programs, port.number());
  stage.run(kProgram, {stage.home, "send"});

  shown.title("What the server got");
  Stage there = stage;
  there.server = server.address();
  const auto arrived = there.arrived();
  for (const Post& post : arrived) shown.note("  POST " + post.path + "  " + post.body);
  const bool isNothingLeft = showArchive(stage).empty();
  const bool isAllThere = std::equal(arrived.begin(), arrived.end(), left.begin(), left.end(),
                                     [](const Post& post, const sqm::UploadRequest& request) {
                                       return post.path == "/queue" && post.body == request.uploadData;
                                     });
  return left.size() == 3 && isAllThere && isNothingLeft;
}

}  // namespace demo
