// What is in range now: each beacon with its distance, each region with its state.
#pragma once

#include <korvani/location/advertisement_source.h>
#include <korvani/location/beacon_table.h>
#include <korvani/location/location_settings.h>
#include <korvani/location/moment.h>
#include <korvani/location/region_monitor.h>
#include <korvani/platform/location_manager.h>
#include <korvani/platform/uuid.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace korvani::beacons {

/// One look at the surroundings.
struct Snapshot {
  struct Region {
    platform::Uuid proximityUUID;
    platform::RegionState state;
  };
  struct Sighting {
    platform::Beacon beacon;
    /// Since its last advertisement.
    std::chrono::milliseconds age;
  };
  /// Since the beginning of the survey.
  std::chrono::milliseconds at{0};
  /// Why nothing can be heard.
  std::optional<std::string> failure;
  /// In the order of their UUIDs.
  std::vector<Region> regions;
  /// In the order in which they were first heard.
  std::vector<Sighting> beacons;
};

/// Main thread. A region is listed with its first beacon, and from the beginning where it is named.
class Survey final : public location::AdvertisementListener {
 public:
  /// Regions of which only advertisements tell; the beacons of more than these are passed over.
  static constexpr std::size_t kMostRegions = 100;

  /// `only`: the regions of interest; empty for all.
  Survey(location::MomentSource now, const std::set<platform::Uuid>& only);

  Snapshot look();

  void beaconHeard(const location::IBeacon& beacon, int rssi) override;
  void availabilityChanged(const std::optional<std::string>& failure) override;

 private:
  location::RegionMonitor* regionOf(const platform::Uuid& proximityUUID);

  const location::LocationSettings settings_;
  const location::MomentSource now_;
  const location::Moment begin_;
  const bool takesAll_;
  location::BeaconTable table_;
  std::map<platform::Uuid, location::RegionMonitor> regions_;
  std::optional<std::string> failure_;
};

}  // namespace korvani::beacons
