// Passes addresses to the plug-in's page, or to the browser, and failures back.
#include <korvani/qt/log.h>
#include <korvani/qt/open_url.h>
#include <korvani/qt/web/web_plugin.h>
#include <korvani/qt/web/web_view.h>

#include <algorithm>

namespace korvani::qt {

WebView::~WebView() {
  // On whatever thread the model dies.
  if (page_) page_->deleteLater();
}

QWidget* WebView::heldWidget() {
  if (hadPage_ && !page_) load(url());  // it went with an earlier screen
  return page_;
}

void WebView::load(const std::optional<platform::URL>& url) {
  const QUrl address =
      url ? QUrl(QString::fromStdString(url->absoluteString())) : QUrl("about:blank");
  isInBrowser_ = false;
  if (!PageView::accepts(address)) return fail("unsupported address: " + address.toDisplayString());
  QWidget* const window = canvas_ ? canvas_->widget() : nullptr;
  if (!window) return fail("no window to show a page in");
  QString reason;
  if (makePage(*window, reason)) {
    page_->load(address);
  } else if (url) {
    openInBrowser(*url, reason);
  } else {
    fail(reason);
  }
}

bool WebView::makePage(QWidget& window, QString& reason) {
  if (page_) return true;
  PageViews* const views = pageViews(reason);
  if (!views) return false;
  page_ = views->newPageView(&window, failure());
  hadPage_ = true;
  page_->hide();
  page_->resize(QSizeF(frame().width, frame().height).toSize());  // laid out before it is shown
  changed();
  return true;
}

void WebView::openInBrowser(const platform::URL& url, const QString& reason) {
  isInBrowser_ = openOnDesktop(url.absoluteString());
  qCWarning(phoneLog, "a page %s the browser, because %s: %s",
            isInBrowser_ ? "was handed to" : "could not be handed to", qPrintable(reason),
            url.absoluteString().c_str());
  if (!isInBrowser_) fail(reason);
}

void WebView::fail(const QString& text) { failure()(text); }

std::function<void(const QString&)> WebView::failure() {
  return [&queue = mainQueue_, view = weak_from_this()](const QString& text) {
    queue.async([view, text = text.toStdString()] {
      if (const auto alive = view.lock()) alive->loadFailed(text);
    });
  };
}

bool isInBrowser(platform::ViewController& controller) {
  if (!controller.isViewLoaded()) return false;
  const auto& views = controller.view()->subviews();
  return std::any_of(views.begin(), views.end(), [](const auto& view) {
    const auto web = std::dynamic_pointer_cast<WebView>(view);
    return web && web->isInBrowser();
  });
}

}  // namespace korvani::qt
