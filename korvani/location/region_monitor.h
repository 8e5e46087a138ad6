// From the sightings of a region's beacons to unknown, inside and outside.
#pragma once

#include <korvani/location/moment.h>
#include <korvani/platform/location_manager.h>

#include <optional>

namespace korvani::location {

/// What an event did to a region. From unknown there is no entry and no exit: the state alone is
/// told, so a device that starts inside is not let in a second time.
enum class RegionChange { kNone, kDetermined, kEntered, kExited };

class RegionMonitor {
 public:
  explicit RegionMonitor(std::chrono::milliseconds exitDelay) : exitDelay_(exitDelay) {}

  platform::RegionState state() const { return state_; }

  /// The radio listens from now on. Until it does, no silence means anything.
  void listen(Moment now);
  /// The radio has gone: the state is not known any more.
  RegionChange stopListening();
  /// One of the region's beacons was heard.
  RegionChange heard(Moment now);
  /// So long has it been by now: left once the delay has passed since the last sighting, or known
  /// to be outside once it has passed since the listening began.
  RegionChange timePassed(Moment now);
  /// Nobody listened for so long until now: that silence does not count.
  void skip(std::chrono::milliseconds missed, Moment now);
  /// When time alone will next change something, unless a beacon is heard.
  std::optional<Moment> due() const;

 private:
  std::chrono::milliseconds exitDelay_;
  platform::RegionState state_ = platform::RegionState::kUnknown;
  /// Since the last sighting, or since the listening began; nothing while the radio is gone.
  std::optional<Moment> silentSince_;
};

}  // namespace korvani::location
