// The port for the platform's location service: region monitoring, ranging, last known position.
#pragma once

#include <korvani/platform/export.h>
#include <korvani/platform/uuid.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvani::platform {

/// Beacon::proximity: 0 unknown, 1 immediate, 2 near, 3 far; a platform may bring other values.
enum Proximity : int {
  kProximityUnknown = 0,
  kProximityImmediate = 1,
  kProximityNear = 2,
  kProximityFar = 3,
};

struct Beacon {
  Uuid proximityUUID;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  int proximity = kProximityUnknown;
  /// Metres; negative when not known.
  double accuracy = -1;
  /// dBm; 0 when not known.
  int rssi = 0;
};

enum class RegionState { kUnknown = 0, kInside = 1, kOutside = 2 };

/// A monitored region of whatever kind.
struct KORVANI_EXPORT Region {
  explicit Region(std::string name) : identifier(std::move(name)) {}
  Region(const Region&) = default;
  virtual ~Region();
  std::string identifier;
};

/// All beacons of one proximity UUID.
struct KORVANI_EXPORT BeaconRegion : Region {
  BeaconRegion(const Uuid& uuid, std::string name) : Region(std::move(name)), proximityUUID(uuid) {}
  ~BeaconRegion() override;
  Uuid proximityUUID;
  bool notifyOnEntry = true;
  bool notifyOnExit = true;
  bool notifyEntryStateOnDisplay = false;
};

/// Degrees, WGS 84.
struct Coordinate {
  double latitude = 0;
  double longitude = 0;
};

class LocationManager;

/// Told on the main thread. `manager` is the manager that reports, `region` the region concerned.
class LocationManagerDelegate {
 public:
  virtual ~LocationManagerDelegate() = default;
  virtual void locationManagerDidStartMonitoringForRegion(
      const std::shared_ptr<LocationManager>& manager,
      const std::shared_ptr<const Region>& region) = 0;
  virtual void locationManagerDidEnterRegion(const std::shared_ptr<LocationManager>& manager,
                                             const std::shared_ptr<const Region>& region) = 0;
  virtual void locationManagerDidExitRegion(const std::shared_ptr<LocationManager>& manager,
                                            const std::shared_ptr<const Region>& region) = 0;
  virtual void locationManagerDidDetermineState(const std::shared_ptr<LocationManager>& manager,
                                                RegionState state,
                                                const std::shared_ptr<const Region>& region) = 0;
  virtual void locationManagerDidRangeBeacons(const std::shared_ptr<LocationManager>& manager,
                                              const std::vector<Beacon>& beacons,
                                              const std::shared_ptr<const Region>& region) = 0;
  virtual void locationManagerMonitoringDidFailForRegion(
      const std::shared_ptr<LocationManager>& manager, const std::shared_ptr<const Region>& region,
      const std::string& localizedDescription) = 0;
  virtual void locationManagerDidFailWithError(const std::shared_ptr<LocationManager>& manager,
                                               const std::string& localizedDescription) = 0;
};

/// Safe from any thread: the kit starts regions on request queues too. The delegate is told
/// asynchronously, never from inside one of these calls. A manager that the kit lets go of is
/// followed by a new one, which takes its region over. A region started under an identifier in use
/// replaces the earlier one. Failures reach the delegate.
class LocationManager {
 public:
  virtual ~LocationManager() = default;
  virtual void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) = 0;
  virtual void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) = 0;
  virtual void requestStateForRegion(std::shared_ptr<const Region> region) = 0;
  virtual void startRangingBeaconsInRegion(std::shared_ptr<const Region> region) = 0;
  virtual void stopRangingBeaconsInRegion(std::shared_ptr<const Region> region) = 0;
  virtual void startUpdatingLocation() = 0;
  virtual void stopUpdatingLocation() = 0;
  /// A platform that needs no permission leaves this out.
  virtual void requestAlwaysAuthorization() {}
  /// The last fix, however old; nothing when there never was one.
  virtual std::optional<Coordinate> location() const = 0;
};

class LocationService {
 public:
  virtual ~LocationService() = default;
  /// Main thread. Null where there is none: the kit goes on without it.
  virtual std::shared_ptr<LocationManager> newLocationManager() = 0;
};

}  // namespace korvani::platform
