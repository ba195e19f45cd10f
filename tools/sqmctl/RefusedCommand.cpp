#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "sqm/common/HttpTransaction.h"
#include "sqm/delivery/RefusedBodies.h"
#include "sqm/platform/files/SystemFiles.h"
#include "sqm/platform/http/internal/HttpAddress.h"
#include "sqm/platform/system/HomeFolders.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/Sending.h"
#include "tools/sqmctl/Stored.h"

namespace sqmctl {

namespace {

using sqm::delivery::RefusedBody;
using sqm::delivery::RefusedFile;
using tools::plural;
using tools::Style;

/// A file of the folder with what it holds. `body` refers to `text`.
struct Refused {
  RefusedFile file;
  std::string text;
  RefusedBody body;
  std::string problem;  ///< why it cannot be read; otherwise empty
};

std::vector<RefusedFile> refusedFiles(const Invocation& invocation) {
  sqm::platform::SystemFiles files;
  const std::string folder = sqm::delivery::refusedFolderPath(sqm::platform::HomeFolders(homeOf(invocation)));
  std::vector<RefusedFile> all;
  if (const auto problem = listRefused(files, folder, all)) {
    throw Problem(kFailure, "cannot read " + folder + ": " + problem.message());
  }
  return all;
}

/// The files with these numbers. Throws Problem when there is no such file.
std::vector<RefusedFile> filesWith(const Invocation& invocation, const std::vector<std::uint64_t>& numbers) {
  const std::vector<RefusedFile> all = refusedFiles(invocation);
  std::vector<RefusedFile> chosen;
  for (const std::uint64_t number : numbers) {
    const auto found = std::ranges::find(all, number, &RefusedFile::number);
    if (found == all.end()) {
      throw Problem(kBadInput, "there is no refused body " + std::to_string(number) +
                                   "; 'sqmctl refused list' shows the numbers. Nothing was done.");
    }
    chosen.push_back(*found);
  }
  return chosen;
}

void read(const RefusedFile& file, Refused& refused) {
  refused.file = file;
  if (const auto failure = sqm::platform::SystemFiles().read(file.path, refused.text)) {
    refused.problem = "cannot read " + file.path + ": " + failure.message();
  } else if (const auto body = sqm::delivery::refusedBodyOf(refused.text)) {
    refused.body = *body;
  } else {
    refused.problem = "cannot read " + file.path + ": it is no refused body";
  }
}

/// Without user name and password.
std::string shownAddress(const RefusedBody& body) {
  const auto address = sqm::platform::parseHttpAddress(body.address);
  return address ? address->shownAs : "(no usable address)";
}

std::string rowOf(const Refused& refused) {
  return tools::visible(shownAddress(refused.body)) + "  " + plural(refused.body.body.size(), "byte");
}

// --- list, show ---------------------------------------------------------------------------------------------------

Json jsonOf(const Refused& refused) {
  return {{"number", refused.file.number},
          {"url", shownAddress(refused.body)},
          {"status", refused.body.status},
          {"time", std::string(refused.body.time)},
          {"bytes", refused.body.body.size()}};
}

std::string headOf(const Refused& refused) {
  return std::to_string(refused.file.number) + "  " + rowOf(refused) + "  status " +
         std::to_string(refused.body.status) + "  " + tools::visible(refused.body.time);
}

void list(Invocation& invocation, bool isJson) {
  const tools::Terminal terminal(stdout);
  const std::vector<RefusedFile> files = refusedFiles(invocation);
  Json all = Json::array();
  for (const RefusedFile& file : files) {
    Refused refused;
    read(file, refused);
    if (!refused.problem.empty()) {
      complain(invocation, refused.problem);
    } else if (isJson) {
      all.push_back(jsonOf(refused));
    } else {
      terminal.line(headOf(refused));
    }
  }
  if (isJson) return printJson(terminal, all);
  if (files.empty()) terminal.line("Nothing was refused");
}

struct ShowOptions {
  std::uint64_t number = 0;
  bool isRaw = false;
};

void show(Invocation& invocation, const ShowOptions& options) {
  const tools::Terminal terminal(stdout);
  Refused refused;
  read(filesWith(invocation, {options.number}).front(), refused);
  if (!refused.problem.empty()) throw Problem(kFailure, refused.problem);
  const std::string body(refused.body.body);
  if (options.isRaw && !terminal.isTerminal()) {
    std::fwrite(body.data(), 1, body.size(), stdout);
    return;
  }
  if (!options.isRaw) terminal.line(terminal.styled(Style::bold, headOf(refused)));
  terminal.line(terminal.shown(options.isRaw ? body : tools::visible(body, /*keepsLines=*/true), /*keepsLines=*/true));
}

// --- send, delete -------------------------------------------------------------------------------------------------

struct ChosenOptions {
  std::vector<std::uint64_t> numbers;
  bool all = false;
  std::chrono::milliseconds timeout = std::chrono::minutes(1);
};

std::vector<RefusedFile> chosenFiles(const Invocation& invocation, const ChosenOptions& options) {
  return options.all ? refusedFiles(invocation) : filesWith(invocation, options.numbers);
}

/// Returns false, with a message, when the file cannot be removed.
bool removeFile(Invocation& invocation, const RefusedFile& file) {
  const auto failure = sqm::platform::SystemFiles().remove(file.path);
  if (failure) complain(invocation, "cannot remove " + file.path + ": " + failure.message());
  return !failure;
}

void deleteChosen(Invocation& invocation, const ChosenOptions& options) {
  std::size_t removed = 0;
  for (const RefusedFile& file : chosenFiles(invocation, options)) {
    if (removeFile(invocation, file)) ++removed;
  }
  const tools::Terminal terminal(stdout);
  terminal.line("Deleted " + (removed == 1 ? std::string("1 body") : std::to_string(removed) + " bodies"));
}

/// Posts the body of one file. Returns why it stays; empty when the server has taken it.
std::string post(const Invocation& invocation, const Refused& refused, std::chrono::milliseconds timeout) {
  if (!refused.problem.empty()) return refused.problem;
  tools::Terminal terminal(stdout);
  // A body that is refused again stays as it is: any status passes, and is judged here.
  Invocation any = invocation;
  any.accept = sqm::delivery::Accept::anyStatus;
  std::string reason;
  SendingHost sending(any, [&](const sqm::platform::HttpExchange& exchange, const sqm::delivery::Delivery& delivery) {
    sqm::delivery::Delivery judged = delivery;
    judged.outcome = outcomeOf(sqm::delivery::Accept::only2xx, {.status = exchange.status});
    const bool isTaken = judged.outcome == sqm::delivery::Outcome::delivered;
    judged.shownStatus = isTaken ? sqm::kHttpStatusOk : 0;
    reason = printExchange(terminal, rowOf(refused), exchange, judged, "a refused body");
    if (isTaken) {
      reason.clear();
    } else if (exchange.outcome == sqm::platform::HttpOutcome::completed) {
      reason = retryText(exchange, "only 2xx removes a refused body");
    }
  });
  const auto transaction = sending.host().httpTransactions->makeTransaction();
  if (!transaction) return "no request can be made";
  terminal.passing("  " + rowOf(refused) + "  under way");
  reason = "no answer within " + secondsText(timeout);
  transaction->startSession("sqmctl", "SQMHttp.log");
  transaction->sendHttpRequest(refused.body.address, sqm::kHttpMethodPost, std::string(refused.body.body));
  sending.host().runUntilIdle(timeout);
  return reason;
}

void send(Invocation& invocation, const ChosenOptions& options) {
  const std::vector<RefusedFile> files = chosenFiles(invocation, options);
  if (files.empty()) tools::Terminal(stdout).line("Nothing was refused; nothing was posted");
  for (const RefusedFile& file : files) {
    Refused refused;
    read(file, refused);
    const std::string reason = post(invocation, refused, options.timeout);
    if (reason.empty()) {
      removeFile(invocation, file);
    } else {
      complain(invocation, "the refused body " + std::to_string(file.number) + " stays: " + reason);
    }
  }
}

void addChosen(CLI::App& command, ChosenOptions& options) {
  CLI::Option* all = command.add_flag("--all", options.all, "All of them");
  command.add_option("NUMBER", options.numbers, "The numbers that 'refused list' shows")
      ->option_text(" ")
      ->excludes(all);
  command.require_option(1, 0);
}

}  // namespace

void addRefused(CLI::App& program, Invocation& invocation) {
  CLI::App* refused =
      program.add_subcommand("refused", "What servers refused under --accept 2xx: list, show, send, delete");
  refused->require_subcommand(1);

  const auto isJson = std::make_shared<bool>(false);
  CLI::App* listed = refused->add_subcommand("list", "The refused bodies, the oldest first");
  listed->add_flag("--json", *isJson, "For programs");
  listed->callback([&invocation, isJson] { list(invocation, *isJson); });

  const auto shown = std::make_shared<ShowOptions>();
  CLI::App* showing = refused->add_subcommand("show", "One refused body");
  showing->add_option("NUMBER", shown->number, "The number that 'refused list' shows")->option_text(" ")->required();
  showing->add_flag("--raw", shown->isRaw, "The body alone, byte for byte");
  showing->callback([&invocation, shown] { show(invocation, *shown); });

  const auto sent = std::make_shared<ChosenOptions>();
  CLI::App* sending = refused->add_subcommand("send", "Posts refused bodies again, and removes those that are taken");
  addChosen(*sending, *sent);
  addTimeout(*sending, sent->timeout);
  sending->footer("Only an answer of 200 to 299 removes a refused body.");
  sending->callback([&invocation, sent] { send(invocation, *sent); });

  const auto deleted = std::make_shared<ChosenOptions>();
  CLI::App* deleting = refused->add_subcommand("delete", "Deletes refused bodies");
  addChosen(*deleting, *deleted);
  deleting->callback([&invocation, deleted] { deleteChosen(invocation, *deleted); });
}

}  // namespace sqmctl
