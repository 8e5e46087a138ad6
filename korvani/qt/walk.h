// A walk past beacons, read from a file: what is in range from which moment on.
#pragma once

#include <korvani/platform/json.h>
#include <korvani/platform/uuid.h>

#include <QString>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace korvani::qt {

struct WalkBeacon {
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  int proximity = 0;
  /// None: the UUID of whichever region is asked about.
  std::optional<platform::Uuid> uuid;
};

struct WalkStep {
  /// Since the beginning of the walk.
  std::chrono::milliseconds at{0};
  std::vector<WalkBeacon> beacons;
};

struct Walk {
  /// In order of time.
  std::vector<WalkStep> steps;
  /// "FILE:LINE: what is wrong"; then there are no steps.
  std::optional<std::string> flaw;
};

/// JSON Lines, blank lines and those that begin with # passed over:
///   {"at": 2.5, "beacons": [{"major": 1, "minor": 171, "proximity": 2, "uuid": "5A1C…"}]}
/// `at` is seconds and never goes back; `uuid` may be left out.
Walk readWalk(const QString& path, const platform::JSONSerialization& json);

}  // namespace korvani::qt
