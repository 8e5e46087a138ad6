// Walks the structures of an advertisement. What is cut short or lies about its length ends the
// walk.
#include <korvani/location/advertisement.h>

#include <algorithm>

namespace korvani::location {
namespace {

constexpr std::uint8_t kManufacturerData = 0xFF;

std::uint16_t bigEndian(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

/// Kind and length of what follows: UUID, major, minor, power. Some beacons append bytes.
bool isIBeacon(std::span<const std::uint8_t> payload) {
  return payload.size() >= 23 && payload[0] == 0x02 && payload[1] == 0x15;
}

IBeacon read(std::span<const std::uint8_t> payload) {
  platform::Uuid::Bytes uuid;
  std::copy_n(payload.begin() + 2, uuid.size(), uuid.begin());
  return {.proximityUUID = platform::Uuid(uuid),
          .major = bigEndian(payload.subspan(18)),
          .minor = bigEndian(payload.subspan(20)),
          .measuredPower = static_cast<std::int8_t>(payload[22])};
}

}  // namespace

std::optional<IBeacon> iBeaconInCompanyPayload(std::span<const std::uint8_t> payload) {
  if (!isIBeacon(payload)) return std::nullopt;
  return read(payload);
}

std::optional<IBeacon> iBeaconIn(std::span<const std::uint8_t> advertisingData) {
  while (!advertisingData.empty()) {
    const std::size_t length = advertisingData[0];
    if (length == 0 || length >= advertisingData.size()) break;
    const auto structure = advertisingData.subspan(1, length);
    if (length >= 3 && structure[0] == kManufacturerData &&
        structure[1] == (kIBeaconCompany & 0xFF) && structure[2] == kIBeaconCompany >> 8 &&
        isIBeacon(structure.subspan(3))) {
      return read(structure.subspan(3));
    }
    advertisingData = advertisingData.subspan(1 + length);
  }
  return std::nullopt;
}

}  // namespace korvani::location
