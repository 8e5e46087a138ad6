// The screen half of the Linux phone: what the kit presents is shown over the host's window.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/platform/queues.h>
#include <korvani/platform/screens/view_controller.h>
#include <korvani/platform/screens/web_view.h>
#include <korvani/qt/banner.h>
#include <korvani/qt/host_window.h>

#include <functional>
#include <memory>

class QWidget;

namespace korvani::qt {

/// Made and destroyed on the main thread; called from any thread but for what says otherwise. The
/// window may go at any time: then nothing shows, and completions run all the same. Status bar
/// styles mean nothing on a desktop.
class Screens final : public platform::Stage, public platform::WebViews {
 public:
  /// `mainQueue` outlives this; jobs that it still holds then do nothing.
  Screens(const HostWindow& hostWindow, platform::Queue& mainQueue);
  ~Screens() override;

  /// The controller of the host's window, on which the kit presents.
  const std::shared_ptr<platform::ViewController>& rootViewController() const { return root_; }
  /// The window's content. Main thread.
  platform::Rect mainScreenBounds() const;

  void present(std::shared_ptr<platform::ViewController> presented, bool animated,
               platform::Completion completion) override;
  void dismiss(std::shared_ptr<platform::ViewController> presented, bool animated,
               platform::Completion completion) override;
  void push(std::shared_ptr<platform::NavigationController> navigation,
            std::shared_ptr<platform::ViewController> pushed, bool animated) override;

  /// Brings the host's window before the user. Main thread.
  void raiseWindow();

  /// Presents the host's own widget over its window. Main thread.
  std::shared_ptr<platform::ViewController> presentWidget(std::unique_ptr<QWidget> widget);

  /// Main thread.
  std::shared_ptr<platform::WebView> newWebView(platform::Rect frame) override;

  /// Until its button is pressed; several are shown in turn.
  void showAlert(const platform::Alert& alert);
  /// As Banners::show; `next` is called on the main thread.
  void showBanners(NextBanner next);

 private:
  struct Parts;
  void onMain(std::function<void(Parts&)> work);

  platform::Queue& mainQueue_;
  const std::shared_ptr<Parts> parts_;
  const std::shared_ptr<platform::ViewController> root_;
};

}  // namespace korvani::qt
