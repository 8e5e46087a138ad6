// The radio of the Linux phone: beacons as BlueZ hears them.
#pragma once

#include <korvani/location/advertisement_source.h>
#include <korvani/qt/bluetooth/adapters.h>
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/bluetooth/discovery.h>
#include <korvani/qt/bluetooth/known_devices.h>
#include <korvani/qt/bluetooth/object_reader.h>
#include <korvani/qt/bluetooth/presence_monitor.h>
#include <korvani/qt/bluetooth/settings.h>
#include <korvani/qt/bus_signal.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace korvani::qt::bluetooth {

/// Main thread; nothing here waits for the daemon. It decides a moment after the first change, so
/// what changes back and forth within that moment changes nothing.
///
/// Discovery runs all the time at full level. For presence it runs on a duty cycle; where the
/// daemon has a monitor, only while a beacon was heard lately, since a monitor says little of those
/// that stay.
class Radio final : public QObject, public location::AdvertisementSource {
 public:
  explicit Radio(const Settings& settings = {}, const QDBusConnection& bus = ownBus());

  void setListener(std::weak_ptr<location::AdvertisementListener> listener) override;
  void listen(const location::Listening& wanted) override;

 private:
  using Moment = std::chrono::steady_clock::time_point;

  void decideSoon();
  void decide();
  void subscribe(bool isListening);
  void turnCycle();
  void watchForStall(bool isOn);
  void stalled();

  void deviceChanged(const QDBusMessage& signal);
  void deviceFound(const QString& path, const DeviceNews& news, bool isNow);
  void heard(const QString& path, const DeviceNews& news);
  void remember(const QString& path, const KnownDevices::Device& device);
  void followBeacons(Moment now);
  bool isWanted(const location::IBeacon& beacon) const;

  std::optional<std::string> failure() const;
  void reviewFailure();
  void tellFailure(const std::optional<std::string>& failure);

  QDBusConnection bus_;
  const Settings settings_;
  std::weak_ptr<location::AdvertisementListener> listener_;
  location::Listening wanted_;
  bool watches_ = false;
  std::optional<BusSignal> devices_;
  QTimer decision_;

  Adapters adapters_;
  int session_ = 0;
  Discovery discovery_;
  PresenceMonitor monitor_;
  std::optional<KnownDevices> known_;
  bool saidTooMany_ = false;

  /// Which of sweep and pause it is lasts as long as the timer runs.
  QTimer cycle_;
  bool isSweeping_ = false;
  Moment followedUntil_;
  QTimer stall_;
  Moment lastAdvertisement_;

  /// Why discovery fails.
  std::optional<QString> refusal_;
  std::optional<std::string> told_;
  std::optional<std::string> standing_;
  QTimer stands_;
};

}  // namespace korvani::qt::bluetooth
