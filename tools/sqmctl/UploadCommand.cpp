#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "sqm/common/NotificationCenter.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/store/RecordTypes.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/Sending.h"
#include "tools/sqmctl/Stored.h"

namespace sqmctl {

namespace {

using sqm::RecordType;
using sqm::SQMManager;
using sqm::delivery::Delivery;
using sqm::delivery::Outcome;
using sqm::platform::HttpExchange;
using sqm::platform::HttpOutcome;
using tools::plural;
using tools::Style;

struct UploadOptions {
  std::array<std::string, sqm::kRecordTypes.size()> urls;  ///< by type
  std::string all;
  std::chrono::milliseconds timeout = std::chrono::minutes(1);
};

/// The address of a type; empty when none was given.
std::string urlFor(const UploadOptions& options, RecordType type) {
  const std::string& own = options.urls[static_cast<std::size_t>(type)];
  if (!own.empty() || options.all.empty()) return own;
  return options.all + (options.all.ends_with('/') ? "" : "/") + nameOf(type);
}

/// Throws Problem when a list cannot be read: nothing is posted, because the save after it would replace the list.
void checkLists(const StoredLists& lists) {
  std::string problems;
  for (const StoredList& list : lists) {
    if (!list.problem.empty()) problems += (problems.empty() ? "" : "\n") + list.problem;
  }
  if (!problems.empty()) {
    throw Problem(kFailure, problems +
                                "\nNothing was posted: saving would replace what cannot be read. Move it away or "
                                "repair it first.");
  }
}

/// What an upload posts of a list, for the message that its address is missing; empty when it posts nothing.
std::string needOf(const StoredList& list) {
  const std::size_t count = list.records.size();
  if (count > 0) {
    return plural(count, std::string(nameOf(list.type)) + " record") + " that wait" + (count == 1 ? "s" : "");
  }
  if (!sqm::hasDocument(list.type, /*hasRecords=*/false)) return "";
  const std::string name = nameOf(list.type);
  return name + " document, which is posted even when there are no " + name + " records";
}

/// Throws Problem when an address is missing: nothing is posted.
void checkAddresses(const StoredLists& lists, const UploadOptions& options) {
  for (const StoredList& list : lists) {
    const std::string need = needOf(list);
    if (need.empty() || !urlFor(options, list.type).empty()) continue;
    throw Problem(kBadInput, "there is no address for the " + need + "; give --" + nameOf(list.type) +
                                 " URL, or --all URL-PREFIX. Nothing was posted.");
  }
}

/// Uploads, and prints the outcome for each type.
class Upload {
 public:
  Upload(Invocation& invocation, const UploadOptions& options, StoredLists lists)
      : invocation_(invocation),
        options_(options),
        lists_(std::move(lists)),
        sending_(invocation, [this](const HttpExchange& exchange, const Delivery& delivery) {
          exchange_ = exchange;
          outcome_ = delivery.outcome;
          reason_ = delivery.reason;
        }) {}

  void run() {
    sqm::NotificationCenter& center = *sending_.host().notificationCenter;
    bool isInTime = false;
    {
      SQMManager manager(sending_.host());
      for (const RecordType type : sqm::kRecordTypes) manager.setURL(type, urlFor(options_, type));
      // Called after the manager's own observer, which has started the next upload.
      const auto onOutcome = [&](const sqm::Notification& notification) {
        printOutcome();
        if (notification.name == sqm::TrelkSQMUploadSuccess) manager.saveToDisk();
        if (!sending_.isIdle()) printUnderWay(manager.uploadState());
      };
      const auto succeeded = center.addObserver(sqm::TrelkSQMUploadSuccess, nullptr, onOutcome);
      const auto failed = center.addObserver(sqm::TrelkSQMUploadFailure, nullptr, onOutcome);
      manager.uploadSQM();
      printUnderWay(manager.uploadState());
      isInTime = sending_.host().runUntilIdle(options_.timeout);
      manager.saveToDisk();
    }
    if (underWay_) printUnanswered(isInTime);
    sending_.complainOfAll(invocation_);
    printRemaining();
  }

 private:
  std::string row(RecordType type) const {
    const StoredList& list = listOf(lists_, type);
    constexpr std::size_t kNameWidth = 15;
    return "  " + padded(nameOf(type), kNameWidth) + counted(list.records.size(), "record") +
           counted(documentOf(list).size(), "byte") + "  ";
  }

  void printUnderWay(sqm::UploadState state) {
    underWay_ = sqm::typeInFlight(state);
    exchange_ = {};
    if (underWay_) terminal_.passing(row(*underWay_) + "under way");
  }

  void printOutcome() {
    if (!underWay_) return;
    const bool isDelivered = exchange_.isSuccess() && outcome_ == Outcome::delivered;
    const Style style = isDelivered ? Style::good : Style::bad;
    terminal_.passing("");
    terminal_.line(row(*underWay_) + flushRight(secondsText(exchange_.elapsed), 9) + "  " +
                   terminal_.styled(style, textOf(exchange_)));
    const std::size_t count = listOf(lists_, *underWay_).records.size();
    if (exchange_.outcome != HttpOutcome::completed) {
      failure_ = std::string(nameOf(*underWay_)) + ": " + textOf(exchange_);
    } else if (outcome_ == Outcome::retry) {
      failure_ = std::string(nameOf(*underWay_)) + ": " + retryText(exchange_, reason_);
    } else if (outcome_ == Outcome::delivered && !isDelivered && count > 0) {
      warnings_ += std::string("\n") + nameOf(*underWay_) + ": the server answered with " + textOf(exchange_) +
                   "; a completed exchange counts as delivered whatever its status, and the " +
                   plural(count, "record") + (count == 1 ? " is deleted" : " are deleted");
    }
    underWay_.reset();
  }

  /// The upload ended without an outcome for the document under way.
  void printUnanswered(bool isInTime) {
    terminal_.passing("");
    terminal_.line(row(*underWay_) + terminal_.styled(Style::bad, isInTime ? "not posted" : "no answer"));
    failure_ = std::string(nameOf(*underWay_)) + ": " +
               (isInTime ? "it could not be posted; can the logs below the home directory be written?"
                         : "no answer within " + secondsText(options_.timeout) +
                               "; the server may have the records, and gets them again");
  }

  void printRemaining() {
    if (!warnings_.empty()) remark(warnings_.substr(1));
    if (!failure_.empty()) complain(invocation_, failure_);
    std::string staying;
    for (const StoredList& list : storedLists(homeOf(invocation_))) {
      if (list.records.empty()) continue;
      staying +=
          (staying.empty() ? "" : ", ") + plural(list.records.size(), std::string(nameOf(list.type)) + " record");
    }
    if (staying.empty()) return;
    std::string reason = "; the next upload sends them";
    if (failure_.empty()) {
      reason = sending_.fileProblems().empty()
                   ? "; user acceptances are posted only together with device or application records"
                   : "; they were posted, but could not be removed from the disk, and are sent again";
    }
    complain(invocation_, "still stored: " + staying + reason);
  }

  Invocation& invocation_;
  const UploadOptions& options_;
  const StoredLists lists_;
  SendingHost sending_;
  tools::Terminal terminal_{stdout};
  std::optional<RecordType> underWay_;
  HttpExchange exchange_;
  Outcome outcome_ = Outcome::retry;
  std::string reason_;
  std::string warnings_;
  std::string failure_;
};

void run(Invocation& invocation, const UploadOptions& options) {
  const std::string home = homeOf(invocation);
  StoredLists lists = storedLists(home);
  checkLists(lists);
  const bool isEmpty =
      std::all_of(lists.begin(), lists.end(), [](const StoredList& list) { return list.records.empty(); });
  if (isEmpty) {
    const tools::Terminal terminal(stdout);
    terminal.line(terminal.shown("Nothing is stored below " + home + "; nothing was posted"));
    return;
  }
  checkAddresses(lists, options);
  Upload(invocation, options, std::move(lists)).run();
}

}  // namespace

void addUpload(CLI::App& program, Invocation& invocation) {
  const auto options = std::make_shared<UploadOptions>();
  CLI::App* upload = program.add_subcommand("upload", "Posts the stored records to a server");
  for (const RecordType type : sqm::kRecordTypes) {
    const std::string name = nameOf(type);
    upload
        ->add_option("--" + name, options->urls[static_cast<std::size_t>(type)],
                     "Where the " + name + " document is posted")
        ->option_text("URL")
        ->check(addressProblem);
  }
  upload->add_option("--all", options->all, "The other addresses: URL-PREFIX/client, /connection and so on")
      ->option_text("URL-PREFIX")
      ->check(addressProblem);
  addTimeout(*upload, options->timeout);
  upload->footer(
      "Without --accept 2xx, a completed exchange counts as delivered whatever its status: records that are posted to "
      "a\n"
      "server that answers 404 or 500 are deleted. An error or a time-out ends the upload and keeps the rest.\n"
      "The connection document is posted even when there are no connection records.\n"
      "Run this only while the application does not run: each would overwrite what the other saves.");
  upload->callback([&invocation, options] { run(invocation, *options); });
}

}  // namespace sqmctl
