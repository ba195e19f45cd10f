#include "tools/sqmctl/DeliveryOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/store/RecordTypes.h"

#include "tools/sqmctl/Stored.h"
#include "tools/support/Number.h"

namespace sqmctl {

namespace {

using sqm::delivery::Accept;
using sqm::delivery::Limit;
using sqm::delivery::Limits;
using sqm::delivery::Recording;

/// The limits that TYPE in "TYPE:records=N" stands for; none for an unknown one.
std::vector<Limit*> limitsNamed(std::string_view type, Limits& limits) {
  if (type == "queue") return {&limits.queue};
  std::vector<Limit*> named;
  for (const auto& row : sqm::kRecordTypeTable) {
    if (type == "all" || type == row.name || type == row.key) named.push_back(&limits.lists[sqm::indexOf(row.type)]);
  }
  return named;
}

/// Adds the limit that `text` states. Returns false for any other text.
bool addLimit(std::string_view text, Limits& limits) {
  const std::size_t colon = text.find(':');
  const std::size_t equals = text.find('=');
  if (colon == std::string_view::npos || equals == std::string_view::npos || equals < colon) return false;
  const auto number = tools::numberIn<std::uint32_t>(text.substr(equals + 1));
  const std::string_view what = text.substr(colon + 1, equals - colon - 1);
  const std::vector<Limit*> named = limitsNamed(text.substr(0, colon), limits);
  if (!number || named.empty()) return false;
  for (Limit* limit : named) {
    if (what == "records") {
      limit->records = *number;
    } else if (what == "bytes") {
      limit->bytes = *number;
    } else if (what == "age") {
      limit->age = std::chrono::seconds(*number);
    } else {
      return false;
    }
  }
  return true;
}

template <typename Value>
using Choices = std::vector<std::pair<std::string, Value>>;

/// Adds an option whose value is one of a few names.
template <typename Value>
void addChoice(CLI::App& program, const std::string& option, Value& value, const Choices<Value>& choices,
               const std::string& description) {
  std::vector<std::string> names;
  for (const auto& choice : choices) names.push_back(choice.first);
  program
      .add_option_function<std::string>(
          option,
          [&value, choices](const std::string& name) {
            value = std::ranges::find(choices, name, &Choices<Value>::value_type::first)->second;
          },
          description)
      ->option_text(CLI::detail::join(names, "|"))
      ->check(CLI::IsMember(names));
}

std::string namesOfTypes() {
  std::string names = "all, queue";
  for (const auto& row : sqm::kRecordTypeTable) names.append(", ").append(row.name);
  return names;
}

}  // namespace

void addDeliveryOptions(CLI::App& program, Invocation& invocation) {
  addChoice<Accept>(program, "--accept", invocation.accept, {{"any", Accept::anyStatus}, {"2xx", Accept::only2xx}},
                    "Which status counts as delivered: any, or 2xx (default: any)");
  addChoice<Recording>(program, "--recording", invocation.recording,
                       {{"required", Recording::asRequired},
                        {"crash", Recording::survivesCrash},
                        {"power", Recording::survivesPowerLoss}},
                       "What a record survives before it is saved: nothing, the end of the process, a loss of power "
                       "(default: required)");
  program
      .add_option_function<std::vector<std::string>>(
          "--limit",
          [&invocation](const std::vector<std::string>& texts) {
            invocation.limits.emplace();
            for (const std::string& text : texts) {
              if (addLimit(text, *invocation.limits)) continue;
              throw CLI::ValidationError("--limit", "'" + text + "' is not TYPE:records=N, TYPE:bytes=N or " +
                                                        "TYPE:age=SECONDS with a type of: " + namesOfTypes());
            }
          },
          "What is kept of a type, of 'all' types, or of the 'queue'; the oldest goes. May be given several times")
      ->option_text("TYPE:records|bytes|age=N")
      ->allow_extra_args(false)
      ->take_all();
}

void setDelivery(sqm::platform::StandardHost::Options& options, const Invocation& invocation) {
  using Counting = sqm::platform::StandardHost::Counting;
  options.accept = invocation.accept;
  options.recording = invocation.recording;
  options.limits = invocation.limits;
  const bool isAsRequired = options.accept == Accept::anyStatus && options.recording == Recording::asRequired;
  options.counting = isAsRequired ? Counting::inMemory : Counting::kept;
  options.consent = sqm::delivery::Consent::granted;
}

}  // namespace sqmctl
