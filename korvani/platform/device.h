// The port for the device itself: battery, locale, screen.
#pragma once

#include <korvani/platform/screens/geometry.h>

#include <string>

namespace korvani::platform {

/// Called by the kit on the main thread. What the device cannot tell is said in each answer.
class Device {
 public:
  virtual ~Device() = default;
  virtual void setBatteryMonitoringEnabled(bool enabled) = 0;
  /// 0.0 to 1.0; -1.0 when not known or not monitored.
  virtual float batteryLevel() const = 0;
  /// The current locale, as language and country: "fr_FR"; "en_US" where none is set.
  virtual std::string localeIdentifier() const = 0;
  /// The main screen in points, as a pop-up may fill it.
  virtual Rect mainScreenBounds() const = 0;
};

}  // namespace korvani::platform
