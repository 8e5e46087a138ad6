// A decoded image, and the port that decodes one.
#pragma once

#include <korvani/platform/export.h>
#include <korvani/platform/screens/geometry.h>

#include <memory>
#include <string_view>

namespace korvani::platform {

/// Immutable, shared, any thread. A phone derives its own class to hold the pixels.
class KORVANI_EXPORT Image {
 public:
  Image(int pixelWidth, int pixelHeight, double scale)
      : pixelWidth_(pixelWidth), pixelHeight_(pixelHeight), scale_(scale) {}
  virtual ~Image();

  int pixelWidth() const { return pixelWidth_; }
  int pixelHeight() const { return pixelHeight_; }
  /// Pixels a point.
  double scale() const { return scale_; }
  /// In points.
  Size size() const { return {pixelWidth_ / scale_, pixelHeight_ / scale_}; }

 private:
  const int pixelWidth_;
  const int pixelHeight_;
  const double scale_;
};

/// Any thread.
class ImageDecoder {
 public:
  virtual ~ImageDecoder() = default;
  /// Null when the bytes are no image that the phone can decode. `scale` is above 0.
  virtual std::shared_ptr<const Image> imageWithData(std::string_view data, double scale) = 0;
};

}  // namespace korvani::platform
