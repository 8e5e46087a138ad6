// How BlueZ is spoken to over D-Bus: its names, and calls that never wait.
#pragma once

#include <korvani/qt/bus_call.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>

namespace korvani::qt::bluetooth {

inline const QString kService = QStringLiteral("org.bluez");
inline const QString kAdapter = QStringLiteral("org.bluez.Adapter1");
inline const QString kDevice = QStringLiteral("org.bluez.Device1");
inline const QString kMonitor = QStringLiteral("org.bluez.AdvertisementMonitor1");
inline const QString kMonitorManager = QStringLiteral("org.bluez.AdvertisementMonitorManager1");
inline const QString kObjectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
inline const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
inline const QString kPropertiesChanged = QStringLiteral("PropertiesChanged");

/// The system bus, as a client by itself: BlueZ has one discovery and one filter for each client,
/// and the host may discover for itself on the connection that Qt shares. One for the process, to
/// its end.
QDBusConnection ownBus();

using Answered = std::function<void(const QDBusMessage& answer)>;

/// A call to the daemon, which it does not start. The answer, which may be an error, comes to the
/// thread of `receiver` as long as that lives.
void call(const QDBusConnection& bus, const QString& path, const QString& interface,
          const QString& method, const QVariantList& arguments, QObject* receiver,
          Answered answered);
/// The same where nobody cares for the answer.
void tell(const QDBusConnection& bus, const QString& path, const QString& interface,
          const QString& method, const QVariantList& arguments);

using qt::isError;
/// Whether an answer is that error: "NotReady" of org.bluez.Error.NotReady.
bool isError(const QDBusMessage& answer, const char* name);

/// What the user must know of calls that are refused again and again.
class Refusals {
 public:
  /// The failure that one more refusal makes; empty as long as it may pass by itself.
  QString failureOf(const QDBusMessage& error);
  void forget() { count_ = 0; }

 private:
  int count_ = 0;
};

/// Says each thing to the log once, until it says another.
class Complaints {
 public:
  void say(const QString& line);
  void forget() { last_.clear(); }

 private:
  QString last_;
};

/// An error in one line of printable characters, whatever the daemon wrote.
QString textOf(const QDBusMessage& error);

}  // namespace korvani::qt::bluetooth
