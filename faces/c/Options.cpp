#include "faces/c/internal/Options.h"

#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "faces/c/internal/Handles.h"
#include "faces/c/internal/Tables.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using sqm::platform::StandardHost;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

using Options = StandardHost::Options;

constexpr std::int64_t kSwitch = 1;
constexpr std::int64_t kMostSeconds = std::int64_t{100} * 366 * 24 * 3600;  // a century: no time overflows
constexpr std::int64_t kMostMilliseconds = kMostSeconds * 1000;
constexpr std::int64_t kMostBytes = std::numeric_limits<std::ptrdiff_t>::max();
constexpr std::int64_t kMostItems = std::numeric_limits<std::int32_t>::max();

sqm::delivery::ScheduleOptions& scheduleOf(Options& options) {
  return options.schedule ? *options.schedule : options.schedule.emplace();
}

void setSchedule(Options& options, std::int64_t isOn) {
  if (isOn != 0) {
    scheduleOf(options);
  } else {
    options.schedule.reset();
  }
}

/// An option that is a number from 0 to `most`.
struct NumberOption {
  std::int32_t number;
  std::int64_t most;
  void (*set)(Options& options, std::int64_t value);
};

// The numbers of the C enumerations are those of the C++ ones.
using sqm::delivery::Accept;
using sqm::delivery::Consent;
using sqm::delivery::Recording;
static_assert(static_cast<int>(Recording::survivesPowerLoss) == SQM_RECORDING_SURVIVES_POWER_LOSS);
static_assert(static_cast<int>(Accept::only2xx) == SQM_ACCEPT_ONLY_2XX);
static_assert(static_cast<int>(StandardHost::Counting::kept) == SQM_COUNTING_KEPT);
static_assert(static_cast<int>(Consent::revoked) == SQM_CONSENT_REVOKED);
static_assert(sqm::kRecordTypes.size() == SQM_RECORD_TYPES && int{SQM_LIST_QUEUE} == SQM_RECORD_TYPES);

template <typename Enumeration>
Enumeration as(std::int64_t value) {
  return static_cast<Enumeration>(value);
}

// clang-format off: one option a line
constexpr NumberOption kNumberOptions[] = {
    {SQM_OPTION_ATOMIC_SAVES, kSwitch, [](Options& o, std::int64_t v) { o.atomicSaves = v != 0; }},
    {SQM_OPTION_RECORDING, SQM_RECORDING_SURVIVES_POWER_LOSS,
     [](Options& o, std::int64_t v) { o.recording = as<Recording>(v); }},
    {SQM_OPTION_SYNC_WITHIN_MS, kMostMilliseconds, [](Options& o, std::int64_t v) { o.syncWithin = milliseconds(v); }},
    {SQM_OPTION_LOG_TEXT_BYTES, kMostBytes, [](Options& o, std::int64_t v) { o.logTextLimit = as<std::size_t>(v); }},
    {SQM_OPTION_HTTP_CONNECT_LIMIT_MS, kMostMilliseconds,
     [](Options& o, std::int64_t v) { o.http.connectLimit = milliseconds(v); }},
    {SQM_OPTION_HTTP_STALL_LIMIT_S, kMostSeconds, [](Options& o, std::int64_t v) { o.http.stallLimit = seconds(v); }},
    {SQM_OPTION_HTTP_IDLE_LIMIT_S, kMostSeconds, [](Options& o, std::int64_t v) { o.http.idleLimit = seconds(v); }},
    {SQM_OPTION_HTTP_TOTAL_LIMIT_MS, kMostMilliseconds,
     [](Options& o, std::int64_t v) { o.http.totalLimit = milliseconds(v); }},
    {SQM_OPTION_HTTP_BODY_BYTES, kMostBytes, [](Options& o, std::int64_t v) { o.http.bodyLimit = as<std::size_t>(v); }},
    {SQM_OPTION_HTTP_CONNECTIONS, kMostItems,
     [](Options& o, std::int64_t v) { o.http.connectionBound = as<std::size_t>(v); }},
    {SQM_OPTION_ACCEPT, SQM_ACCEPT_ONLY_2XX, [](Options& o, std::int64_t v) { o.accept = as<Accept>(v); }},
    {SQM_OPTION_REFUSED_FILES, kMostItems,
     [](Options& o, std::int64_t v) { o.refusedLimits.files = as<std::size_t>(v); }},
    {SQM_OPTION_REFUSED_BYTES, kMostBytes,
     [](Options& o, std::int64_t v) { o.refusedLimits.bytes = as<std::uintmax_t>(v); }},
    {SQM_OPTION_REFUSED_AGE_S, kMostSeconds, [](Options& o, std::int64_t v) { o.refusedLimits.age = seconds(v); }},
    {SQM_OPTION_SCHEDULE, kSwitch, setSchedule},
    {SQM_OPTION_SCHEDULE_FIRST_UPLOAD_S, kMostSeconds,
     [](Options& o, std::int64_t v) { scheduleOf(o).firstUpload = seconds(v); }},
    {SQM_OPTION_SCHEDULE_PERIOD_S, kMostSeconds, [](Options& o, std::int64_t v) { scheduleOf(o).period = seconds(v); }},
    {SQM_OPTION_SCHEDULE_SMALLEST_PAUSE_S, kMostSeconds,
     [](Options& o, std::int64_t v) { scheduleOf(o).smallestPause = seconds(v); }},
    {SQM_OPTION_SCHEDULE_FIRST_BACK_OFF_S, kMostSeconds,
     [](Options& o, std::int64_t v) { scheduleOf(o).firstBackOff = seconds(v); }},
    {SQM_OPTION_SCHEDULE_LONGEST_BACK_OFF_S, kMostSeconds,
     [](Options& o, std::int64_t v) { scheduleOf(o).longestBackOff = seconds(v); }},
    {SQM_OPTION_SCHEDULE_LONGEST_RETRY_AFTER_S, kMostSeconds,
     [](Options& o, std::int64_t v) { scheduleOf(o).longestRetryAfter = seconds(v); }},
    {SQM_OPTION_COUNTING, SQM_COUNTING_KEPT,
     [](Options& o, std::int64_t v) { o.counting = as<StandardHost::Counting>(v); }},
    {SQM_OPTION_CONSENT, SQM_CONSENT_REVOKED, [](Options& o, std::int64_t v) { o.consent = as<Consent>(v); }},
    {SQM_OPTION_LOCK_WITHIN_MS, kMostMilliseconds, [](Options& o, std::int64_t v) { o.lockWithin = milliseconds(v); }},
    {SQM_OPTION_HTTP_GZIP_FROM_BYTES, kMostBytes,
     [](Options& o, std::int64_t v) { o.http.gzipFrom = as<std::size_t>(v); }},
};
// clang-format on

struct TextOption {
  std::int32_t number;
  void (*set)(Options& options, const char* value);
};

constexpr TextOption kTextOptions[] = {
    {SQM_TEXT_HOME_DIRECTORY, [](Options& o, const char* v) { o.homeDirectory = v; }},
    {SQM_TEXT_RESOURCE_DIRECTORY, [](Options& o, const char* v) { o.resourceDirectory = v; }},
    {SQM_TEXT_PROOF_HEADER, [](Options& o, const char* v) { o.proof.header = v; }},
    {SQM_TEXT_PROOF_VALUE, [](Options& o, const char* v) { o.proof.value = v; }},
    {SQM_TEXT_PROOF_TEXT, [](Options& o, const char* v) { o.proof.text = v; }},
    {SQM_TEXT_HTTP_KEPT_HEADER, [](Options& o, const char* v) { o.http.keptHeaders.emplace_back(v); }},
    {SQM_TEXT_SESSION_FOLDER, [](Options& o, const char* v) { o.sessionFolders.emplace_back(v); }},
    {SQM_TEXT_TLS_CA_FILE, [](Options& o, const char* v) { o.http.tls.caFile = v; }},
    {SQM_TEXT_TLS_CA_FOLDER, [](Options& o, const char* v) { o.http.tls.caFolder = v; }},
    {SQM_TEXT_TLS_PINNED_KEYS, [](Options& o, const char* v) { o.http.tls.pinnedKeys = v; }},
    {SQM_TEXT_TLS_CERTIFICATE_FILE, [](Options& o, const char* v) { o.http.tls.certificateFile = v; }},
    {SQM_TEXT_TLS_KEY_FILE, [](Options& o, const char* v) { o.http.tls.keyFile = v; }},
    {SQM_TEXT_TLS_KEY_PASSWORD, [](Options& o, const char* v) { o.http.tls.keyPassword = v; }},
    {SQM_TEXT_PROXY_ADDRESS, [](Options& o, const char* v) { o.http.proxy.address = v; }},
    {SQM_TEXT_PROXY_USER, [](Options& o, const char* v) { o.http.proxy.user = v; }},
    {SQM_TEXT_PROXY_PASSWORD, [](Options& o, const char* v) { o.http.proxy.password = v; }},
    {SQM_TEXT_HTTP_USER_AGENT, [](Options& o, const char* v) { o.http.userAgent = v; }},
};

static_assert(isInOrder(kNumberOptions) && isInOrder(kTextOptions));

constexpr const char* kNoOption = "there is no such option";

/// Nothing for a number below 0.
template <typename Value>
std::optional<Value> limitOf(std::int64_t number) {
  return number < 0 ? std::nullopt : std::optional<Value>(static_cast<Value>(number));
}

sqm_options* newOptions(Options (*options)()) {
  return newHandle<sqm_options>([&] { return std::make_unique<sqm_options>(sqm_options{.standard = options()}); });
}

}  // namespace

sqm_options* sqm_options_create(void) {
  return newOptions([] { return Options(); });
}

sqm_options* sqm_options_create_recommended(void) { return newOptions(Options::recommended); }

void sqm_options_destroy(sqm_options* options) { destroy(options); }

sqm_status sqm_options_set_number(sqm_options* options, int32_t option, int64_t value) {
  return attempt([&] {
    sqm_options& target = on(options);
    const NumberOption& row = rowOf(kNumberOptions, option, kNoOption);
    require(value >= 0 && value <= row.most, "the option cannot have this value");
    row.set(target.standard, value);
  });
}

sqm_status sqm_options_set_text(sqm_options* options, int32_t option, const char* value) {
  return attempt([&] {
    sqm_options& target = on(options);
    const TextOption& row = rowOf(kTextOptions, option, kNoOption);
    require(value != nullptr, "the value is NULL");
    row.set(target.standard, value);
  });
}

sqm_status sqm_options_set_limit(sqm_options* options, int32_t list, int64_t records, int64_t bytes,
                                 int64_t age_seconds) {
  return attempt([&] {
    std::optional<sqm::delivery::Limits>& limits = on(options).standard.limits;
    require(list >= SQM_LIST_EACH && list <= SQM_LIST_QUEUE, "there is no such list");
    require(age_seconds <= kMostSeconds, "the age is above a century");
    const sqm::delivery::Limit limit = {limitOf<std::uint64_t>(records), limitOf<std::uint64_t>(bytes),
                                        limitOf<seconds>(age_seconds)};
    if (!limits) limits.emplace();
    if (list == SQM_LIST_EACH) {
      limits = sqm::delivery::Limits::ofEach(limit);
    } else {
      (list == SQM_LIST_QUEUE ? limits->queue : limits->lists[static_cast<std::size_t>(list)]) = limit;
    }
  });
}
