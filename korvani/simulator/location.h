// The port for the location service: it records what it is asked. What it reports is what a script
// says, or what a service below it finds.
#pragma once

#include <korvani/platform/atomic.h>
#include <korvani/platform/location_manager.h>
#include <korvani/simulator/location_event_source.h>
#include <korvani/simulator/recorder.h>
#include <korvani/simulator/settings.h>

#include <functional>
#include <memory>
#include <vector>

namespace korvani::simulator {

class SimulatedLocationService : public platform::LocationService {
 public:
  using Region = std::shared_ptr<const platform::Region>;
  /// Tells one delegate something, with the manager and region of the report.
  using Report =
      std::function<void(platform::LocationManagerDelegate&,
                         const std::shared_ptr<platform::LocationManager>&, const Region&)>;

  SimulatedLocationService(Recorder& recorder, const Settings& settings)
      : recorder_(recorder), settings_(settings) {}

  /// From now on managers hand on what they are asked to `service`, and record what it reports.
  void setSource(std::unique_ptr<platform::LocationService> service) {
    source_ = std::move(service);
  }

  std::shared_ptr<platform::LocationManager> newLocationManager() override;

  /// Main thread. Tells the manager's delegate, if there is such a manager, it has a delegate, and
  /// a region was ever started.
  void report(const LocationEventSource& source, const Report& report);

 private:
  class Manager;
  class RecordingDelegate;
  Region regionOf(const LocationEventSource& source) const;

  Recorder& recorder_;
  const Settings& settings_;
  std::unique_ptr<platform::LocationService> source_;
  std::vector<std::shared_ptr<Manager>> managers_;
  platform::Atomic<std::shared_ptr<const platform::BeaconRegion>> lastStarted_;
};

}  // namespace korvani::simulator
