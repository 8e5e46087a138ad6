// Any bytes as an advertisement: what the parser finds must stand there, and survive being sent
// again.
#include <korvani/location/advertisement.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <vector>

namespace {

using korvani::location::IBeacon;
using Bytes = std::span<const std::uint8_t>;
/// Company, kind, length, UUID, major, minor, power.
using Content = std::array<std::uint8_t, 25>;

void require(bool isSo) {
  if (!isSo) std::abort();
}

Content contentOf(const IBeacon& beacon) {
  Content content{0x4C, 0x00, 0x02, 0x15};
  const auto& uuid = beacon.proximityUUID.bytes();
  std::copy(uuid.begin(), uuid.end(), content.begin() + 4);
  content[20] = static_cast<std::uint8_t>(beacon.major >> 8);
  content[21] = static_cast<std::uint8_t>(beacon.major & 0xFF);
  content[22] = static_cast<std::uint8_t>(beacon.minor >> 8);
  content[23] = static_cast<std::uint8_t>(beacon.minor & 0xFF);
  content[24] = static_cast<std::uint8_t>(beacon.measuredPower);
  return content;
}

/// What the first structure that looks like an iBeacon holds, found without the parser.
std::optional<Content> firstContent(Bytes data) {
  std::size_t at = 0;
  while (at < data.size() && data[at] != 0 && at + data[at] < data.size()) {
    const Bytes structure = data.subspan(at + 1, data[at]);
    static constexpr std::uint8_t kBeginning[] = {0xFF, 0x4C, 0x00, 0x02, 0x15};
    if (structure.size() > Content().size() &&
        std::equal(std::begin(kBeginning), std::end(kBeginning), structure.begin())) {
      Content content;
      std::copy_n(structure.begin() + 1, content.size(), content.begin());
      return content;
    }
    at += 1 + structure.size();
  }
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  // In memory of its own size, so that a sanitizer sees a read past the end.
  const std::vector<std::uint8_t> copy(bytes, bytes + size);
  const auto beacon = korvani::location::iBeaconIn(copy);
  const auto expected = firstContent(copy);
  require(beacon.has_value() == expected.has_value());
  if (beacon) {
    const Content content = contentOf(*beacon);
    require(content == *expected);
    std::vector<std::uint8_t> again{2, 0x01, 0x06, 1 + Content().size(), 0xFF};
    again.insert(again.end(), content.begin(), content.end());
    require(korvani::location::iBeaconIn(again) == beacon);
    require(korvani::location::iBeaconInCompanyPayload(Bytes(content).subspan(2)) == beacon);
  }

  // As BlueZ gives it, the company's payload is the whole input.
  const auto inPayload = korvani::location::iBeaconInCompanyPayload(copy);
  const std::size_t length = Content().size() - 2;
  require(inPayload.has_value() == (size >= length && copy[0] == 0x02 && copy[1] == 0x15));
  if (inPayload) {
    require(std::ranges::equal(Bytes(contentOf(*inPayload)).subspan(2), Bytes(copy).first(length)));
  }
  return 0;
}
