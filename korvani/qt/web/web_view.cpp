// Finds the plug-in beside this library, and passes addresses to it and failures back.
#include <dlfcn.h>
#include <korvani/qt/web/web_view.h>

#include <QDir>
#include <QFileInfo>
#include <QOpenGLContext>
#include <QPluginLoader>

namespace korvani::qt {
namespace {

/// In the folder "korvani" beside the library that this code is in.
QString pluginFile() {
  static const char here = 0;
  Dl_info library;
  if (!dladdr(&here, &library)) return {};
  const QFileInfo file(QString::fromLocal8Bit(library.dli_fname));
  return QDir(file.absolutePath()).filePath("korvani/libkorvani-web.so");
}

/// The plug-in stays loaded: a web engine cannot be taken down. Null, with the reason, when no page
/// can be shown.
PageViews* pageViews(QString& error) {
  if (!QOpenGLContext::globalShareContext()) {  // the engine would crash
    error = "no web pages without Phone::prepareApplication()";
    return nullptr;
  }
  static QPluginLoader loader(pluginFile());
  auto* const views = qobject_cast<PageViews*>(loader.instance());
  if (!views) error = "no web pages without the plug-in: " + loader.errorString();
  return views;
}

}  // namespace

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
  if (!PageView::accepts(address)) {
    failure()("unsupported address: " + address.toDisplayString());
  } else if (makePage()) {
    page_->load(address);
  }
}

bool WebView::makePage() {
  if (page_) return true;
  QString error = "no window to show a page in";
  QWidget* const window = canvas_ ? canvas_->widget() : nullptr;
  PageViews* const views = window ? pageViews(error) : nullptr;
  if (!views) {
    failure()(error);
    return false;
  }
  page_ = views->newPageView(window, failure());
  hadPage_ = true;
  page_->hide();
  page_->resize(QSizeF(frame().width, frame().height).toSize());  // laid out before it is shown
  changed();
  return true;
}

std::function<void(const QString&)> WebView::failure() {
  return [&queue = mainQueue_, view = weak_from_this()](const QString& text) {
    queue.async([view, text = text.toStdString()] {
      if (const auto alive = view.lock()) alive->loadFailed(text);
    });
  };
}

}  // namespace korvani::qt
