// How a survey looks.
#include "report.h"

#include <korvani/platform/value.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace korvani::beacons {

namespace {

using platform::Value;

const char* nameOf(platform::RegionState state) {
  constexpr std::array kNames{"unknown", "inside", "outside"};
  return kNames[static_cast<std::size_t>(state)];
}

const char* nameOf(int proximity) {
  constexpr std::array kNames{"unknown", "immediate", "near", "far"};
  return kNames[static_cast<std::size_t>(proximity)];
}

template <typename... Arguments>
std::string print(const char* format, Arguments... arguments) {
  std::array<char, 128> text{};
  std::snprintf(text.data(), text.size(), format, arguments...);
  return text.data();
}

/// From nothing at -100 dBm to all at -40 dBm, a hand's breadth from most beacons.
std::string bar(int rssi) {
  constexpr int kCells = 12;
  const int full = rssi == 0 ? 0 : std::clamp((rssi + 100) * kCells / 60, 0, kCells);
  std::string cells;
  for (int cell = 0; cell < kCells; ++cell) cells += cell < full ? "█" : "░";
  return cells;
}

double seconds(std::chrono::milliseconds duration) {
  return static_cast<double>(duration.count()) / 1000;
}

std::string row(const Snapshot::Sighting& sighting) {
  const auto& [beacon, age] = sighting;
  const std::string rssi = beacon.rssi == 0 ? "-" : std::to_string(beacon.rssi);
  const std::string metres = beacon.accuracy < 0 ? "-" : print("%.1f m", beacon.accuracy);
  return print("  %5d  %5d  %4s ", beacon.major, beacon.minor, rssi.c_str()) + bar(beacon.rssi) +
         print("  %9s  %-9s  %4.1f s\n", metres.c_str(), nameOf(beacon.proximity), seconds(age));
}

Value valueOf(const Snapshot::Sighting& sighting) {
  const auto& [beacon, age] = sighting;
  const double millimetres = std::round(beacon.accuracy * 1000);
  return Value::Dictionary{{"uuid", beacon.proximityUUID.UUIDString()},
                           {"major", beacon.major},
                           {"minor", beacon.minor},
                           {"rssi", beacon.rssi == 0 ? Value() : Value(beacon.rssi)},
                           {"accuracy", beacon.accuracy < 0 ? Value() : Value(millimetres / 1000)},
                           {"proximity", nameOf(beacon.proximity)},
                           {"age", seconds(age)}};
}

}  // namespace

std::string table(const Snapshot& snapshot) {
  const auto at = std::chrono::duration_cast<std::chrono::seconds>(snapshot.at).count();
  std::string text = print("%02d:%02d", static_cast<int>(at / 60), static_cast<int>(at % 60));
  if (snapshot.failure) {
    text += "  " + *snapshot.failure;
  } else if (snapshot.beacons.empty()) {
    text += "  no beacon in range";
  }
  text += '\n';
  for (const auto& [uuid, state] : snapshot.regions) {
    text += uuid.UUIDString() + "  " + nameOf(state) + '\n';
    bool hasHead = false;
    for (const auto& sighting : snapshot.beacons) {
      if (sighting.beacon.proximityUUID != uuid) continue;
      if (!hasHead) text += "  major  minor  RSSI                accuracy  proximity     age\n";
      hasHead = true;
      text += row(sighting);
    }
  }
  return text;
}

std::string json(const Snapshot& snapshot) {
  Value::Array regions;
  for (const auto& [uuid, state] : snapshot.regions) {
    regions.push_back(Value::Dictionary{{"uuid", uuid.UUIDString()}, {"state", nameOf(state)}});
  }
  Value::Array beacons;
  for (const auto& sighting : snapshot.beacons) beacons.push_back(valueOf(sighting));
  const Value line =
      Value::Dictionary{{"at", seconds(snapshot.at)},
                        {"failure", snapshot.failure ? Value(*snapshot.failure) : Value()},
                        {"regions", std::move(regions)},
                        {"beacons", std::move(beacons)}};
  return line.jsonText() + '\n';
}

}  // namespace korvani::beacons
