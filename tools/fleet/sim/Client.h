#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/Host.h"

#include "tools/fleet/sim/Model.h"
#include "tools/fleet/sim/Recorder.h"
#include "tools/fleet/sim/Services.h"
#include "tools/fleet/sim/Transactions.h"
#include "tools/fleet/sim/Truth.h"

namespace fleet {

/// What the clients of one thread share.
struct Surroundings {
  const World& world;
  const Period period;
  const std::string server;  ///< the address of the collector, without a slash at the end
  const sqm::Host& host;
  const std::shared_ptr<const sqm::FieldNameTable> names;
  Truth& truth;
  const Transactions::AnswerObserver onAnswer;
};

/// One client: plays the events of the model to a manager of its own. While the client sleeps there is no manager, only
/// the lists that the last one has saved.
///
/// Ownership: `surroundings` is borrowed.
/// Threading: one thread.
class Client {
 public:
  /// `onUploadEnd` is called, at the end of each upload, with whether all its documents were answered. It must not call
  /// the client.
  Client(const Surroundings& surroundings, std::uint32_t number, Transactions::IdleObserver onUploadEnd);
  ~Client();

  /// The time of the next event; nothing when there is none.
  std::optional<Time> next() const { return next_; }

  /// Plays the next event. Not while an upload is under way: a manager deletes with a delivered list what was added to
  /// it meanwhile.
  void play();

  bool isUploading() const;

  /// Starts the last upload again.
  void uploadAgain();

  /// The records that were not delivered.
  std::size_t waiting() const;

  /// Ends the client's process, which saves its lists. What was still to happen does not.
  void end();

  /// Makes a device report and an upload the next events of a sleeping client. Without the report, the answers to
  /// prompts could not be sent: a manager posts them only behind a list of devices or VPN sessions.
  void addUpload(Time at);

 private:
  struct Awake;

  void wake(Day day);
  std::chrono::local_days lastDay() const;
  void findNextDay();

  const Surroundings& surroundings_;
  const std::uint32_t number_;
  const Transactions::IdleObserver onUploadEnd_;
  ClientFiles files_;
  std::chrono::local_days day_;  // of the next events of a sleeping client
  std::optional<Time> next_;
  std::unique_ptr<Awake> awake_;
};

}  // namespace fleet
