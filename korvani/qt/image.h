// Images of the Linux phone: decoded by Qt, held as Qt draws them.
#pragma once

#include <korvani/platform/queues.h>
#include <korvani/platform/screens/image.h>
#include <korvani/qt/application_life.h>
#include <korvani/qt/movie.h>

#include <QImage>
#include <memory>
#include <string_view>
#include <utility>

namespace korvani::qt {

/// Pixels ready to be drawn, upright; those of an image that is larger than any screen may be fewer
/// than it says. Of an image that moves they are the first frame.
class QtImage final : public platform::Image {
 public:
  QtImage(const QImage& pixels, double scale) : QtImage(pixels, pixels.size(), scale) {}
  QtImage(QImage pixels, const QSize& size, double scale, std::shared_ptr<const Movie> movie = {})
      : Image(size.width(), size.height(), scale),
        pixels_(std::move(pixels)),
        movie_(std::move(movie)) {}

  const QImage& pixels() const { return pixels_; }
  /// Null for an image that stands still.
  const std::shared_ptr<const Movie>& movie() const { return movie_; }

 private:
  const QImage pixels_;
  const std::shared_ptr<const Movie> movie_;
};

/// Decodes each format that Qt has a reader for, turned upright as its EXIF says. Null for more
/// than 100 megapixels, or more memory than Qt allows for one image. One that moves, but whose
/// frames would take more than that while it plays, stands still. Any thread; null after the end of
/// the application, when Qt's readers have gone.
class ImageDecoder final : public platform::ImageDecoder {
 public:
  /// The queues play what moves; they outlive each image.
  ImageDecoder(ApplicationLife& life, platform::Queues& queues) : life_(life), queues_(queues) {}
  std::shared_ptr<const platform::Image> imageWithData(std::string_view data,
                                                       double scale) override;

 private:
  ApplicationLife& life_;
  platform::Queues& queues_;
};

}  // namespace korvani::qt
