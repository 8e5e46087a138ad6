// The small ports of the simulated phone: log, random UUIDs, store, announcements, device.
#pragma once

#include <korvani/platform/platform.h>
#include <korvani/simulator/recorder.h>
#include <korvani/simulator/settings.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace korvani::simulator {

class SimulatedLog : public platform::Log {
 public:
  explicit SimulatedLog(Recorder& recorder) : recorder_(recorder) {}
  void write(std::string_view line) override { recorder_.record("log", line); }

 private:
  Recorder& recorder_;
};

/// Those of the settings, then a fixed sequence: every run makes the same UUIDs.
class FixedUuids : public platform::RandomUuids {
 public:
  explicit FixedUuids(Settings& settings) : settings_(settings) {}
  platform::Uuid newUuid() override;

 private:
  Settings& settings_;
  std::uint64_t state_ = 0;
};

class SimulatedUserDefaults : public platform::UserDefaults {
 public:
  explicit SimulatedUserDefaults(Recorder& recorder) : recorder_(recorder) {}

  /// Puts a value there as an earlier run would have left it: nothing is recorded.
  void put(std::string_view key, platform::Value value);

  platform::Value objectForKey(std::string_view key) const override;
  void setObject(const platform::Value& value, std::string_view key) override;
  void synchronize() override;
  platform::Value dictionaryRepresentation() const override;

 private:
  Recorder& recorder_;
  mutable std::mutex mutex_;
  platform::Value::Dictionary values_;
};

class SimulatedNotificationCenter : public platform::NotificationCenter {
 public:
  void addObserver(std::string_view name, std::function<void()> observer) override {
    observers_.emplace_back(name, std::move(observer));
  }
  void post(std::string_view name) const;

 private:
  std::vector<std::pair<std::string, std::function<void()>>> observers_;
};

class SimulatedDevice : public platform::Device {
 public:
  SimulatedDevice(Recorder& recorder, const Settings& settings)
      : recorder_(recorder), settings_(settings) {}

  void setBatteryMonitoringEnabled(bool enabled) override;
  float batteryLevel() const override { return monitored_ ? settings_.batteryLevel : -1.0F; }
  std::string localeIdentifier() const override { return settings_.localeIdentifier; }
  platform::Rect mainScreenBounds() const override {
    return {0, 0, settings_.screen.width, settings_.screen.height};
  }

 private:
  Recorder& recorder_;
  const Settings& settings_;
  bool monitored_ = false;
};

/// The value with every date in it as a dictionary {"date": text}.
platform::Value withDatesAsText(const platform::Value& value);

}  // namespace korvani::simulator
