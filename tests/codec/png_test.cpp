// PNG: every kind becomes the same RGBA, and no bytes do harm.
#include <gtest/gtest.h>
#include <korvani/codec/png.h>
#include <png.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace korvani::codec {
namespace {

constexpr int kWidth = 9;
constexpr int kHeight = 5;

struct Kind {
  int colorType;
  int bitDepth;
  bool interlaced;
  int width = kWidth;
  int height = kHeight;
};

const Kind kKinds[] = {
    {PNG_COLOR_TYPE_GRAY, 1, false},       {PNG_COLOR_TYPE_GRAY, 8, true},
    {PNG_COLOR_TYPE_GRAY, 16, false},      {PNG_COLOR_TYPE_GRAY_ALPHA, 8, false},
    {PNG_COLOR_TYPE_GRAY_ALPHA, 16, true}, {PNG_COLOR_TYPE_PALETTE, 2, false},
    {PNG_COLOR_TYPE_PALETTE, 8, true},     {PNG_COLOR_TYPE_RGB, 8, false},
    {PNG_COLOR_TYPE_RGB, 16, true},        {PNG_COLOR_TYPE_RGB_ALPHA, 8, true},
    {PNG_COLOR_TYPE_RGB_ALPHA, 16, false},
};

/// A picture that is white and, from the middle column on, black; where the kind can say so, the
/// black is half transparent.
std::string makePng(const Kind& kind) {
  std::string bytes;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &bytes,
      [](png_structp self, png_bytep data, std::size_t size) {
        static_cast<std::string*>(png_get_io_ptr(self))
            ->append(reinterpret_cast<const char*>(data), size);
      },
      nullptr);
  png_set_IHDR(png, info, static_cast<png_uint_32>(kind.width),
               static_cast<png_uint_32>(kind.height), kind.bitDepth, kind.colorType,
               kind.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const bool palette = kind.colorType == PNG_COLOR_TYPE_PALETTE;
  if (palette) {
    const png_color colors[] = {{0, 0, 0}, {255, 255, 255}};
    const png_byte alphas[] = {128};
    png_set_PLTE(png, info, colors, 2);
    png_set_tRNS(png, info, alphas, 1, nullptr);
  }
  png_write_info(png, info);
  png_set_packing(png);

  const std::size_t sampleBytes = kind.bitDepth == 16 ? 2 : 1;
  const bool alpha = (kind.colorType & PNG_COLOR_MASK_ALPHA) != 0;
  const std::size_t channels = png_get_channels(png, info);
  const png_byte white = kind.bitDepth < 8 || palette ? 1 : 255;
  std::vector<png_byte> row;
  for (int x = 0; x < kind.width; ++x) {
    for (std::size_t channel = 0; channel < channels; ++channel) {
      const bool isAlpha = alpha && channel + 1 == channels;
      const png_byte black = isAlpha ? 128 : 0;
      row.insert(row.end(), sampleBytes, x < kind.width / 2 ? white : black);
    }
  }
  std::vector<png_bytep> rows(static_cast<std::size_t>(kind.height), row.data());
  png_write_image(png, rows.data());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return bytes;
}

std::shared_ptr<const PngImage> decode(const std::string& bytes, double scale = 1) {
  return std::dynamic_pointer_cast<const PngImage>(PngDecoder().imageWithData(bytes, scale));
}

TEST(Png, EveryKindBecomesTheSameRgba) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(testing::Message() << kind.colorType << " with " << kind.bitDepth << " bits"
                                    << (kind.interlaced ? ", interlaced" : ""));
    const auto image = decode(makePng(kind), 3);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->pixelWidth(), kWidth);
    EXPECT_EQ(image->pixelHeight(), kHeight);
    EXPECT_EQ(image->size(), (platform::Size{kWidth / 3.0, kHeight / 3.0}));

    const bool opaque =
        kind.colorType == PNG_COLOR_TYPE_GRAY || kind.colorType == PNG_COLOR_TYPE_RGB;
    const std::uint8_t blackAlpha = opaque ? 255 : 128;
    const auto pixels = image->pixels();
    ASSERT_EQ(pixels.size(), std::size_t{kWidth * kHeight * 4});
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
      const bool white = i / 4 % kWidth < kWidth / 2;
      const std::vector<int> pixel(pixels.begin() + static_cast<std::ptrdiff_t>(i),
                                   pixels.begin() + static_cast<std::ptrdiff_t>(i) + 4);
      const std::vector<int> expected =
          white ? std::vector<int>{255, 255, 255, 255} : std::vector<int>{0, 0, 0, blackAlpha};
      EXPECT_EQ(pixel, expected) << "pixel " << i / 4;
    }
  }
}

TEST(Png, CutOrChangedBytesDoNoHarm) {
  for (const Kind& kind : kKinds) {
    const std::string whole = makePng(kind);
    // The last 12 bytes only say that the end is reached.
    for (std::size_t size = 0; size < whole.size() - 12; ++size) {
      EXPECT_FALSE(decode(whole.substr(0, size))) << size << " of " << whole.size() << " bytes";
    }
    for (std::size_t place = 0; place < whole.size(); ++place) {
      for (const int change : {0x01, 0x80, 0xFF}) {
        std::string changed = whole;
        changed[place] = static_cast<char>(changed[place] ^ change);
        if (const auto image = decode(changed)) {
          EXPECT_EQ(image->pixels().size(), std::size_t{kWidth * kHeight * 4});
        }
      }
    }
  }
  for (const std::string& bytes : {std::string(), std::string("GIF89a"), std::string(64, '\0')}) {
    EXPECT_FALSE(decode(bytes));
  }
}

TEST(Png, MoreThanAHundredMegapixelsAreRefused) {
  const std::string bytes = makePng({PNG_COLOR_TYPE_GRAY, 1, false, 10001, 10000});
  EXPECT_LT(bytes.size(), 100'000U);
  EXPECT_FALSE(decode(bytes));
}

}  // namespace
}  // namespace korvani::codec
