// An iBeacon out of the bytes of an advertisement, beside a loop that only walks its structures.
#include <bench/figure.h>
#include <bench/minima.h>
#include <korvani/location/advertisement.h>

#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>

namespace korvani::bench {
namespace {

/// Flags, then an iBeacon with a byte appended: as long as an advertisement can be.
constexpr std::array<std::uint8_t, 31> kAdvertisement{
    0x02, 0x01, 0x06, 0x1B, 0xFF, 0x4C, 0x00, 0x02, 0x15, 0xE2, 0xC5, 0x6D, 0xB5, 0xDF, 0xFB, 0x48,
    0xD2, 0xB0, 0x60, 0xD0, 0xF5, 0xA7, 0x10, 0x96, 0xE0, 0x00, 0x01, 0x00, 0xAB, 0xC5, 0x00};

[[gnu::noinline]] std::size_t structuresIn(std::span<const std::uint8_t> data) {
  std::size_t count = 0;
  while (!data.empty()) {
    const std::size_t length = data[0];
    if (length == 0 || length >= data.size()) break;
    data = data.subspan(1 + length);
    ++count;
  }
  return count;
}

/// The advertisement, of which the compiler knows nothing.
std::span<const std::uint8_t> anAdvertisement() {
  std::span<const std::uint8_t> bytes(kAdvertisement);
  benchmark::DoNotOptimize(bytes);
  return bytes;
}

int run() {
  if (!location::iBeaconIn(anAdvertisement()) || structuresIn(anAdvertisement()) != 2) {
    throw std::runtime_error("the advertisement is not read");
  }
  measure("parse", [] { return location::iBeaconIn(anAdvertisement()); });
  measure("walk", [] { return structuresIn(anAdvertisement()); });
  const auto least = runMeasurements();
  printRatio("iBeacon from 31 bytes", least.at("parse"), "walk over the structures",
             least.at("walk"), 2, "ns");
  printUnder("iBeacon from 31 bytes", least.at("parse"), 20, "ns");
  return 0;
}

}  // namespace
}  // namespace korvani::bench

int main() { return korvani::bench::run(); }
