// PNG: what is read becomes RGBA, and no bytes do harm. The kinds of PNG are the library's.
#include <gtest/gtest.h>
#include <korvani/codec/png.h>
#include <png.h>

#include <memory>
#include <string>
#include <vector>

namespace korvani::codec {
namespace {

/// Grey bytes with alpha, or without.
std::string pngOf(unsigned width, unsigned height, bool alpha,
                  const std::vector<std::uint8_t>& samples) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = height;
  image.format = alpha ? PNG_FORMAT_GA : PNG_FORMAT_GRAY;
  image.flags = PNG_IMAGE_FLAG_FAST;
  std::string bytes(PNG_IMAGE_PNG_SIZE_MAX(image), '\0');
  png_alloc_size_t size = bytes.size();
  png_image_write_to_memory(&image, bytes.data(), &size, 0, samples.data(), 0, nullptr);
  return bytes.substr(0, size);
}

std::shared_ptr<const PngImage> decode(const std::string& bytes) {
  return std::dynamic_pointer_cast<const PngImage>(PngDecoder().imageWithData(bytes, 2));
}

const std::string kSmall = pngOf(1, 3, true, {255, 255, 0, 128, 0, 0});

TEST(Png, BecomesRgba) {
  const auto image = decode(kSmall);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->size(), (platform::Size{0.5, 1.5}));
  const auto pixels = image->pixels();
  EXPECT_EQ(std::vector<int>(pixels.begin(), pixels.end()),
            (std::vector<int>{255, 255, 255, 255, 0, 0, 0, 128, 0, 0, 0, 0}));
}

TEST(Png, CutOrChangedBytesDoNoHarm) {
  // The last 12 bytes only say that the end is reached.
  for (std::size_t size = 0; size < kSmall.size() - 12; ++size) {
    EXPECT_FALSE(decode(kSmall.substr(0, size))) << size << " of " << kSmall.size() << " bytes";
  }
  for (std::size_t place = 0; place < kSmall.size(); ++place) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      std::string changed = kSmall;
      changed[place] = static_cast<char>(changed[place] ^ change);
      if (const auto image = decode(changed)) {
        EXPECT_EQ(image->pixels().size(), 12U);
      }
    }
  }
  EXPECT_FALSE(decode("GIF89a"));
}

TEST(Png, MoreThanAHundredMegapixelsAreRefused) {
  const std::string bytes =
      pngOf(10001, 10000, false, std::vector<std::uint8_t>(std::size_t{10001} * 10000));
  EXPECT_FALSE(decode(bytes));
}

}  // namespace
}  // namespace korvani::codec
