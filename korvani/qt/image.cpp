// Decoding asks for the size first, so that a small file cannot claim a huge picture's memory.
#include <korvani/qt/image.h>

#include <QBuffer>
#include <QImageReader>

namespace korvani::qt {
namespace {

constexpr qint64 kMostPixels = 100'000'000;

bool tooLarge(const QSize& size, int frames = 1) {
  return qint64{size.width()} * size.height() * frames > kMostPixels;
}

}  // namespace

std::shared_ptr<const platform::Image> ImageDecoder::imageWithData(std::string_view data,
                                                                   double scale) {
  QByteArray bytes =
      QByteArray::fromRawData(data.data(), static_cast<qsizetype>(data.size()));  // not copied
  QBuffer buffer(&bytes);
  QImageReader reader(&buffer);
  reader.setAutoTransform(true);
  QSize size = reader.size();
  if (size.isValid() && tooLarge(size)) return nullptr;
  limitPixels(reader);

  const QImage image = reader.read();
  if (image.isNull() || tooLarge(image.size())) return nullptr;
  if (!size.isValid()) {
    size = image.size();
  } else if (reader.transformation() & QImageIOHandler::TransformationRotate90) {
    size.transpose();
  }
  std::shared_ptr<const Movie> movie;
  const bool moves = reader.supportsAnimation() && reader.imageCount() > 1;
  if (moves && !tooLarge(size, Movie::kFramesHeld)) {
    movie = std::make_shared<Movie>(Movie{QByteArray(data.data(), bytes.size()), queues_});
  }
  return std::make_shared<QtImage>(image.convertToFormat(QImage::Format_ARGB32_Premultiplied), size,
                                   scale, std::move(movie));
}

}  // namespace korvani::qt
