// Finds the iBeacon in the bytes of a Bluetooth advertisement.
#pragma once

#include <korvani/platform/uuid.h>

#include <cstdint>
#include <optional>
#include <span>

namespace korvani::location {

struct IBeacon {
  platform::Uuid proximityUUID;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  /// dBm at one metre, as the beacon says.
  std::int8_t measuredPower = 0;

  friend bool operator==(const IBeacon&, const IBeacon&) = default;
};

/// The company that iBeacons name, as manufacturer data begins with it, little-endian.
inline constexpr std::uint16_t kIBeaconCompany = 0x004C;

/// From whole advertising data, a row of structures of length, type and payload: the first
/// manufacturer structure that is an iBeacon counts. Any bytes will do; nothing is allocated.
std::optional<IBeacon> iBeaconIn(std::span<const std::uint8_t> advertisingData);

/// From the manufacturer data of kIBeaconCompany, without the company itself.
std::optional<IBeacon> iBeaconInCompanyPayload(std::span<const std::uint8_t> payload);

}  // namespace korvani::location
