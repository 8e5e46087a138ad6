// Banners of the Linux phone: the last resort where no notification service runs.
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace korvani::qt {

class BannerCard;
class Canvas;
class Motion;

struct Banner {
  /// Plain.
  std::string text;
  /// Called once when the user presses the banner, and not at all when it leaves otherwise.
  std::function<void()> opened;
};

/// Hands over what is shown at once; nothing when none waits.
using NextBanner = std::function<std::optional<Banner>()>;

/// Cards that slide from the top over the host's window, one at a time. Main thread.
class Banners {
 public:
  /// A banner that nobody opens or closes leaves after `stay`, but not under the pointer.
  Banners(Canvas& canvas, const Motion& motion,
          std::chrono::milliseconds stay = std::chrono::seconds(6));
  ~Banners();

  /// Asks for one when there is room for it, until none waits. While the window is not seen nothing
  /// is asked for; another call goes on then.
  void show(NextBanner next);

 private:
  void showNext();

  Canvas& canvas_;
  const Motion& motion_;
  const std::chrono::milliseconds stay_;
  NextBanner next_;
  QPointer<BannerCard> shown_;
  QObject context_;
};

}  // namespace korvani::qt
