// Noise is a function of seed, beacon and number alone, so a walk is the same each time.
#include <korvani/location/walk.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace korvani::location {

namespace {

/// Every input gives another, evenly spread output (the finisher of SplitMix64).
std::uint64_t scatter(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

/// Above 0, at most 1.
double share(std::uint64_t value) {
  return (static_cast<double>(scatter(value) >> 11) + 1) / static_cast<double>(1ULL << 53);
}

/// Mean 0, deviation 1 (Box-Muller).
double normal(std::uint64_t value) {
  const double angle = 2 * std::numbers::pi * share(~value);
  return std::sqrt(-2 * std::log(share(value))) * std::cos(angle);
}

AdvertisingData advertisingData(const IBeacon& beacon) {
  AdvertisingData data{0x02, 0x01, 0x06, 0x1A, 0xFF, kIBeaconCompany & 0xFF, kIBeaconCompany >> 8,
                       0x02, 0x15};
  const auto& uuid = beacon.proximityUUID.bytes();
  auto next = std::copy(uuid.begin(), uuid.end(), data.begin() + 9);
  for (const std::uint16_t number : {beacon.major, beacon.minor}) {
    *next++ = static_cast<std::uint8_t>(number >> 8);
    *next++ = static_cast<std::uint8_t>(number);
  }
  *next = static_cast<std::uint8_t>(beacon.measuredPower);
  return data;
}

}  // namespace

Place Walk::placeAt(std::chrono::milliseconds moment) const {
  const auto next = std::find_if(path.begin(), path.end(),
                                 [&](const Waypoint& waypoint) { return waypoint.at > moment; });
  if (next == path.begin()) return next->place;
  const Waypoint& last = *(next - 1);
  if (next == path.end()) return last.place;
  const double gone = static_cast<double>((moment - last.at).count()) /
                      static_cast<double>((next->at - last.at).count());
  return {std::lerp(last.place.x, next->place.x, gone),
          std::lerp(last.place.y, next->place.y, gone)};
}

/// Beacons that are switched on together drift apart: each begins somewhere in its first period.
std::chrono::milliseconds Walk::timeOf(std::size_t beacon, std::int64_t number) const {
  const auto period = beacons[beacon].period;
  const auto begin = scatter(seed + beacon) % static_cast<std::uint64_t>(period.count());
  return std::chrono::milliseconds(begin) + number * period;
}

std::optional<Reception> Walk::received(std::size_t beacon, std::int64_t number) const {
  const auto& [sent, place, period] = beacons[beacon];
  const Place visitor = placeAt(timeOf(beacon, number));
  // A radio is never nearer than a hand's breadth.
  const double metres = std::max(0.05, std::hypot(visitor.x - place.x, visitor.y - place.y));
  const auto draw = scatter(seed + scatter(beacon)) + static_cast<std::uint64_t>(number);
  const double rssi = sent.measuredPower - 20 * std::log10(metres) + noise * normal(draw);
  if (rssi < sensitivity) return std::nullopt;
  // What a radio can report, 0 excepted, which means that it is not known.
  return Reception{advertisingData(sent),
                   static_cast<int>(std::lround(std::clamp(rssi, -126.0, -1.0)))};
}

}  // namespace korvani::location
