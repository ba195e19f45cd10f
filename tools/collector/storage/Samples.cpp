#include "tools/collector/storage/Samples.h"

#include <array>
#include <new>
#include <openssl/evp.h>

#include "tools/collector/storage/ReadRows.h"

namespace collector {

namespace {

constexpr std::int64_t kNumbers = kSamples[0];  // of a fact: 0 to 4095

/// The condition for a sample's facts, by which a database finds the sample's index.
std::string inSample(std::int64_t oneIn) { return "sample < " + std::to_string(kNumbers / oneIn); }

std::string andInSample(std::int64_t oneIn) { return oneIn == 1 ? "" : " AND " + inSample(oneIn); }

constexpr const char* kIsSelected =
    "($4 = '' OR version = $4) AND (medium = 4 OR (($5 = '' OR network = $5) AND ($6 < 0 OR medium = $6)))";

}  // namespace

std::int64_t sampleOf(std::string_view client, std::string_view session, std::int64_t id) {
  const std::string number = std::to_string(id);
  const std::string_view text = !client.empty() ? client : !session.empty() ? session : std::string_view(number);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) throw std::bad_alloc();
  return digest[0] << 4 | digest[1] >> 4;
}

std::string createSampleIndexes() {
  std::string statements;
  for (const std::int64_t oneIn : kSamples) {
    if (oneIn == 1) continue;
    statements += "CREATE INDEX IF NOT EXISTS factsOfOneIn" + std::to_string(oneIn) +
                  " ON facts (time, id, age, medium, isStart, outcome, client, session, network, reason, technology, "
                  "version, connecting, signal, isRoaming, sample) WHERE " +
                  inSample(oneIn) + ";\n";
  }
  return statements;
}

std::string factsQuery(const FactFilter& filter, std::int64_t limit) {
  return kFactColumns + (" FROM facts WHERE time >= $1 AND (time, id) < ($2, $3)" + andInSample(filter.oneIn)) +
         " AND " + kIsSelected + " ORDER BY time DESC, id DESC LIMIT " + std::to_string(limit);
}

std::string countQuery(std::int64_t oneIn, std::int64_t most) {
  return "SELECT count(*) FROM (SELECT 1 FROM facts WHERE time >= $1 AND time < $2" + andInSample(oneIn) + " LIMIT " +
         std::to_string(most) + ") AS found";
}

FactParameters::FactParameters(const FactFilter& filter, const FactPosition& before)
    : from(filter.from.time_since_epoch().count()),
      beforeTime(before.time.time_since_epoch().count()),
      beforeId(before.id),
      version(filter.version.value_or("")),
      network(filter.network.value_or("")),
      medium(filter.medium ? static_cast<std::int64_t>(*filter.medium) : -1) {}

ChosenSample chooseSample(std::int64_t most, const std::function<std::int64_t(std::int64_t oneIn)>& count) {
  ChosenSample chosen{};
  for (const std::int64_t oneIn : kSamples) {
    if (chosen.facts * chosen.oneIn / oneIn > 2 * most) break;
    const std::int64_t facts = count(oneIn);
    const bool isWithin = facts <= most;
    if (isWithin || oneIn == kSamples[0]) chosen = {oneIn, facts, isWithin};
    if (!isWithin) break;
  }
  return chosen;
}

}  // namespace collector
