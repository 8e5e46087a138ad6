// The one monitored region: all beacons of the customer's proximity UUID.
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/stored_keys.h>

namespace korvani {

using platform::BeaconRegion;
using platform::LocationManager;
using platform::Region;

namespace {

constexpr const char* kRegionIdentifier = "korvani_beacon";

}  // namespace

void Korvani::initLocationManager() {
  const auto manager = phone().locationService().newLocationManager();
  locationManager_.store(manager);
  if (manager) manager->setDelegate(weak_from_this());
}

void Korvani::initBeacon() {
  const std::optional<platform::Uuid> proximityUUID = configuredProximityUUID();
  if (!proximityUUID) return;
  const auto region = std::make_shared<BeaconRegion>(*proximityUUID, kRegionIdentifier);
  region->notifyOnEntry = true;
  region->notifyOnExit = true;
  region->notifyEntryStateOnDisplay = true;
  beaconRegion_.store(region);
  // What an earlier call started is not stopped: the identifier is the same, so the region is
  // replaced.
  const auto manager = locationManager_.load();
  if (!manager) return;
  manager->startMonitoringForRegion(region);
  manager->startRangingBeaconsInRegion(region);
  manager->startUpdatingLocation();
}

std::optional<platform::Uuid> Korvani::configuredProximityUUID() const {
  const std::string builtIn = korvaniUUID_.load().value_or("");
  const platform::Value stored = standardUserDefaults_.load()->objectForKey(kKorvaniUUIDKey);
  if (stored.isNull()) return platform::Uuid::fromString(builtIn);
  if (const auto uuid = platform::Uuid::fromString(stored.plainText())) return uuid;
  if (beaconRegion_.load()) {
    if (debug()) logLine("ERROR - stored UUID is not valid, region is kept -- ", stored);
    return std::nullopt;
  }
  if (debug()) logLine("ERROR - stored UUID is not valid, default is used -- ", stored);
  return platform::Uuid::fromString(builtIn);
}

void Korvani::locationManagerDidStartMonitoringForRegion(const std::shared_ptr<LocationManager>&,
                                                         const std::shared_ptr<const Region>&) {
  guarded([&] {
    const auto manager = locationManager_.load();
    if (manager) manager->requestStateForRegion(beaconRegion_.load());
  });
}

void Korvani::locationManagerDidEnterRegion(const std::shared_ptr<LocationManager>& manager,
                                            const std::shared_ptr<const Region>& region) {
  guarded([&] {
    if (debug()) logLine("locationManager - didEnterRegion");
    if (manager) manager->startRangingBeaconsInRegion(region);
    if (const auto own = locationManager_.load()) own->startUpdatingLocation();
  });
}

void Korvani::locationManagerDidExitRegion(const std::shared_ptr<LocationManager>& manager,
                                           const std::shared_ptr<const Region>& region) {
  guarded([&] {
    if (debug()) logLine("locationManager - didExitRegion");
    if (manager) manager->stopRangingBeaconsInRegion(region);
    if (const auto own = locationManager_.load()) own->stopUpdatingLocation();
  });
}

void Korvani::locationManagerDidDetermineState(const std::shared_ptr<LocationManager>& manager,
                                               platform::RegionState state,
                                               const std::shared_ptr<const Region>& region) {
  guarded([&] {
    if (inBackground_.load()) guarded([&] { extendBackgroundRunningTime(); });
    if (!std::dynamic_pointer_cast<const BeaconRegion>(region)) return;
    if (state == platform::RegionState::kInside) {
      locationManagerDidEnterRegion(manager, region);
    } else if (state == platform::RegionState::kOutside) {
      locationManagerDidExitRegion(manager, region);
    }
  });
}

void Korvani::locationManagerMonitoringDidFailForRegion(const std::shared_ptr<LocationManager>&,
                                                        const std::shared_ptr<const Region>&,
                                                        const std::string& localizedDescription) {
  guarded([&] {
    if (debug()) logLine("Failed monitoring region: ", localizedDescription);
  });
}

void Korvani::locationManagerDidFailWithError(const std::shared_ptr<LocationManager>&,
                                              const std::string& localizedDescription) {
  guarded([&] {
    if (debug()) logLine("Location manager failed: ", localizedDescription);
  });
}

}  // namespace korvani
