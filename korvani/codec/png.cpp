// PNG through libpng's simplified interface, which expands every format to RGBA and reports what is
// wrong in its result instead of jumping out.
#include <korvani/codec/png.h>
#include <png.h>

#include <new>
#include <utility>

namespace korvani::codec {
namespace {

constexpr std::uint64_t kMaximumPixels = 100'000'000;

/// Pixels in RGBA, null when the image is damaged. Memory is taken as rows arrive: a short file
/// that claims to be a large picture costs little.
PngImage::Pixels readPixels(png_image& image) {
  image.format = PNG_FORMAT_RGBA;
  try {
    auto pixels = std::make_unique_for_overwrite<std::uint8_t[]>(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, pixels.get(), 0, nullptr) == 0) return nullptr;
    return pixels;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

PngImage::~PngImage() = default;

std::shared_ptr<const platform::Image> PngDecoder::imageWithData(std::string_view data,
                                                                 double scale) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, data.data(), data.size()) == 0) return nullptr;

  PngImage::Pixels pixels;
  if (std::uint64_t{image.width} * image.height <= kMaximumPixels) pixels = readPixels(image);
  const auto width = static_cast<int>(image.width);
  const auto height = static_cast<int>(image.height);
  png_image_free(&image);
  if (!pixels) return nullptr;
  return std::make_shared<PngImage>(width, height, scale, std::move(pixels));
}

}  // namespace korvani::codec
