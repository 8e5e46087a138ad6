// An opaque colour.
#pragma once

#include <korvani/platform/export.h>

#include <cstdint>
#include <string>

namespace korvani::platform {

struct Color {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  static constexpr Color blackColor() { return {}; }
  /// "#rrggbb".
  KORVANI_EXPORT std::string hexText() const;
  friend bool operator==(const Color&, const Color&) = default;
};

}  // namespace korvani::platform
