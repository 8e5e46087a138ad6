// Walks the dictionaries by hand: a map of variants would cost more than all that follows.
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/bluetooth/object_reader.h>

#include <QByteArray>
#include <QDBusVariant>
#include <span>

namespace korvani::qt::bluetooth {

namespace {

/// What radios can measure.
constexpr int kLeastRssi = -127;
constexpr int kMostRssi = 20;

QVariant readVariant(const QDBusArgument& argument) {
  QDBusVariant value;
  argument >> value;
  return value.variant();
}

std::optional<int> rssiOf(const QVariant& value) {
  if (value.typeId() != QMetaType::Short) return std::nullopt;
  const int rssi = value.value<short>();
  return rssi < kLeastRssi || rssi > kMostRssi ? kNoRssi : rssi;
}

std::optional<location::IBeacon> beaconOf(const QVariant& payload) {
  if (payload.typeId() != QMetaType::QByteArray) return std::nullopt;
  const QByteArray bytes = payload.toByteArray();
  return location::iBeaconInCompanyPayload(
      {reinterpret_cast<const std::uint8_t*>(bytes.constData()),
       static_cast<std::size_t>(bytes.size())});
}

void readManufacturerData(const QVariant& value, DeviceNews& news) {
  if (value.metaType() != QMetaType::fromType<QDBusArgument>()) return;
  const auto companies = value.value<QDBusArgument>();
  if (companies.currentSignature() != QLatin1String("a{qv}")) return;
  news.hasManufacturerData = true;
  companies.beginMap();
  while (!companies.atEnd()) {
    companies.beginMapEntry();
    quint16 company = 0;
    companies >> company;
    if (company == location::kIBeaconCompany) news.beacon = beaconOf(readVariant(companies));
    companies.endMapEntry();
  }
  companies.endMap();
}

}  // namespace

DeviceNews readDevice(const QDBusArgument& properties) {
  DeviceNews news;
  properties.beginMap();
  while (!properties.atEnd()) {
    properties.beginMapEntry();
    QString name;
    properties >> name;
    if (name == QLatin1String("RSSI")) {
      news.rssi = rssiOf(readVariant(properties));
    } else if (name == QLatin1String("ManufacturerData")) {
      readManufacturerData(readVariant(properties), news);
    }
    properties.endMapEntry();
  }
  properties.endMap();
  return news;
}

ObjectNews readObject(const QDBusArgument& interfaces) {
  ObjectNews news;
  interfaces.beginMap();
  while (!interfaces.atEnd()) {
    interfaces.beginMapEntry();
    QString name;
    interfaces >> name;
    if (name == kDevice) {
      news.device = readDevice(interfaces);
    } else if (name == kAdapter) {
      interfaces >> news.adapter.emplace();
    } else if (name == kMonitorManager) {
      interfaces >> news.monitorManager.emplace();
    }
    interfaces.endMapEntry();
  }
  interfaces.endMap();
  return news;
}

}  // namespace korvani::qt::bluetooth
