// The web plug-in: pages in Qt WebEngine, each in a profile of its own that keeps nothing on disk.
#include <korvani/qt/web/page_view.h>

#include <QVBoxLayout>
#include <QWebEngineLoadingInfo>
#include <QWebEngineNewWindowRequest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>
#include <utility>

namespace korvani::qt {
namespace {

bool staysInFrame(const QUrl& url) {
  const QString scheme = url.scheme();
  return scheme == u"http" || scheme == u"https" || scheme == u"about" || scheme == u"data" ||
         scheme == u"blob";
}

/// A page that never leaves the web, nor its view.
class Page final : public QWebEnginePage {
 public:
  Page(QWebEngineProfile* profile, std::function<void(const QString&)> loadFailed)
      : QWebEnginePage(profile), loadFailed_(std::move(loadFailed)) {
    connect(this, &QWebEnginePage::loadingChanged, this, &Page::follow);
    connect(this, &QWebEnginePage::newWindowRequested, this,
            [this](const QWebEngineNewWindowRequest& request) {
              const QUrl url = request.requestedUrl();
              if (request.isUserInitiated() && accepted(url)) load(url);
            });
  }

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType, bool isMainFrame) override {
    // An address that only another program knows would be opened by that, from a frame too.
    return isMainFrame ? accepted(url) : staysInFrame(url);
  }

 private:
  bool accepted(const QUrl& url) {
    if (PageView::accepts(url)) return true;
    loadFailed_("unsupported address: " + url.toDisplayString());
    return false;
  }

  void follow(const QWebEngineLoadingInfo& info) {
    if (info.status() != QWebEngineLoadingInfo::LoadFailedStatus) return;
    // An answer with an error status is a page all the same.
    if (info.errorDomain() == QWebEngineLoadingInfo::HttpStatusCodeDomain) return;
    loadFailed_(info.errorString().isEmpty() ? QString("error %1").arg(info.errorCode())
                                             : info.errorString());
  }

  const std::function<void(const QString&)> loadFailed_;
};

class EngineView final : public PageView {
 public:
  EngineView(QWidget* parent, std::function<void(const QString&)> loadFailed)
      : PageView(parent), page_(&profile_, std::move(loadFailed)) {
    view_.setPage(&page_);
    view_.setContextMenuPolicy(Qt::NoContextMenu);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(&view_);
  }

  void load(const QUrl& url) override { page_.load(url); }

 private:
  // The view goes before the page, and the page before its profile.
  QWebEngineProfile profile_;
  Page page_;
  QWebEngineView view_;
};

}  // namespace

class WebEnginePlugin final : public QObject, public PageViews {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID KORVANI_PAGE_VIEWS)
  Q_INTERFACES(korvani::qt::PageViews)

 public:
  PageView* newPageView(QWidget* parent, std::function<void(const QString&)> loadFailed) override {
    return new EngineView(parent, std::move(loadFailed));
  }
};

}  // namespace korvani::qt

#include "web_engine.moc"
