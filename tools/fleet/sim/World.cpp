#include "tools/fleet/sim/World.h"

#include <algorithm>
#include <array>
#include <span>

#include "tools/fleet/sim/Random.h"

namespace fleet {

namespace {

using std::chrono::seconds;

enum Sequence : std::uint64_t { ofNetworks = 1, ofOutages = 2 };

// As names are met: some need escaping, some are not ASCII.
constexpr std::string_view kHotspots[] = {
    "Airport Free WiFi", "Café <Bar> & \"Friends\" ☕",
    "Hotel Lobby",       "Train 4G",
    "Bücherei",          "Campus",
    "Stadium",           "Museum's Guests",
    "駅前 Wi-Fi",        "Ferry A&B",
};
constexpr std::string_view kCarriers[] = {"Example Mobile", "Sample Telecom", "Test & Sons Wireless"};
constexpr std::string_view kForeignCarriers[] = {"Exemple Télécom", "Beispielfunk"};
constexpr std::string_view kWired[] = {""};

/// The networks of a place: those named here, or one for so many clients, which are numbered.
struct PlaceRow {
  Place place;
  Medium medium;
  std::span<const std::string_view> names;
  std::uint32_t clientsForEach;
  std::string_view prefix;
  double signal;
  double outageDays;
};

constexpr PlaceRow kPlaces[] = {
    {Place::home, Medium::wiFi, {}, 4, "Home ", -55, 0.02},
    {Place::office, Medium::wiFi, {}, 50, "Office ", -62, 0.01},
    {Place::dock, Medium::ethernet, kWired, 0, "", 0, 0.01},
    {Place::hotspot, Medium::wiFi, kHotspots, 0, "", -70, 0.06},
    {Place::homeCarrier, Medium::mobile, kCarriers, 0, "", -92, 0.03},
    {Place::foreignCarrier, Medium::mobile, kForeignCarriers, 0, "", -98, 0.04},
};

}  // namespace

World::World(std::uint64_t seed, std::uint32_t clients) : seed_(seed) {
  for (const PlaceRow& row : kPlaces) {
    const std::size_t count = row.names.empty() ? clients / row.clientsForEach + 1 : row.names.size();
    for (std::size_t number = 0; number < count; ++number) {
      Random random{seed_, ofNetworks, networks_.size()};
      // One network in eight is a bad one.
      const bool isBad = random.chance(0.125);
      networks_.push_back(
          {.place = row.place,
           .medium = row.medium,
           .name =
               row.names.empty() ? std::string(row.prefix) + std::to_string(number) : std::string(row.names[number]),
           .success = isBad ? random.between(0.70, 0.90) : random.between(0.95, 0.998),
           .seconds = random.between(0.6, 2.5) * (row.medium == Medium::mobile ? 2 : 1) * (isBad ? 2 : 1),
           .signal = row.signal + 4 * random.bell(),
           .outageDays = row.outageDays});
    }
    ends_.push_back(networks_.size());
  }
}

std::size_t World::networkAt(Place place, std::uint64_t choice) const {
  const auto index = static_cast<std::size_t>(place);
  const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
  return begin + choice % (ends_[index] - begin);
}

std::optional<Period> World::outageOn(std::size_t network, std::chrono::sys_days day) const {
  Random random{seed_, ofOutages, network, static_cast<std::uint64_t>(day.time_since_epoch().count())};
  if (!random.chance(networks_[network].outageDays)) return std::nullopt;
  const Time begin = day + seconds(random.whole(0, 86'399));
  return Period{begin, begin + seconds(random.whole(20 * 60, 3 * 3600))};
}

}  // namespace fleet
