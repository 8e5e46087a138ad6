// A colour as text.
#include <korvani/platform/screens/color.h>

#include <array>
#include <cstdio>

namespace korvani::platform {

std::string Color::hexText() const {
  std::array<char, 8> text;
  std::snprintf(text.data(), text.size(), "#%02x%02x%02x", unsigned{red}, unsigned{green},
                unsigned{blue});
  return text.data();
}

}  // namespace korvani::platform
