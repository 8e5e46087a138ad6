// Images that move: their frames are decoded one by one, each while the one before is shown.
#pragma once

#include <korvani/platform/queues.h>
#include <korvani/qt/application_life.h>

#include <QByteArray>
#include <QElapsedTimer>
#include <QImage>
#include <QTimer>
#include <functional>
#include <memory>

class QImageReader;

namespace korvani::qt {

/// Has an image that is larger than any screen read with fewer pixels.
void limitPixels(QImageReader& reader);

/// What an image that moves consists of. Immutable, any thread.
struct Movie {
  /// In memory at a time: the one that is shown, the next, and the reader's own.
  static constexpr int kFramesHeld = 3;

  QByteArray bytes;
  ApplicationLife& life;
  platform::Queues& queues;
};

/// Main thread, but for the decoding. Starts halted, at the first frame.
class MoviePlayer : public std::enable_shared_from_this<MoviePlayer> {
 public:
  MoviePlayer(std::shared_ptr<const Movie> movie, std::function<void(const QImage&)> show);

  void setRunning(bool running);

 private:
  struct Frame {
    QImage pixels;
    int milliseconds = 0;
  };
  class Frames;
  void decodeNext();
  void decoded(Frame frame);
  void showNext();

  const std::shared_ptr<const Movie> movie_;
  const std::function<void(const QImage&)> show_;
  /// Of one job at a time.
  const std::shared_ptr<Frames> frames_;
  bool running_ = false;
  bool decoding_ = false;
  Frame next_;
  /// How long the shown frame stays, since when.
  int stays_ = 0;
  QElapsedTimer shown_;
  QTimer due_;
};

}  // namespace korvani::qt
