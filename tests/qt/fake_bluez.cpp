// Speaks the daemon's interfaces by hand.
#include "fake_bluez.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace korvani::qt {

namespace {

const QString kBus = QStringLiteral("fake-bluez");
const QString kService = QStringLiteral("org.bluez");
const QString kMonitor = QStringLiteral("org.bluez.AdvertisementMonitor1");

std::string textOf(const QVariantMap& map) {
  QString text;
  for (auto entry = map.begin(); entry != map.end(); ++entry) {
    text += QStringLiteral(" %1=%2").arg(entry.key(), entry.value().toString());
  }
  return text.toStdString();
}

}  // namespace

FakeBluez::FakeBluez(DBusObjects objects)
    : objects_(std::move(objects)),
      bus_(QDBusConnection::connectToBus(QDBusConnection::SystemBus, kBus)) {
  qDBusRegisterMetaType<DBusInterfaces>();
  qDBusRegisterMetaType<DBusObjects>();
  qDBusRegisterMetaType<ManufacturerData>();
  bus_.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
  bus_.registerService(kService);
}

FakeBluez::~FakeBluez() {
  // At once, for the next one: the connection itself closes later.
  bus_.unregisterService(kService);
  QDBusConnection::disconnectFromBus(kBus);
}

DBusInterfaces FakeBluez::adapter(bool isPowered, bool hasMonitors) {
  DBusInterfaces interfaces{{QStringLiteral("org.bluez.Adapter1"),
                             {{QStringLiteral("Address"), QStringLiteral("00:00:5E:00:53:00")},
                              {QStringLiteral("Powered"), isPowered},
                              {QStringLiteral("Discovering"), false}}}};
  if (hasMonitors) {
    interfaces[QStringLiteral("org.bluez.AdvertisementMonitorManager1")] = {
        {QStringLiteral("SupportedMonitorTypes"), QStringList{QStringLiteral("or_patterns")}}};
  }
  return interfaces;
}

DBusInterfaces FakeBluez::device(const QVariantMap& properties) {
  return {{QStringLiteral("org.bluez.Device1"), properties}};
}

QString FakeBluez::devicePath(int number, const QString& adapter) {
  QString digits = QStringLiteral("%1").arg(number, 12, 16, QLatin1Char('0')).toUpper();
  for (int i = 10; i > 0; i -= 2) digits.insert(i, QLatin1Char('_'));
  return adapter + QStringLiteral("/dev_") + digits;
}

QByteArray FakeBluez::payload(const location::IBeacon& beacon) {
  QByteArray bytes = QByteArray::fromHex("0215");
  for (const std::uint8_t byte : beacon.proximityUUID.bytes()) {
    bytes.append(static_cast<char>(byte));
  }
  for (const std::uint16_t number : {beacon.major, beacon.minor}) {
    bytes.append(static_cast<char>(number >> 8)).append(static_cast<char>(number & 0xFF));
  }
  return bytes.append(static_cast<char>(beacon.measuredPower));
}

QVariant FakeBluez::manufacturerData(quint16 company, const QVariant& payload) {
  return QVariant::fromValue(ManufacturerData{{company, QDBusVariant(payload)}});
}

QVariant FakeBluez::rssi(int dBm) { return QVariant::fromValue(static_cast<short>(dBm)); }

QVariantMap FakeBluez::advertisement(const location::IBeacon& beacon, int dBm) {
  return {{QStringLiteral("RSSI"), rssi(dBm)},
          {QStringLiteral("ManufacturerData"),
           manufacturerData(location::kIBeaconCompany, payload(beacon))}};
}

void FakeBluez::add(const QString& path, const DBusInterfaces& interfaces) {
  objects_.insert(QDBusObjectPath(path), interfaces);
  emitSignal(QStringLiteral("/"), "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
             {QVariant::fromValue(QDBusObjectPath(path)), QVariant::fromValue(interfaces)});
}

void FakeBluez::remove(const QString& path) {
  const QStringList interfaces = objects_.take(QDBusObjectPath(path)).keys();
  emitSignal(QStringLiteral("/"), "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved",
             {QVariant::fromValue(QDBusObjectPath(path)), interfaces});
}

void FakeBluez::change(const QString& path, const char* interface, const QVariantMap& changed,
                       const QStringList& invalidated) {
  if (objects_.contains(QDBusObjectPath(path))) {
    objects_[QDBusObjectPath(path)][QLatin1String(interface)].insert(changed);
  }
  emitSignal(path, "org.freedesktop.DBus.Properties", "PropertiesChanged",
             {QLatin1String(interface), changed, invalidated});
}

void FakeBluez::changeDevice(int number, const QVariantMap& changed,
                             const QStringList& invalidated) {
  change(devicePath(number), "org.bluez.Device1", changed, invalidated);
}

void FakeBluez::settle() {
  const QString bus = QStringLiteral("org.freedesktop.DBus");
  bus_.call(QDBusMessage::createMethodCall(bus, QStringLiteral("/"), bus, QStringLiteral("GetId")));
}

void FakeBluez::setPowered(const QString& path, bool isPowered) {
  change(path, "org.bluez.Adapter1", {{QStringLiteral("Powered"), isPowered}});
}

void FakeBluez::setDiscovering(const QString& path, bool isDiscovering) {
  change(path, "org.bluez.Adapter1", {{QStringLiteral("Discovering"), isDiscovering}});
}

void FakeBluez::emitSignal(const QString& path, const char* interface, const char* name,
                           const QVariantList& arguments) {
  auto signal = QDBusMessage::createSignal(path, QLatin1String(interface), QLatin1String(name));
  signal.setArguments(arguments);
  bus_.send(signal);
}

void FakeBluez::callMonitor(const char* method, const QVariantList& arguments) {
  auto message =
      QDBusMessage::createMethodCall(client_, monitorPath, kMonitor, QLatin1String(method));
  message.setArguments(arguments);
  auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(message), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, method] {
    watcher->deleteLater();
    asked.push_back(std::string(method) + (watcher->isError() ? " refused" : " answered"));
  });
}

bool FakeBluez::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
  const std::string method = message.member().toStdString();
  std::string line = message.path().section(QLatin1Char('/'), -1).toStdString() + " " + method;
  if (method == "SetDiscoveryFilter") {
    line += textOf(qdbus_cast<QVariantMap>(message.arguments().value(0)));
  }
  asked.push_back(line);
  auto& refused = refusals[method];
  if (!refused.empty()) {
    const QString name = QString::fromStdString(refused.front());
    refused.erase(refused.begin());
    return connection.send(message.createErrorReply(
        name.contains(QLatin1Char('.')) ? name : QStringLiteral("org.bluez.Error.") + name,
        QString::fromStdString(refusalText)));
  }
  if (method == "GetManagedObjects") {
    return connection.send(message.createReply(QVariant::fromValue(objects_)));
  }
  if (method == "Get") {
    const auto interfaces = objects_.value(QDBusObjectPath(message.path()));
    const QVariant value = interfaces.value(message.arguments().value(0).toString())
                               .value(message.arguments().value(1).toString());
    return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
  }
  if (method == "StartDiscovery") {
    discoverers.append(message.service());
    setDiscovering(message.path(), true);
  }
  if (method == "StopDiscovery") setDiscovering(message.path(), false);
  if (method == "RegisterMonitor") {
    readMonitor(message.service(), message.arguments().value(0).value<QDBusObjectPath>());
  }
  return connection.send(message.createReply());
}

void FakeBluez::readMonitor(const QString& client, const QDBusObjectPath& application) {
  client_ = client;
  auto* watcher = new QDBusPendingCallWatcher(
      bus_.asyncCall(QDBusMessage::createMethodCall(
          client, application.path(), QStringLiteral("org.freedesktop.DBus.ObjectManager"),
          QStringLiteral("GetManagedObjects"))),
      this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
    watcher->deleteLater();
    const QDBusPendingReply<DBusObjects> reply = *watcher;
    if (reply.isError() || reply.value().isEmpty()) return;
    monitorPath = reply.value().firstKey().path();
    monitor = reply.value().first();
    if (activates) callMonitor("Activate");
  });
}

}  // namespace korvani::qt
