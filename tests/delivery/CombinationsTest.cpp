// All combinations of the delivery policies run random scenarios and must do what the model says.

#include <filesystem>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/delivery/UploadSchedule.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/testing/FakeServices.h"
#include "sqm/testing/MemoryLog.h"
#include "sqm/testing/ScriptedHttp.h"

#include "tests/delivery/DeliveryModel.h"
#include "tests/support/AskedNumber.h"
#include "tests/support/Paths.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::delivery::test {
namespace {

namespace fs = std::filesystem;
using platform::StandardHost;
using namespace std::chrono_literals;

constexpr Limit kLimit = {.records = 5, .bytes = 2000, .age = 300s};

std::vector<int> numbersIn(const std::string& text) {
  static const std::regex kMark("MARK([0-9]+)");
  std::vector<int> numbers;
  for (std::sregex_iterator at(text.begin(), text.end(), kMark), end; at != end; ++at) {
    numbers.push_back(std::stoi((*at)[1]));
  }
  return numbers;
}

/// A home directory, and one process after another that works in it. Each operation is made by the library and by the
/// model.
class Scenario {
 public:
  Scenario(const Policies& policies, unsigned seed) : policies_(policies), random_(seed), isCounting_(seed % 2 == 0) {
    begin();
    model_.boundAll(clock_.time());
    startSchedule();
  }

  void run(int steps) {
    for (int step = 0; step < steps && !::testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      makeStep();
      finishUploads();
      check();
    }
  }

  /// What is left reaches the server, in the order in which it was stored.
  void deliverAll() {
    if (host_->consent() != nullptr) setConsent(Consent::granted);
    answers_ = {200};
    for (int upload = 0; upload < 3; ++upload) {
      model_.startUpload(clock_.time());
      manager_->uploadSQM();
      finishUploads();
    }
    check();
  }

 private:
  void begin() {
    StandardHost::Options options;
    options.homeDirectory = home_.path();
    options.resourceDirectory = paths::sources() + "/examples";
    options.services.notificationCenter = &center_;
    options.services.clock = &clock_;
    options.services.mainThread = &mainThread_.emplace();
    options.services.httpTransactions = &http_.emplace(center_);
    options.services.logFiles = &logs_;
    options.services.console = &console_;
    if (policies_.journal) options.recording = Recording::survivesCrash;
    if (policies_.outcomes) options.accept = Accept::only2xx;
    if (policies_.schedule) {
      options.onDelivery = [this](const Delivery& delivery) { schedule_->exchangeEnded(delivery); };
    }
    if (policies_.limits) options.limits = Limits::ofEach(kLimit);
    if (policies_.consent) options.consent = Consent::granted;
    if (isCounting_) options.counting = StandardHost::Counting::kept;
    host_.emplace(options);
    ASSERT_TRUE(host_->makeFolders());
    if (policies_.schedule) {
      schedule_.emplace(*host_, ScheduleOptions(),
                        [this] { return std::uniform_real_distribution<double>()(random_); });
    }
    manager_.emplace(*host_);
    manager_->setDeviceType(3);
    for (const RecordType type : kRecordTypes) manager_->setURL(type, "http://server.example/");
    if (policies_.consent) {
      EXPECT_EQ(host_->consent()->value(), model_.consent());
    }
  }

  /// Not in `begin`: the first upload starts at once.
  void startSchedule() {
    if (!policies_.schedule) return;
    schedule_->addTarget({[this] {
      model_.startUpload(clock_.time());
      manager_->uploadSQM();
    }});
    schedule_->start();
    mainThread_->runAll();
    finishUploads();
  }

  void makeStep() {
    switch (below(16)) {
      case 0:
        model_.save(clock_.time());
        manager_->saveToDisk();
        return;
      case 1:
      case 2:
        return upload();
      case 3:
        return pass(std::chrono::seconds(1 + below(120)));
      case 4:
        return restart();
      case 5:
        return crash();
      case 6:
        if (policies_.consent) setConsent(below(2) == 0 ? Consent::granted : static_cast<Consent>(below(3)));
        return;
      default:
        record();
    }
  }

  void record() {
    const RecordType type = kRecordTypes[static_cast<std::size_t>(below(kRecordTypes.size()))];
    const int number = ++lastNumber_;
    SQMSessionParams params;
    params.setStringValue("MARK" + std::to_string(number) + std::string(static_cast<std::size_t>(below(100)), ' '), 6);
    switch (type) {
      case RecordType::client:
        manager_->sqmCreateClientRecord(&params);
        break;
      case RecordType::connection:
        manager_->sqmCreateStartRecord(&params);
        break;
      case RecordType::device:
        manager_->sqmCreateDeviceRecord(&params);
        break;
      case RecordType::application:
        manager_->sqmCreateApplicationStartRecord(&params);
        break;
      case RecordType::userAcceptance:
        manager_->sqmCreateUserAcceptanceRecord(&params);
        break;
    }
    const std::string line = logs_.lines("SQMManager.log").back();
    const std::size_t begin = line.find('<');
    const bool isEmpty = type == RecordType::userAcceptance;  // as it is without a filter
    model_.record(type, {number, isEmpty ? 0 : line.rfind('>') + 1 - begin, clock_.time()});
  }

  void upload() {
    if (policies_.schedule) {
      pass(11s);  // beyond the smallest pause
      schedule_->uploadNow();
      mainThread_->runAll();
      return;
    }
    model_.startUpload(clock_.time());
    manager_->uploadSQM();
  }

  void pass(std::chrono::seconds time) {
    finishUploads();
    clock_.advance(time);
    mainThread_->pass(time);
  }

  void restart() {
    model_.restart(clock_.time());
    end();
    begin();
    model_.boundAll(clock_.time());
    startSchedule();
  }

  void crash() {
    const TemporaryFolder disk;
    fs::copy(home_.path(), disk.path(), fs::copy_options::recursive);
    end();
    fs::remove_all(home_ / "Library");
    fs::copy(disk.path(), home_.path(), fs::copy_options::recursive);
    model_.crash();
    begin();
    if (policies_.limits) adoptTimes();
    model_.boundAll(clock_.time());
    checkEquation();
    if (isCounting()) model_.adopt(host_->statistics());
    startSchedule();
  }

  /// A record without a time begins its age with the process, and keeps it in the next one.
  void adoptTimes() {
    const fs::path file = fs::path(sqmFolderPath(*host_->configuration)) / kStatisticsFile;
    if (!fs::exists(file)) return;
    const auto kept = statisticsOf(contentOf(file));
    ASSERT_TRUE(kept);
    model_.adopt(kept->listTimes);
  }

  void end() {
    manager_.reset();
    schedule_.reset();
    host_.reset();
    mainThread_.reset();
  }

  void setConsent(Consent consent) {
    model_.setConsent(consent);
    EXPECT_FALSE(host_->consent()->set(consent));
    if (consent == Consent::revoked) expectNothingStored();
  }

  void finishUploads() {
    while (http_->requestsUnderWay() > 0 && !::testing::Test::HasFailure()) {
      const auto request = http_->requests().back();
      if (!request.url) {  // it is not sent
        EXPECT_NE(model_.consent(), Consent::granted);
        http_->fail();
      } else {
        ASSERT_TRUE(model_.inFlight());
        EXPECT_TRUE(request.data.find(rowOf(*model_.inFlight()).element) != std::string::npos);
        if (model_.inFlight() != RecordType::userAcceptance) {
          EXPECT_EQ(numbersIn(request.data), model_.numbersInFlight()) << request.data;
        }
        // The next record may be stored, and the process may end, before the answer.
        if (below(4) == 0) record();
        if (policies_.consent && below(12) == 0) setConsent(static_cast<Consent>(below(3)));
        if (!model_.inFlight()) {
          http_->endAbort();
          continue;
        }
        const int status = answers_[static_cast<std::size_t>(below(answers_.size()))];
        model_.answer(status);
        if (status == 0) {
          http_->fail();
        } else {
          http_->complete(status);
        }
      }
      mainThread_->runAll();
    }
    EXPECT_FALSE(model_.inFlight());
  }

  bool isCounting() const { return policies_.limits || isCounting_; }

  void checkEquation() const {
    const DeliveryStatistics statistics = host_->statistics();
    for (const DeliveryCounts& counts : statistics.lists) {
      EXPECT_EQ(counts.accepted, counts.delivered + counts.refused + counts.allDropped() + counts.waiting);
    }
  }

  void check() const {
    if (isCounting()) {
      checkEquation();
      for (const RecordType type : kRecordTypes) {
        DeliveryCounts expected = model_.counts(type);
        expected.waiting = model_.numbers(type).size();
        const DeliveryCounts actual = host_->statistics().lists[indexOf(type)];
        EXPECT_EQ(actual, expected) << rowOf(type).name << ": accepted " << actual.accepted << " for "
                                    << expected.accepted << ", delivered " << actual.delivered << " for "
                                    << expected.delivered << ", refused " << actual.refused << " for "
                                    << expected.refused << ", dropped " << actual.allDropped() << " for "
                                    << expected.allDropped() << ", waiting " << actual.waiting << " for "
                                    << expected.waiting;
      }
    }
    std::vector<RefusedFile> refused;
    EXPECT_FALSE(listRefused(*host_->files, refusedFolderPath(*host_->configuration), refused));
    EXPECT_EQ(refused.size(), model_.refusedBodies());
  }

  void expectNothingStored() const {
    for (const auto& entry : fs::recursive_directory_iterator(home_.path())) {
      if (!entry.is_regular_file()) continue;
      EXPECT_EQ(contentOf(entry.path()).find("MARK"), std::string::npos) << entry.path();
    }
  }

  int below(std::size_t bound) { return static_cast<int>(random_() % bound); }

  const Policies policies_;
  std::mt19937 random_;
  const bool isCounting_;
  DeliveryModel model_{policies_, kLimit};
  const TemporaryFolder home_;
  NotificationCenter center_;
  testing::ManualClock clock_;
  testing::MemoryLogs logs_;
  testing::MemoryConsole console_;
  std::optional<testing::ManualMainThread> mainThread_;
  std::optional<testing::ScriptedHttp> http_;
  std::optional<StandardHost> host_;
  std::optional<UploadSchedule> schedule_;  // not the host's, whose pauses are not those of the seed
  std::optional<SQMManager> manager_;
  std::vector<int> answers_ = {200, 200, 204, 404, 302, 500, 429, 0};
  int lastNumber_ = 0;
};

class Combinations : public ::testing::TestWithParam<int> {};

TEST_P(Combinations, DoWhatTheModelSays) {
  const int bits = GetParam();
  const Policies policies = {.journal = (bits & 1) != 0,
                             .outcomes = (bits & 2) != 0,
                             .schedule = (bits & 4) != 0,
                             .limits = (bits & 8) != 0,
                             .consent = (bits & 16) != 0};
  const std::size_t scenarios = askedNumber("SQM_SCENARIOS", 6);
  for (unsigned seed = 0; seed < scenarios && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Scenario scenario(policies, seed);
    scenario.run(80);
    if (!HasFailure()) scenario.deliverAll();
  }
}

INSTANTIATE_TEST_SUITE_P(Delivery, Combinations, ::testing::Range(0, 32));

}  // namespace
}  // namespace sqm::delivery::test
