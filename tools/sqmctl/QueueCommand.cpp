#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "sqm/queue/QFRecordUploader.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Input.h"
#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/Sending.h"
#include "tools/sqmctl/Stored.h"

namespace sqmctl {

namespace {

using sqm::platform::HttpExchange;
using tools::plural;
using tools::Style;

constexpr const char* kNoAddress = "(no address)";

// --- list ---------------------------------------------------------------------------------------------------------

Json jsonOf(const sqm::UploadRequest& request) {
  Json json = {{"url", request.uploadURL ? Json(*request.uploadURL) : Json(nullptr)}};
  if (!request.uploadData) {
    json.update({{"bytes", 0}, {"encoding", nullptr}, {"data", nullptr}});
  } else {
    EncodedBytes data = encodedForJson(*request.uploadData);
    json.update({{"bytes", request.uploadData->size()}, {"encoding", data.encoding}, {"data", std::move(data.text)}});
  }
  return json;
}

void list(Invocation& invocation, bool isJson) {
  constexpr std::size_t kBeginning = 60;
  const StoredQueue queue = storedQueue(homeOf(invocation));
  const tools::Terminal terminal(stdout);
  complainOf(invocation, queue);
  if (isJson) {
    Json all = Json::array();
    for (const sqm::UploadRequest& request : queue.requests) all.push_back(jsonOf(request));
    return printJson(terminal, all);
  }
  std::size_t number = 0;
  for (const sqm::UploadRequest& request : queue.requests) {
    const std::string data = request.uploadData.value_or("");
    terminal.line(terminal.styled(Style::bold, std::to_string(++number) + "  " +
                                                   tools::visible(request.uploadURL.value_or(kNoAddress)) + "  " +
                                                   (request.uploadData ? plural(data.size(), "byte") : "(no data)")));
    if (!data.empty()) terminal.line("   " + terminal.shown(tools::visible(tools::beginning(data, kBeginning))));
  }
  if (queue.requests.empty() && queue.problem.empty()) terminal.line("No request waits");
}

// --- add, send ----------------------------------------------------------------------------------------------------

/// The uploader of this process, which must not be used after the host is destroyed. Throws Problem when the queue
/// cannot be read: the uploader would move it aside and begin an empty one.
sqm::QFRecordUploader& uploaderOn(SendingHost& sending, const std::string& home) {
  const StoredQueue queue = storedQueue(home);
  if (!queue.problem.empty()) {
    throw Problem(kFailure, queue.problem + "\nNothing was changed. Move the file away to begin a new queue.");
  }
  sqm::Host::install(sending.host());
  sqm::QFRecordUploader& uploader = *sqm::QFRecordUploader::sharedQFRecordUploader();
  if (!uploader.recordQueue()) throw Problem(kFailure, "the queue " + queue.path + " cannot be read");
  return uploader;
}

struct AddOptions {
  std::string url;
  std::optional<std::string> data;
  std::optional<std::string> file;
};

void add(Invocation& invocation, const AddOptions& options) {
  constexpr std::size_t kLargest = std::size_t{1} << 27;  // what an archive may hold
  const std::string data = options.data ? *options.data : contentOfInput(options.file.value_or("-"), kLargest);
  const std::string home = homeOf(invocation);
  SendingHost sending(invocation);
  sqm::QFRecordUploader& uploader = uploaderOn(sending, home);
  if (!sending.host().makeFolders()) throw Problem(kFailure, "the folders below " + home + " cannot be made");
  uploader.quequeRecord(data, options.url);
  for (const std::string& problem : sending.fileProblems()) complain(invocation, problem);
  if (invocation.status != kSuccess) throw Problem(kFailure, "the request was not queued");
  const tools::Terminal terminal(stdout);
  terminal.line(terminal.shown("Queued " + plural(data.size(), "byte") + " for " + options.url + "; " +
                               plural(uploader.recordQueue()->size(), "request") + " in the queue"));
}

void send(Invocation& invocation, std::chrono::milliseconds timeout) {
  const std::string home = homeOf(invocation);
  tools::Terminal terminal(stdout);
  if (storedQueue(home).problem.empty() && storedQueue(home).requests.empty()) {
    terminal.line("No request waits; nothing was posted");
    return;
  }
  std::string reason;
  SendingHost sending(invocation, [&](const HttpExchange& exchange, const sqm::delivery::Delivery& delivery) {
    const auto request =
        sqm::QFRecordUploader::sharedQFRecordUploader()->currentURLRequest().value_or(sqm::UploadRequest{});
    const std::string row = tools::visible(request.uploadURL.value_or(kNoAddress)) + "  " +
                            plural(request.uploadData.value_or("").size(), "byte");
    reason = printExchange(terminal, row, exchange, delivery, "a request from the queue");
  });
  sqm::QFRecordUploader& uploader = uploaderOn(sending, home);
  terminal.passing("  " + plural(uploader.recordQueue()->size(), "request") + " under way");
  uploader.uploadRecord();
  const bool isInTime = sending.host().runUntilIdle(timeout);

  sending.complainOfAll(invocation);
  const sqm::UploadRequests left = uploader.recordQueue().value_or(sqm::UploadRequests{});
  if (left.empty()) return;
  terminal.passing("");
  const sqm::UploadRequest& head = left.front();
  if (!isInTime) {
    reason = "no answer within " + secondsText(timeout);
  } else if (!head.uploadURL || !head.uploadData) {
    reason = "it lacks its address or its data";
  }
  complain(invocation, "the request to " + head.uploadURL.value_or(kNoAddress) + " stays" +
                           (left.size() > 1 ? ", and " + std::to_string(left.size() - 1) + " behind it" : "") + ": " +
                           reason);
}

void addList(CLI::App& queue, Invocation& invocation) {
  const auto isJson = std::make_shared<bool>(false);
  CLI::App* command = queue.add_subcommand("list", "The requests that wait, the oldest first");
  command->add_flag("--json", *isJson, "For programs");
  command->callback([&invocation, isJson] { list(invocation, *isJson); });
}

void addAdd(CLI::App& queue, Invocation& invocation) {
  const auto options = std::make_shared<AddOptions>();
  CLI::App* command = queue.add_subcommand("add", "Appends a request to the queue, without sending it");
  addUrl(*command, options->url);
  CLI::Option* data =
      command->add_option("DATA", options->data, "The body to post (default: standard input)")->option_text(" ");
  command->add_option("--file", options->file, "Post the content of this file (-: standard input)")
      ->option_text("FILE")
      ->excludes(data);
  command->callback([&invocation, options] { add(invocation, *options); });
}

void addSend(CLI::App& queue, Invocation& invocation) {
  const auto timeout = std::make_shared<std::chrono::milliseconds>(std::chrono::minutes(1));
  CLI::App* command = queue.add_subcommand("send", "Posts the requests one after another, until one fails");
  addTimeout(*command, *timeout);
  command->footer(
      "Only an answer 200 removes a request from the queue, with --accept 2xx one of 200 to 299, or one that refuses\n"
      "the body, which is then kept. Any other answer stops the queue at that request.\n"
      "Run this only while the application does not run: each would overwrite the other's queue.");
  command->callback([&invocation, timeout] { send(invocation, *timeout); });
}

}  // namespace

void addQueue(CLI::App& program, Invocation& invocation) {
  CLI::App* queue = program.add_subcommand("queue", "The upload queue: list, add, send");
  queue->require_subcommand(1);
  addList(*queue, invocation);
  addAdd(*queue, invocation);
  addSend(*queue, invocation);
}

}  // namespace sqmctl
