// Has the daemon watch for the beacons of one UUID, as cheaply as the controller can.
#pragma once

#include <korvani/platform/uuid.h>
#include <korvani/qt/bluetooth/backoff.h>
#include <korvani/qt/bluetooth/bluez.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>
#include <functional>
#include <optional>

namespace korvani::qt::bluetooth {

/// Main thread. An application object with one monitor below it, which the daemon reads, activates
/// and releases. What was refused, released or never activated is tried again later.
class PresenceMonitor final : public QDBusVirtualObject {
 public:
  struct Wanted {
    /// The unique name of the daemon: nobody else may speak to the monitor.
    QString daemon;
    QString adapter;
    /// As the adapters count them: what began in an earlier one has gone.
    int session = 0;
    platform::Uuid uuid;
    friend bool operator==(const Wanted&, const Wanted&) = default;
  };
  struct Told {
    /// isActive() has changed.
    std::function<void()> changed;
    /// A device that matches was found. Of one that stays no more is told, nor of one that is
    /// known from before.
    std::function<void()> found;
  };

  PresenceMonitor(const QDBusConnection& bus, const Settings& settings, Told told);
  ~PresenceMonitor() override;

  void watchFor(const std::optional<Wanted>& wanted);
  bool isActive() const { return isActive_; }

  QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

 private:
  void begin();
  void end();
  void failed(const QString& why);
  bool handleDaemon(const QString& method);
  QVariantMap properties() const;

  QDBusConnection bus_;
  const Told told_;
  std::optional<Wanted> wanted_;
  bool isActive_ = false;
  bool isOnBus_ = false;
  bool isRegistered_ = false;
  /// A path of its own for each registration: what the daemon still has to say about an earlier one
  /// finds nobody.
  int number_ = 0;
  QString application_;
  QString monitor_;
  Backoff backoff_;
  QTimer retry_;
  QTimer activation_;
  Complaints complaints_;
};

}  // namespace korvani::qt::bluetooth
