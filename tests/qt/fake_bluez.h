// A Bluetooth daemon of the test's own on the private bus: adapters, discovery, devices, monitors.
#pragma once

#include <korvani/location/advertisement.h>

#include <QByteArray>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <map>
#include <string>
#include <vector>

namespace korvani::qt {

using DBusInterfaces = QMap<QString, QVariantMap>;
using DBusObjects = QMap<QDBusObjectPath, DBusInterfaces>;
using ManufacturerData = QMap<quint16, QDBusVariant>;

inline const QString kHci0 = QStringLiteral("/org/bluez/hci0");
inline const QString kHci1 = QStringLiteral("/org/bluez/hci1");

/// There from construction to destruction, on a connection of its own and on the thread that made
/// it. It does what it is told and writes down what it is asked.
class FakeBluez final : public QDBusVirtualObject {
 public:
  explicit FakeBluez(DBusObjects objects = {});
  ~FakeBluez() override;

  static DBusInterfaces adapter(bool isPowered, bool hasMonitors = false);
  static DBusInterfaces device(const QVariantMap& properties);
  static QString devicePath(int number, const QString& adapter = kHci0);
  static QVariantMap advertisement(const location::IBeacon& beacon, int rssi);
  static QByteArray payload(const location::IBeacon& beacon);
  static QVariant manufacturerData(quint16 company, const QVariant& payload);
  static QVariant rssi(int dBm);

  void add(const QString& path, const DBusInterfaces& interfaces);
  void remove(const QString& path);
  void change(const QString& path, const char* interface, const QVariantMap& changed,
              const QStringList& invalidated = {});
  void changeDevice(int number, const QVariantMap& changed, const QStringList& invalidated = {});
  /// Returns when the bus has passed on what was signalled so far.
  void settle();
  void setPowered(const QString& path, bool isPowered);
  void setDiscovering(const QString& path, bool isDiscovering);
  void emitSignal(const QString& path, const char* interface, const char* name,
                  const QVariantList& arguments);
  /// Calls the monitor as the daemon does; the answer is written down: "Activate answered".
  void callMonitor(const char* method, const QVariantList& arguments = {});

  /// What was asked: "hci0 SetDiscoveryFilter DuplicateData=true RSSI=-127 Transport=le".
  std::vector<std::string> asked;
  /// The clients that wanted discovery.
  QStringList discoverers;
  /// How the next calls of a method are refused, in turn: by these errors of org.bluez.Error, or of
  /// others by their whole names.
  std::map<std::string, std::vector<std::string>> refusals;
  std::string refusalText = "refused";
  /// Whether a registered monitor is activated by itself.
  bool activates = true;
  /// Of the last monitor that was registered, as it was read: its interfaces and its path.
  DBusInterfaces monitor;
  QString monitorPath;

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

 private:
  void readMonitor(const QString& client, const QDBusObjectPath& application);

  DBusObjects objects_;
  QDBusConnection bus_;
  QString client_;
};

}  // namespace korvani::qt
