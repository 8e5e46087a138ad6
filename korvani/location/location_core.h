// What the location managers of an application share: its regions, its ranging, its radio.
#pragma once

#include <korvani/location/advertisement_source.h>
#include <korvani/location/beacon_table.h>
#include <korvani/location/location_settings.h>
#include <korvani/location/moment.h>
#include <korvani/location/position_source.h>
#include <korvani/location/region_monitor.h>
#include <korvani/platform/location_manager.h>
#include <korvani/platform/log.h>
#include <korvani/platform/queues.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvani::location {

class BeaconLocationManager;

/// Main thread, but for `positions`. It reports to the newest manager alone, in jobs of the main
/// queue, so a delegate may call whatever it likes. One wake-up waits at a time, and none while
/// time alone changes nothing.
class LocationCore final : public AdvertisementListener,
                           public PositionListener,
                           public std::enable_shared_from_this<LocationCore> {
 public:
  LocationCore(platform::Queues& queues, platform::Log& log, MomentSource now,
               std::shared_ptr<AdvertisementSource> radio,
               std::shared_ptr<PositionSource> positions, const LocationSettings& settings);

  /// The manager takes over the regions; ranging and updates end with the earlier manager.
  void setManager(const std::shared_ptr<BeaconLocationManager>& manager);
  bool isManager(const BeaconLocationManager& manager) const;

  void startMonitoring(const std::shared_ptr<const platform::BeaconRegion>& region);
  void requestState(const std::shared_ptr<const platform::Region>& region);
  void startRanging(const std::shared_ptr<const platform::Region>& region);
  void stopRanging(const std::shared_ptr<const platform::Region>& region);
  void startUpdatingLocation();
  void stopUpdatingLocation();
  void displayTurnedOn();
  PositionSource& positions() const { return *positions_; }

  void beaconHeard(const IBeacon& beacon, int rssi) override;
  void availabilityChanged(const std::optional<std::string>& failure) override;
  void positionFailureChanged(const std::optional<std::string>& failure) override;

 private:
  using Region = std::shared_ptr<const platform::BeaconRegion>;
  struct Monitored {
    Region region;
    RegionMonitor monitor;
    bool awaitsStart = false;
    bool knowsFailure = false;
  };
  using Report = std::function<void(platform::LocationManagerDelegate&,
                                    const std::shared_ptr<platform::LocationManager>&)>;

  void answerStart(Monitored& monitored);
  void tellFailure(Monitored& monitored);
  void tellChange(const Monitored& monitored, RegionChange change);
  void tellState(platform::RegionState state,
                 const std::shared_ptr<const platform::Region>& region);
  void tellRanging(const Region& region, Moment now);
  void tellPositionFailure();
  void tell(Report report);

  bool isWanted(const platform::Uuid& proximityUUID) const;
  bool isReplaced(const platform::BeaconRegion& region) const;
  bool isRanged(const platform::BeaconRegion& region) const;
  Listening wanted() const;
  void settle();
  std::optional<Moment> due() const;
  void arm();
  void follow(Moment now);
  void wakeUp(Moment moment);

  platform::Queues& queues_;
  platform::Log& log_;
  const MomentSource now_;
  const std::shared_ptr<AdvertisementSource> radio_;
  const std::shared_ptr<PositionSource> positions_;
  const LocationSettings settings_;

  std::weak_ptr<BeaconLocationManager> manager_;
  /// By the identifiers of the regions.
  std::map<std::string, Monitored> monitored_;
  std::map<std::string, Region> ranged_;
  BeaconTable table_;
  bool saidTooMany_ = false;
  Listening listening_;
  std::optional<std::string> radioFailure_;
  Moment nextResult_;
  std::optional<Moment> wakeUpAt_;
  /// When this last ran by itself.
  Moment followedUntil_;
  bool updatesLocation_ = false;
  std::optional<std::string> positionFailure_;
  bool toldPositionFailure_ = false;
};

}  // namespace korvani::location
