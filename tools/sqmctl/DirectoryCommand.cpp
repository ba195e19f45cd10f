#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sqm/common/NotificationCenter.h"
#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/Sending.h"
#include "tools/sqmctl/Stored.h"
#include "tools/support/SqmLine.h"

namespace sqmctl {

namespace {

using sqm::platform::HttpExchange;
using sqm::platform::HttpOutcome;
using tools::plural;
using tools::Style;

/// Throws Problem when `folder` is not a folder.
void checkFolder(const std::string& folder) {
  std::error_code unknown;
  if (!std::filesystem::is_directory(folder, unknown)) {
    throw Problem(kBadInput, folder + " is not a folder; name the one that the application saves .sqm files to");
  }
}

// --- show ---------------------------------------------------------------------------------------------------------

/// Why the file is not sent as one session; empty when it is.
std::string remarkOn(const SqmFile& file, const tools::SqmSession& session) {
  if (!file.problem.empty()) return "it cannot be read: it is not sent, but deleted with the others";
  if (!file.isSent) return "it is not well-formed UTF-8: it is not sent, but deleted with the others";
  return std::string(session.problem);
}

Json jsonOf(const SqmFile& file, const tools::SqmSession& session) {
  Json values = Json::array();
  for (std::size_t at = 0; at < session.fields.size(); ++at) {
    if (!session.fields[at].empty()) values.push_back(Json::array({tools::sqmPositionName(at), session.fields[at]}));
  }
  const std::string remark = remarkOn(file, session);
  return {{"file", file.name},
          {"bytes", file.bytes},
          {"problem", remark.empty() ? Json(nullptr) : Json(remark)},
          {"values", std::move(values)}};
}

void print(const tools::Terminal& terminal, const SqmFile& file, const tools::SqmSession& session) {
  terminal.line(terminal.styled(Style::bold, file.name + "  " + plural(file.bytes, "byte")));
  const std::string remark = remarkOn(file, session);
  if (!remark.empty()) terminal.line("  " + terminal.styled(Style::bad, remark));
  for (std::size_t at = 0; at < session.fields.size(); ++at) {
    if (session.fields[at].empty()) continue;
    terminal.line("  " + flushRight(std::to_string(at), 2) + "  " +
                  terminal.styled(Style::name, padded(tools::sqmPositionName(at), 18)) +
                  terminal.shown(session.fields[at]));
  }
}

void show(Invocation& invocation, const std::string& folder, bool isJson) {
  checkFolder(folder);
  const tools::Terminal terminal(stdout);
  const std::vector<SqmFile> files = sqmFilesIn(folder);
  Json all = Json::array();
  for (const SqmFile& file : files) {
    complainOf(invocation, file);
    const tools::SqmSession session = file.problem.empty() ? tools::sqmSessionOf(file.content) : tools::SqmSession{};
    if (isJson) {
      all.push_back(jsonOf(file, session));
    } else {
      print(terminal, file, session);
    }
  }
  if (isJson) return printJson(terminal, all);
  if (files.empty()) terminal.line(terminal.shown("There is no .sqm file in " + folder));
}

// --- send ---------------------------------------------------------------------------------------------------------

struct SendOptions {
  std::string folder;
  std::string url;
  std::chrono::milliseconds timeout = std::chrono::minutes(1);
};

std::vector<std::string> namesOf(const std::vector<SqmFile>& files) {
  std::vector<std::string> names;
  names.reserve(files.size());
  for (const SqmFile& file : files) names.push_back(file.name);
  return names;
}

/// Throws Problem when a file cannot be sent: the uploader would delete it with the others.
void checkFiles(const std::vector<SqmFile>& files) {
  for (const SqmFile& file : files) {
    if (file.isSent) continue;
    throw Problem(kFailure, (file.problem.empty() ? file.path + " is not well-formed UTF-8" : file.problem) +
                                "\nNothing was posted: the file would be deleted unsent. Move it away first.");
  }
}

void send(Invocation& invocation, const SendOptions& options) {
  checkFolder(options.folder);
  const std::vector<SqmFile> files = sqmFilesIn(options.folder);
  checkFiles(files);
  tools::Terminal terminal(stdout);
  if (files.empty()) {
    terminal.line(terminal.shown("There is no .sqm file in " + options.folder + "; nothing was posted"));
    return;
  }

  std::vector<std::string> left = namesOf(files);
  std::string reason = "it could not be posted; can the logs below the home directory be written?";
  SendingHost sending(invocation, [&](const HttpExchange& exchange, const sqm::delivery::Delivery& delivery) {
    if (exchange.outcome == HttpOutcome::aborted) return;
    reason = printExchange(terminal, plural(left.size(), "file"), exchange, delivery, "the files from the folder");
  });
  bool isInTime = true;
  if (const auto uploader = sqm::SQMUploader::create(sending.host())) {
    // The uploader would post files that it cannot delete again and again.
    const auto answered = sending.host().notificationCenter->addObserver(
        sqm::TrelkHttpTransactionCompletedNotification, nullptr, [&](const sqm::Notification&) {
          const std::vector<std::string> before = std::exchange(left, namesOf(sqmFilesIn(options.folder)));
          if (sending.isIdle() || !std::includes(left.begin(), left.end(), before.begin(), before.end())) return;
          reason = "the server has them, but they cannot be deleted";
          uploader->abortSend();
        });
    uploader->setSQMDirPath(options.folder);
    uploader->setSQMUploadUrl(options.url);
    terminal.passing("  " + plural(left.size(), "file") + "  under way");
    uploader->startSend();
    isInTime = sending.host().runUntilIdle(options.timeout);
  }
  if (!isInTime) {
    terminal.passing("");
    reason = "no answer within " + secondsText(options.timeout);
  }
  sending.complainOfAll(invocation);
  left = namesOf(sqmFilesIn(options.folder));
  if (left.empty()) return;
  complain(invocation, plural(left.size(), "file") + (left.size() == 1 ? " stays in " : " stay in ") + options.folder +
                           ": " + reason);
}

void addShowFolder(CLI::App& directory, Invocation& invocation) {
  struct ShowOptions {
    std::string folder;
    bool isJson = false;
  };
  const auto options = std::make_shared<ShowOptions>();
  CLI::App* command = directory.add_subcommand("show", "The sessions, with their positions named");
  command->add_option("FOLDER", options->folder, "The folder of the files")->option_text(" ")->required();
  command->add_flag("--json", options->isJson, "For programs");
  command->callback([&invocation, options] { show(invocation, options->folder, options->isJson); });
}

void addSendFolder(CLI::App& directory, Invocation& invocation) {
  const auto options = std::make_shared<SendOptions>();
  CLI::App* command = directory.add_subcommand("send", "Posts the files as one body, and deletes them");
  command->add_option("FOLDER", options->folder, "The folder of the files")->option_text(" ")->required();
  addUrl(*command, options->url);
  addTimeout(*command, options->timeout);
  command->footer(
      "Only an answer 200 deletes the files (see --accept in the manual), and then every .sqm file that is in the "
      "folder at that time: do not save\n"
      "files while they are sent.");
  command->callback([&invocation, options] { send(invocation, *options); });
}

}  // namespace

void addDirectory(CLI::App& program, Invocation& invocation) {
  CLI::App* directory = program.add_subcommand("directory", "A folder of .sqm files: show, send");
  directory->require_subcommand(1);
  addShowFolder(*directory, invocation);
  addSendFolder(*directory, invocation);
}

}  // namespace sqmctl
