// RFC 4648, section 4; no white space.
#include <korvani/ui/base64.h>

#include <array>
#include <cstdint>

namespace korvani::ui {
namespace {

constexpr std::uint8_t kNone = 0xFF;

constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNone);
  std::uint8_t next = 0;
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789+/")) {
    values[static_cast<std::uint8_t>(c)] = next++;
  }
  return values;
}();

}  // namespace

std::string base64Decoded(std::string_view text) {
  if (text.size() % 4 != 0) return {};
  for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) text.remove_suffix(1);
  std::string bytes;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::uint8_t value = kValues[static_cast<std::uint8_t>(c)];
    if (value == kNone) return {};
    bits = bits << 6 | value;
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes += static_cast<char>(bits >> count & 0xFF);
    }
  }
  return bytes;
}

}  // namespace korvani::ui
