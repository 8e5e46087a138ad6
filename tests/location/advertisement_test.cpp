// Advertisements as they come over the air, whole and damaged.
#include <gtest/gtest.h>
#include <korvani/location/advertisement.h>

#include <charconv>
#include <string>
#include <string_view>
#include <vector>

namespace korvani::location {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::string_view hex) {
  Bytes bytes(hex.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::from_chars(hex.data() + 2 * i, hex.data() + 2 * i + 2, bytes[i], 16);
  }
  return bytes;
}

std::string textOf(const std::optional<IBeacon>& beacon) {
  if (!beacon) return "none";
  return beacon->proximityUUID.UUIDString() + " " + std::to_string(beacon->major) + " " +
         std::to_string(beacon->minor) + " " + std::to_string(beacon->measuredPower);
}

constexpr std::string_view kPlain = "02011A1AFF4C000215E2C56DB5DFFB48D2B060D0F5A71096E000640000C5";
constexpr std::string_view kPlainText = "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0 100 0 -59";

TEST(Advertisement, Kinds) {
  const std::pair<std::string, std::string_view> cases[] = {
      {std::string(kPlain), kPlainText},
      {"0201041aff4c0002150005000100001000800000805f9b013100026c66c3",
       "00050001-0000-1000-8000-00805F9B0131 2 27750 -61"},
      {"0201041BFF4C000215A7AE2EB71F004168B99BA749BAC1CA6400010001BB4E",
       "A7AE2EB7-1F00-4168-B99B-A749BAC1CA64 1 1 -69"},
      {"1aff4c000215655f83caae16a10a702e31f30d58dd82f644000064",
       "655F83CA-AE16-A10A-702E-31F30D58DD82 63044 0 100"},
      {"02011A020A0C0FFF4C000F06A033BD08C5001002440C", "none"},
      // Of several manufacturer structures the first iBeacon counts.
      {"05FFE000BE0106FF4C000F0102" + std::string(kPlain).substr(6), kPlainText},
      {std::string(kPlain) + "1aff4c0002152f234454cf6d4a0fadf2f4911ba9ffa600010002c5", kPlainText},
      // Another company, a payload one byte short, one in the middle of another payload.
      {"1aff4d0002152f234454cf6d4a0fadf2f4911ba9ffa600010002c5", "none"},
      {"19ff4c0002152f234454cf6d4a0fadf2f4911ba9ffa600010002c5", "none"},
      {"1cff00014c0002152f234454cf6d4a0fadf2f4911ba9ffa600010002c5", "none"},
      // A structure of no length ends the walk.
      {"00" + std::string(kPlain), "none"},
  };
  for (const auto& [hex, text] : cases) {
    EXPECT_EQ(textOf(iBeaconIn(bytesOf(hex))), text) << hex;
  }
}

/// Each length in memory of its own, so that a sanitizer sees the first byte read past the end.
TEST(Advertisement, CutShortAnywhere) {
  const Bytes whole = bytesOf(kPlain);
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const auto end = whole.begin() + static_cast<std::ptrdiff_t>(length);
    EXPECT_EQ(iBeaconIn(Bytes(whole.begin(), end)).has_value(), length == whole.size()) << length;
    if (length < 7) continue;
    EXPECT_EQ(iBeaconInCompanyPayload(Bytes(whole.begin() + 7, end)).has_value(),
              length == whole.size());
  }
  EXPECT_EQ(textOf(iBeaconInCompanyPayload(Bytes(whole.begin() + 7, whole.end()))), kPlainText);
}

}  // namespace
}  // namespace korvani::location
