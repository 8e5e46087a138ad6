// Decoding of PNG images, for phones that bring no image library of their own.
#pragma once

#include <korvani/platform/screens/image.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace korvani::codec {

/// A decoded picture: 8 bits each of red, green, blue and alpha (not multiplied in), row by row
/// from the top, without gaps.
class PngImage : public platform::Image {
 public:
  using Pixels = std::unique_ptr<const std::uint8_t[]>;

  PngImage(int width, int height, double scale, Pixels pixels)
      : Image(width, height, scale), pixels_(std::move(pixels)) {}
  ~PngImage() override;

  std::span<const std::uint8_t> pixels() const {
    return {pixels_.get(),
            4 * static_cast<std::size_t>(pixelWidth()) * static_cast<std::size_t>(pixelHeight())};
  }

 private:
  const Pixels pixels_;
};

/// Takes every kind of PNG, up to 100 megapixels; a damaged or cut one is no image.
class PngDecoder : public platform::ImageDecoder {
 public:
  std::shared_ptr<const platform::Image> imageWithData(std::string_view data,
                                                       double scale) override;
};

}  // namespace korvani::codec
