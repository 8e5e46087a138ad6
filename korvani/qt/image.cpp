// Decoding asks for the size first, so that a small file cannot claim a huge picture's memory.
#include <korvani/qt/image.h>

#include <QBuffer>
#include <QImageReader>

namespace korvani::qt {
namespace {

constexpr qint64 kMostPixels = 100'000'000;

bool tooLarge(const QSize& size) { return qint64{size.width()} * size.height() > kMostPixels; }

}  // namespace

std::shared_ptr<const platform::Image> ImageDecoder::imageWithData(std::string_view data,
                                                                   double scale) {
  QByteArray bytes =
      QByteArray::fromRawData(data.data(), static_cast<qsizetype>(data.size()));  // not copied
  QBuffer buffer(&bytes);
  QImageReader reader(&buffer);
  reader.setAutoTransform(true);
  if (const QSize size = reader.size(); size.isValid() && tooLarge(size)) return nullptr;

  const QImage image = reader.read();
  if (image.isNull() || tooLarge(image.size())) return nullptr;
  return std::make_shared<QtImage>(image.convertToFormat(QImage::Format_ARGB32_Premultiplied),
                                   scale);
}

}  // namespace korvani::qt
