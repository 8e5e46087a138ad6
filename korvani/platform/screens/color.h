// An opaque colour.
#pragma once

#include <cstdint>

namespace korvani::platform {

struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  static constexpr Color blackColor() { return {}; }
  friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace korvani::platform
