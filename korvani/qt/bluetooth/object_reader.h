// Reads what BlueZ says of its objects. The daemon repeats what strangers send, so nothing is
// believed: a value of a wrong type counts as one that is not there.
#pragma once

#include <korvani/location/advertisement.h>

#include <QDBusArgument>
#include <QVariantMap>
#include <optional>

namespace korvani::qt::bluetooth {

/// An RSSI that is not known.
inline constexpr int kNoRssi = 127;

/// What there is of an advertisement in the properties of a device.
struct DeviceNews {
  bool hasManufacturerData = false;
  /// The iBeacon in the manufacturer data.
  std::optional<location::IBeacon> beacon;
  /// dBm, or kNoRssi for what no radio measures.
  std::optional<int> rssi;
};

/// `properties` stands at an a{sv}, and is past it afterwards. Other properties are passed over
/// unread, as are other companies.
DeviceNews readDevice(const QDBusArgument& properties);

/// Those interfaces of an object that matter.
struct ObjectNews {
  std::optional<QVariantMap> adapter;
  std::optional<QVariantMap> monitorManager;
  std::optional<DeviceNews> device;
};

/// `interfaces` stands at an a{sa{sv}}, and is past it afterwards.
ObjectNews readObject(const QDBusArgument& interfaces);

}  // namespace korvani::qt::bluetooth
