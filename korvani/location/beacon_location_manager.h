// The location-service port on a radio of ours: region monitoring, ranging, last known position.
#pragma once

#include <korvani/location/advertisement_source.h>
#include <korvani/location/location_settings.h>
#include <korvani/location/moment.h>
#include <korvani/location/position_source.h>
#include <korvani/platform/atomic.h>
#include <korvani/platform/location_manager.h>
#include <korvani/platform/log.h>
#include <korvani/platform/queues.h>

#include <memory>
#include <optional>

namespace korvani::location {

class LocationCore;

/// Safe from any thread: requests cross to the main queue. Those of a manager that another one has
/// followed are dropped, and its delegate hears no more.
class BeaconLocationManager final : public platform::LocationManager,
                                    public std::enable_shared_from_this<BeaconLocationManager> {
 public:
  /// Made by the service alone.
  BeaconLocationManager(platform::Queues& queues, std::shared_ptr<LocationCore> core);

  std::shared_ptr<platform::LocationManagerDelegate> delegate() const {
    return delegate_.load().lock();
  }

  void setDelegate(std::weak_ptr<platform::LocationManagerDelegate> delegate) override;
  void startMonitoringForRegion(std::shared_ptr<const platform::BeaconRegion> region) override;
  void requestStateForRegion(std::shared_ptr<const platform::Region> region) override;
  void startRangingBeaconsInRegion(std::shared_ptr<const platform::Region> region) override;
  void stopRangingBeaconsInRegion(std::shared_ptr<const platform::Region> region) override;
  void startUpdatingLocation() override;
  void stopUpdatingLocation() override;
  void requestAlwaysAuthorization() override;
  std::optional<platform::Coordinate> location() const override;

 private:
  template <typename Request>
  void ask(Request request);

  platform::Queues& queues_;
  const std::shared_ptr<LocationCore> core_;
  platform::Atomic<std::weak_ptr<platform::LocationManagerDelegate>> delegate_;
};

/// Main thread. Queues and log must outlive the last job of the main queue; the sources are shared,
/// and neither is null. `now` is asked on the main thread.
///
/// Monitoring that the radio refuses fails with the radio's own text, once for each change of it,
/// and starts by itself when the radio is there. While it is gone states are unknown and no ranging
/// results come.
class BeaconLocationService final : public platform::LocationService {
 public:
  BeaconLocationService(platform::Queues& queues, platform::Log& log, MomentSource now,
                        std::shared_ptr<AdvertisementSource> radio,
                        std::shared_ptr<PositionSource> positions,
                        const LocationSettings& settings = {});
  ~BeaconLocationService() override;

  /// The new manager takes over from the earlier one: regions keep their state, ranging and
  /// position updates end until it starts them.
  std::shared_ptr<platform::LocationManager> newLocationManager() override;

  /// The user looks: the delegate is told of each region that the device is in, where the region
  /// asks for it.
  void displayTurnedOn();

 private:
  platform::Queues& queues_;
  const std::shared_ptr<LocationCore> core_;
};

}  // namespace korvani::location
