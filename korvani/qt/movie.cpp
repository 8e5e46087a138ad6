// A job on the global queue reads a frame and sends it to the main queue; then the next is read.
#include <korvani/qt/movie.h>

#include <QBuffer>
#include <QImageReader>
#include <algorithm>
#include <optional>
#include <utility>

namespace korvani::qt {

namespace {

constexpr int kLongestSide = 4096;

/// A frame that says nothing of its time, or next to nothing, stays that long: as in browsers.
constexpr int kUsualMilliseconds = 100;
constexpr int kLeastMilliseconds = 20;

}  // namespace

void limitPixels(QImageReader& reader) {
  const QSize most(kLongestSide, kLongestSide);
  const QSize size = reader.size();
  if (size.boundedTo(most) == size) return;
  reader.setScaledSize(size.scaled(most, Qt::KeepAspectRatio).expandedTo({1, 1}));
}

/// The frames in their order, as often as the file says.
class MoviePlayer::Frames {
 public:
  explicit Frames(const QByteArray& bytes) : bytes_(bytes) {
    rewind();
    const int loops = reader_->loopCount();
    if (loops >= 0) loopsLeft_ = loops;
  }

  /// Null at the end.
  Frame next() {
    QImage pixels = reader_->read();
    if (pixels.isNull() && loopsLeft_.value_or(1) > 0) {
      if (loopsLeft_) --*loopsLeft_;
      rewind();
      pixels = reader_->read();
    }
    if (pixels.isNull()) return {};
    const int delay = reader_->nextImageDelay();
    return {std::move(pixels).convertToFormat(QImage::Format_ARGB32_Premultiplied),
            delay < kLeastMilliseconds ? kUsualMilliseconds : delay};
  }

 private:
  void rewind() {
    reader_.reset();
    buffer_.emplace();
    buffer_->setData(bytes_);
    reader_.emplace(&*buffer_);
    limitPixels(*reader_);
  }

  const QByteArray bytes_;
  std::optional<QBuffer> buffer_;
  std::optional<QImageReader> reader_;
  /// None: for ever.
  std::optional<int> loopsLeft_;
};

MoviePlayer::MoviePlayer(std::shared_ptr<const Movie> movie,
                         std::function<void(const QImage&)> show)
    : movie_(std::move(movie)),
      show_(std::move(show)),
      frames_(std::make_shared<Frames>(movie_->bytes)) {
  due_.setSingleShot(true);
  QObject::connect(&due_, &QTimer::timeout, &due_, [this] { showNext(); });
}

void MoviePlayer::setRunning(bool running) {
  if (running == std::exchange(running_, running)) return;
  if (!running) {
    due_.stop();
  } else if (!next_.pixels.isNull()) {
    showNext();
  } else if (!decoding_) {
    decodeNext();
  }
}

void MoviePlayer::decodeNext() {
  decoding_ = true;
  platform::Queues& queues = movie_->queues;
  queues.globalQueue(platform::QueuePriority::kDefault)
      .async([frames = frames_, &life = movie_->life, &main = queues.mainQueue(),
              player = weak_from_this()] {
        const ApplicationLife::Stay stay(life);
        if (!stay) return;
        main.async([frame = frames->next(), player]() mutable {
          if (const auto alive = player.lock()) alive->decoded(std::move(frame));
        });
      });
}

void MoviePlayer::decoded(Frame frame) {
  decoding_ = false;
  if (frame.pixels.isNull()) return;  // it rests at the last one
  next_ = std::move(frame);
  if (!running_) return;
  const qint64 left = shown_.isValid() ? stays_ - shown_.elapsed() : 0;
  due_.start(static_cast<int>(std::max<qint64>(left, 0)));
}

void MoviePlayer::showNext() {
  const Frame frame = std::exchange(next_, {});
  stays_ = frame.milliseconds;
  shown_.start();
  show_(frame.pixels);
  decodeNext();
}

}  // namespace korvani::qt
