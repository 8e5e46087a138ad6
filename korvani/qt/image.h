// Images of the Linux phone: decoded by Qt, held as Qt draws them.
#pragma once

#include <korvani/platform/screens/image.h>

#include <QImage>
#include <memory>
#include <string_view>

namespace korvani::qt {

/// Pixels ready to be drawn, upright and as sharp as they came.
class QtImage final : public platform::Image {
 public:
  QtImage(const QImage& pixels, double scale)
      : Image(pixels.width(), pixels.height(), scale), pixels_(pixels) {}

  const QImage& pixels() const { return pixels_; }

 private:
  const QImage pixels_;
};

/// Decodes each format that Qt has a reader for, turned upright as its EXIF says. Null for more
/// than 100 megapixels, or more memory than Qt allows for one image. Any thread.
class ImageDecoder final : public platform::ImageDecoder {
 public:
  std::shared_ptr<const platform::Image> imageWithData(std::string_view data,
                                                       double scale) override;
};

}  // namespace korvani::qt
