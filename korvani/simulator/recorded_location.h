// The location service of a phone whose events are written into a script.
#pragma once

#include <korvani/platform/location_manager.h>
#include <korvani/simulator/script_writer.h>

#include <memory>

namespace korvani::simulator {

/// Both outlive it.
class RecordedLocationService final : public platform::LocationService {
 public:
  RecordedLocationService(platform::LocationService& service, ScriptWriter& script)
      : service_(service), script_(script) {}

  std::shared_ptr<platform::LocationManager> newLocationManager() override;

 private:
  platform::LocationService& service_;
  ScriptWriter& script_;
  int made_ = 0;
};

}  // namespace korvani::simulator
