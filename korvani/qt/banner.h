// Banners of the Linux phone: the last resort where no notification service runs.
#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>
#include <chrono>
#include <deque>
#include <functional>

namespace korvani::qt {

class BannerCard;
class Canvas;
class Motion;

/// Cards that slide from the top over the host's window, one at a time. Main thread. Without a
/// window none is shown.
class Banners {
 public:
  /// A banner that nobody opens or closes leaves after `stay`, but not under the pointer.
  Banners(Canvas& canvas, const Motion& motion,
          std::chrono::milliseconds stay = std::chrono::seconds(6));
  ~Banners();

  /// Plain text. `opened` is called once when the user presses the banner, and not at all when it
  /// leaves otherwise.
  void show(const QString& text, std::function<void()> opened);

 private:
  struct Banner {
    QString text;
    std::function<void()> opened;
  };
  void showNext();

  Canvas& canvas_;
  const Motion& motion_;
  const std::chrono::milliseconds stay_;
  std::deque<Banner> waiting_;
  QPointer<BannerCard> shown_;
  QObject context_;
};

}  // namespace korvani::qt
