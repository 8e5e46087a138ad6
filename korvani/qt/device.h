// The device port: battery, locale, and the host's window as the screen.
#pragma once

#include <korvani/platform/device.h>
#include <korvani/qt/battery.h>
#include <korvani/qt/screens.h>
#include <korvani/qt/system_locale.h>

namespace korvani::qt {

class Device final : public platform::Device {
 public:
  explicit Device(Screens& screens) : screens_(screens) {}
  void setBatteryMonitoringEnabled(bool enabled) override { battery_.setMonitored(enabled); }
  float batteryLevel() const override { return battery_.level(); }
  std::string localeIdentifier() const override { return locale_.identifier(); }
  platform::Rect mainScreenBounds() const override { return screens_.mainScreenBounds(); }

 private:
  Screens& screens_;
  Battery battery_;
  SystemLocale locale_;
};

}  // namespace korvani::qt
