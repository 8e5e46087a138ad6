// The Bluetooth daemon and its adapters, as they come and go.
#pragma once

#include <korvani/qt/bluetooth/backoff.h>
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/bluetooth/object_reader.h>
#include <korvani/qt/bus_signal.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace korvani::qt::bluetooth {

struct Adapter {
  bool isPowered = false;
  bool isDiscovering = false;
  /// It offers monitors of the kind that we need.
  bool canMonitor = false;
};

/// Main thread. It subscribes first and reads then, so that no change is lost between the two, and
/// chooses one adapter: the one it has as long as that is powered, else the first that is.
class Adapters final : public QObject {
 public:
  enum class State { kUnknown, kNoDaemon, kRefused, kNoAdapter, kSwitchedOff, kReady };
  /// Told in callbacks of the bus, never from inside a call.
  struct Told {
    std::function<void()> changed;
    /// `isNow`: the device appeared with an advertisement. Otherwise the daemon only remembers it.
    std::function<void(const QString& path, const DeviceNews& news, bool isNow)> deviceFound;
    std::function<void(const QString& path)> deviceRemoved;
  };

  Adapters(const QDBusConnection& bus, const Settings& settings, Told told);

  /// Only once.
  void watch();
  /// Asks the daemon for all its objects; those devices that it knows are told.
  void read();

  State state() const;
  /// With kRefused: what the user is told.
  const QString& refusal() const { return refusal_; }
  /// The unique name of the daemon on the bus; empty without one.
  const QString& daemon() const { return daemon_; }
  /// The chosen adapter; a blank one where there is none.
  Adapter chosen() const;
  /// Its path while it is powered, else empty.
  const QString& usable() const { return usable_; }
  /// Another number whenever usable() changes or the daemon does: what was begun before has gone.
  int session() const { return session_; }
  /// Whether a signal is the daemon's own, of this life, about a device of the chosen adapter.
  bool isOurs(const QDBusMessage& signal) const;
  bool isOurs(const QString& devicePath) const;

 private:
  void setDaemon(const QString& name);
  void took(const QDBusMessage& objects);
  void take(const QString& path, const ObjectNews& news, bool isNow);
  void choose();

  void interfacesAdded(const QDBusMessage& signal);
  void interfacesRemoved(const QDBusMessage& signal);
  void adapterChanged(const QDBusMessage& signal);

  QDBusConnection bus_;
  const Told told_;
  std::vector<std::unique_ptr<BusSignal>> signals_;
  QString daemon_;
  bool knowsDaemon_ = false;
  bool isRead_ = false;
  QString refusal_;
  Refusals refusals_;
  std::map<QString, Adapter> adapters_;
  QString path_;
  QString usable_;
  int session_ = 0;
  bool isReading_ = false;
  /// While a reading is under way: its answer may be older than what was signalled meanwhile.
  bool readsAgain_ = false;
  /// Counts daemons: answers of an earlier one are of no use.
  int life_ = 0;
  Complaints complaints_;
  Backoff backoff_;
  QTimer retry_;
};

}  // namespace korvani::qt::bluetooth
