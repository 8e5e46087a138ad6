// Places and sizes on a screen, in points.
#pragma once

namespace korvani::platform {

struct Point {
  double x = 0;
  double y = 0;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  bool contains(Point point) const {
    return point.x >= x && point.x < x + width && point.y >= y && point.y < y + height;
  }
  friend bool operator==(const Rect&, const Rect&) = default;
};

}  // namespace korvani::platform
