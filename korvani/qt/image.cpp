// Decoding asks for the size first, so that a small file cannot claim a huge picture's memory.
#include <korvani/qt/image.h>
#include <sys/mman.h>

#include <QBuffer>
#include <QImageReader>
#include <QPixelFormat>
#include <utility>

namespace korvani::qt {
namespace {

constexpr qint64 kMostPixels = 100'000'000;

bool tooLarge(const QSize& size, int frames = 1) {
  return qint64{size.width()} * size.height() * frames > kMostPixels;
}

/// What the reader fills, in pages that go back to the system with the picture: the allocator would
/// keep as much for each thread that has decoded one. Null where the reader is to make its own, or
/// to refuse.
QImage pagesFor(const QImageReader& reader) {
  const QSize size = reader.scaledSize().isValid() ? reader.scaledSize() : reader.size();
  const QImage::Format format = reader.imageFormat();
  if (format == QImage::Format_Invalid || size.isEmpty() || tooLarge(size)) return {};
  const qsizetype bits = qsizetype{size.width()} * QImage::toPixelFormat(format).bitsPerPixel();
  const qsizetype line = (bits + 31) / 32 * 4;
  const qsizetype count = line * size.height();
  const qsizetype most = qsizetype{QImageReader::allocationLimit()} << 20;
  if (most > 0 && count > most) return {};

  struct Pages {
    void* begin;
    std::size_t count;
  };
  auto pages = std::make_unique<Pages>();
  pages->count = static_cast<std::size_t>(count);
  pages->begin =
      ::mmap(nullptr, pages->count, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages->begin == MAP_FAILED) return {};
  const auto giveBack = [](void* kept) {
    const std::unique_ptr<Pages> given(static_cast<Pages*>(kept));
    ::munmap(given->begin, given->count);
  };
  auto* const begin = static_cast<uchar*>(pages->begin);
  return {begin, size.width(), size.height(), line, format, giveBack, pages.release()};
}

/// In a format that Qt draws as it is.
QImage drawable(QImage image) {
  if (image.format() == QImage::Format_RGB32) return image;
  return std::move(image).convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

}  // namespace

std::shared_ptr<const platform::Image> ImageDecoder::imageWithData(std::string_view data,
                                                                   double scale) {
  const ApplicationLife::Stay stay(life_);
  if (!stay) return nullptr;
  QByteArray bytes =
      QByteArray::fromRawData(data.data(), static_cast<qsizetype>(data.size()));  // not copied
  QBuffer buffer(&bytes);
  QImageReader reader(&buffer);
  reader.setAutoTransform(true);
  QSize size = reader.size();
  if (size.isValid() && tooLarge(size)) return nullptr;
  limitPixels(reader);

  QImage image = pagesFor(reader);
  if (!reader.read(&image) || tooLarge(image.size())) return nullptr;
  if (!size.isValid()) {
    size = image.size();
  } else if (reader.transformation() & QImageIOHandler::TransformationRotate90) {
    size.transpose();
  }
  std::shared_ptr<const Movie> movie;
  const bool moves = reader.supportsAnimation() && reader.imageCount() > 1;
  if (moves && !tooLarge(size, Movie::kFramesHeld)) {
    movie = std::make_shared<Movie>(Movie{QByteArray(data.data(), bytes.size()), life_, queues_});
  }
  return std::make_shared<QtImage>(drawable(std::move(image)), size, scale, std::move(movie));
}

}  // namespace korvani::qt
