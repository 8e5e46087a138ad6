// The web view of the Linux phone: the model, and the page that the plug-in shows for it.
#pragma once

#include <korvani/platform/queues.h>
#include <korvani/platform/screens/view_controller.h>
#include <korvani/platform/screens/web_view.h>
#include <korvani/qt/canvas.h>
#include <korvani/qt/held_widget.h>
#include <korvani/qt/web/page_view.h>

#include <QPointer>
#include <functional>
#include <optional>

namespace korvani::qt {

/// Main thread. Only http, https and about:blank are shown: what else is asked for fails, as all
/// does when the window is gone. Where the plug-in cannot be had, the page goes to the browser.
/// Nothing of a page is kept on disk.
class WebView final : public platform::WebView, public HeldWidget {
 public:
  WebView(platform::Rect frame, Canvas* canvas, platform::Queue& mainQueue)
      : platform::WebView(frame), canvas_(canvas), mainQueue_(mainQueue) {}
  ~WebView() override;

  /// The page, hidden in the window until a mirror takes it; null before the first load.
  QWidget* heldWidget() override;
  /// Did the browser take what was last asked for?
  bool isInBrowser() const { return isInBrowser_; }

 protected:
  void load(const std::optional<platform::URL>& url) override;

 private:
  bool makePage(QWidget& window, QString& reason);
  void openInBrowser(const platform::URL& url, const QString& reason);
  void fail(const QString& text);
  /// Tells the delegate later, if there is still a view; a page may call it after its view has
  /// died.
  std::function<void(const QString&)> failure();

  const QPointer<Canvas> canvas_;
  platform::Queue& mainQueue_;
  QPointer<PageView> page_;
  bool hadPage_ = false;
  bool isInBrowser_ = false;
};

/// Main thread. A screen whose page the browser shows has nothing to show itself.
bool isInBrowser(platform::ViewController& controller);

}  // namespace korvani::qt
