#include "tools/fleet/sim/Worker.h"

#include <algorithm>

#include "sqm/platform/RuleFilter.h"
#include "sqm/platform/system/RunLoop.h"

#include "tools/fleet/sim/Random.h"

namespace fleet {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// How long the loop waits at most before it looks whether it is to stop.
constexpr milliseconds kLongestWait(100);

constexpr sqm::delivery::ScheduleOptions kRetries = {
    .smallestPause = seconds(1), .firstBackOff = seconds(1), .longestBackOff = seconds(8)};

}  // namespace

Worker::Worker(const Options& options, std::uint32_t first, const World& world,
               std::shared_ptr<const sqm::FieldNameTable> names, Truth& truth, Posts& posts,
               const std::atomic<Stop>& stop)
    : options_(options),
      posts_(posts),
      stop_(stop),
      host_(hostOptions()),
      surroundings_{.world = world,
                    .period = options.period,
                    .server = options.server,
                    .host = host_,
                    .names = std::move(names),
                    .truth = truth,
                    .onAnswer = [&posts](const Answer& answer) { posts.keep(answer); }} {
  // Without a value of the name "6", an answer to a prompt is no valid record.
  host_.filter().setRules({}, {{.name = "useracceptance", .values = {{"6", "complete"}}}});
  for (std::uint32_t number = first; number < options.clients; number += static_cast<std::uint32_t>(options.threads)) {
    const auto index = static_cast<std::uint32_t>(clients_.size());
    clients_.emplace_back(surroundings_, number, [this, index](bool isDelivered) { uploadEnded(index, isDelivered); });
    push(index);
  }
}

/// How many clients of this thread may upload at a time.
std::size_t Worker::slots() const { return std::max<std::size_t>(options_.uploads / options_.threads, 1); }

sqm::platform::StandardHost::Options Worker::hostOptions() {
  sqm::platform::StandardHost::Options host;
  host.homeDirectory = "/nonexistent";  // nothing is read or written there
  host.http.connectionBound = slots();
  host.http.tls.caFile = options_.caFile;
  if (!options_.token.empty()) {
    host.http.headers = [header = sqm::platform::HttpHeader{"Authorization", "Bearer " + options_.token}](
                            std::string_view /*address*/) { return std::vector{header}; };
  }
  host.onHttpExchange = [&posts = posts_](const sqm::platform::HttpExchange& exchange) { posts.count(exchange); };
  host.services.logFiles = &services_.logs;
  host.services.console = &services_.console;
  host.services.userPrefs = &services_.preferences;
  host.services.locale = &services_.locale;
  host.services.utilities = &services_.system;
  host.services.mainBundle = &services_.bundle;
  return host;
}

void Worker::run() {
  playAll(Stop::soon);
  if (stop_ == Stop::no) now_ = options_.period.end;
  for (Client& client : clients_) client.end();
  for (addUploads(); !due_.empty() && stop_ != Stop::now; addUploads()) playAll(Stop::now);
}

/// Plays until no event is left, or until it is to stop at least so soon, and no upload is under way.
void Worker::playAll(Stop endsAt) {
  while (stop_ != Stop::now && (!due_.empty() || !uploading_.empty())) {
    if (stop_ >= endsAt) due_ = {};
    host_.runLoop().poll();
    if (const milliseconds wait = timeToNext(); wait.count() > 0) {
      const std::size_t before = uploading_.size();
      host_.runLoop().runUntil([&] { return uploading_.size() < before; }, std::min(wait, kLongestWait));
    } else {
      playNext();
    }
  }
}

/// Until the next event may be played.
milliseconds Worker::timeToNext() const {
  if (due_.empty() || uploading_.size() >= slots()) return kLongestWait;
  if (options_.speed == 0 || due_.top().first <= now_) return milliseconds(0);
  const std::chrono::duration<double> into = due_.top().first - options_.period.begin;
  const auto at = start_ + std::chrono::duration_cast<Steady::duration>(into / options_.speed);
  return std::max(std::chrono::ceil<milliseconds>(at - Steady::now()), milliseconds(0));
}

void Worker::playNext() {
  const auto [time, index] = due_.top();
  due_.pop();
  now_ = time;
  Client& client = clients_[index];
  client.play();
  if (client.isUploading()) {
    uploading_.try_emplace(index);
    posts_.addUploading(1);
  } else {
    push(index);
  }
}

void Worker::push(std::uint32_t client) {
  if (const auto next = clients_[client].next()) due_.emplace(*next, client);
}

void Worker::uploadEnded(std::uint32_t client, bool isDelivered) {
  if (isDelivered) {
    posts_.addUploading(-static_cast<int>(uploading_.erase(client)));
    return push(client);
  }
  auto& state = uploading_[client];
  const double random = Random{options_.seed, client, state.failures}.fraction();
  const auto decision = decide(state, {.kind = sqm::delivery::ScheduleEvent::Kind::ended, .hasFailed = true},
                               host_.clock->date(), random, kRetries);
  state = decision.state;
  host_.runLoop().postAfter(std::chrono::ceil<milliseconds>(*decision.wait),
                            [this, client] { clients_[client].uploadAgain(); });
}

/// Makes the sleeping clients upload what they still have. In a second of their own: of two device reports in one
/// second the records would be the same.
void Worker::addUploads() {
  now_ += seconds(1);
  for (std::uint32_t index = 0; index < clients_.size(); ++index) {
    if (clients_[index].waiting() == 0) continue;
    clients_[index].addUpload(now_);
    push(index);
  }
}

std::size_t Worker::waiting() const {
  std::size_t count = 0;
  for (const Client& client : clients_) count += client.waiting();
  return count;
}

}  // namespace fleet
