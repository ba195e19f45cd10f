#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "sqm/common/TrelkConfiguration.h"
#include "sqm/platform/RuleFilter.h"
#include "sqm/platform/files/PreferencesFile.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

namespace {

/// The options of the standard host, with the services of the application in place.
sqm::platform::StandardHost::Options standardOptions(const sqm_options& options, HostState& state) {
  auto standard = options.standard;
  sqm::Host& services = standard.services;
  if (options.http) services.httpTransactions = &state.http.emplace(*options.http);
  if (options.filter) services.filterManager = &state.filter.emplace(*options.filter);
  if (options.log) services.logFiles = &state.logs.emplace(*options.log);
  if (options.clock) services.clock = &state.clock.emplace(*options.clock);
  return standard;
}

/// The host that was installed last.
struct Installed {
  std::mutex mutex;
  SharedHost host;
};

sqm::platform::RuleFilter& ruleFilterOf(sqm_host* host) { return on(host).state->host.filter(); }

}  // namespace

namespace sqm::c {

HostState::HostState(const sqm_options& options) : host(standardOptions(options, *this)) {
  if (http) http->use(host);
}

SharedHost installedHost() {
  auto& all = immortal<Installed>();
  const std::lock_guard lock(all.mutex);
  if (!all.host) throw Failure(SQM_UNAVAILABLE, "no host is installed");
  return all.host;
}

}  // namespace sqm::c

sqm_host* sqm_host_create(const sqm_options* options) {
  return newHandle<sqm_host>([&] {
    auto state = std::make_shared<HostState>(options == nullptr ? sqm_options{} : on(options));
    return std::make_unique<sqm_host>(sqm_host{std::move(state)});
  });
}

void sqm_host_destroy(sqm_host* host) { destroy(host); }

sqm_status sqm_host_make_folders(sqm_host* host) {
  return attempt([&] {
    if (!on(host).state->host.makeFolders()) throw Failure(SQM_FAILED, "a folder cannot be made; see SQMFiles.log");
  });
}

int32_t sqm_host_folder_lock(const sqm_host* host) {
  return valueOr(std::int32_t{-1}, [&] {
    const auto state = on(host).state->host.folderLock();
    return state ? static_cast<std::int32_t>(*state) : -1;
  });
}

sqm_status sqm_host_install(sqm_host* host) {
  return attempt([&] {
    const SharedHost& state = on(host).state;
    auto& all = immortal<Installed>();
    const std::lock_guard lock(all.mutex);
    all.host = state;
    sqm::Host::install(state->host);
  });
}

char* sqm_host_application_folder(const sqm_host* host) {
  return textFrom([&] { return on(host).state->host.configuration->applicationQuenfaFolderPath(); });
}

sqm_status sqm_host_set_client_time_stamp(sqm_host* host, const char* time_stamp) {
  return attempt([&] {
    const bool isKept = on(host).state->host.preferences().setClientTimeStamp(textOf(time_stamp));
    if (!isKept) throw Failure(SQM_FAILED, "the time stamp cannot be kept; see SQMFiles.log");
  });
}

char* sqm_host_client_time_stamp(const sqm_host* host) {
  return textFrom([&] { return on(host).state->host.preferences().clientTimeStamp(); });
}

sqm_status sqm_host_set_filter_rules(sqm_host* host, const sqm_filter_rule* rules, size_t count) {
  return attempt([&] {
    sqm::platform::RuleFilter& filter = ruleFilterOf(host);
    require(rules != nullptr || count == 0, "the rules are NULL");
    std::vector<sqm::platform::DisableRule> disable;
    std::vector<sqm::platform::ReplaceRule> replace;
    for (const sqm_filter_rule* rule = rules; rule != rules + count; ++rule) {
      if (rule->key == nullptr) {
        disable.push_back({ownedTextOf(rule->name), ownedTextOf(rule->sub_type)});
      } else {
        require(rule->value != nullptr, "a replacing rule has no value");
        replace.push_back({ownedTextOf(rule->name), ownedTextOf(rule->sub_type), {{rule->key, rule->value}}});
      }
    }
    filter.setRules(std::move(disable), std::move(replace));
  });
}
