// The web plug-in: pages in Qt WebEngine, each in a profile of its own that keeps nothing on disk.
#include <korvani/qt/web/page_view.h>

#include <QAuthenticator>
#include <QChildEvent>
#include <QDialog>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEngineCertificateError>
#include <QWebEngineClientCertificateSelection>
#include <QWebEngineDownloadRequest>
#include <QWebEngineFileSystemAccessRequest>
#include <QWebEngineFullScreenRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEngineNewWindowRequest>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineQuotaRequest>
#include <QWebEngineRegisterProtocolHandlerRequest>
#include <QWebEngineSettings>
#include <QWebEngineView>
#include <utility>

namespace korvani::qt {
namespace {

bool staysInFrame(const QUrl& url) {
  const QString scheme = url.scheme();
  return scheme == u"http" || scheme == u"https" || scheme == u"about" || scheme == u"data" ||
         scheme == u"blob";
}

/// Nothing reaches the disk, the clipboard or other programs, however a page asks.
void setUp(QWebEngineProfile& profile) {
  QWebEngineSettings& settings = *profile.settings();
  settings.setUnknownUrlSchemePolicy(QWebEngineSettings::DisallowUnknownUrlSchemes);
  using Attribute = QWebEngineSettings::WebAttribute;
  for (const Attribute refused :
       {Attribute::JavascriptCanAccessClipboard, Attribute::JavascriptCanPaste,
        Attribute::AllowWindowActivationFromJavaScript, Attribute::FullScreenSupportEnabled,
        Attribute::ScreenCaptureEnabled, Attribute::PluginsEnabled,
        Attribute::LocalContentCanAccessFileUrls}) {
    settings.setAttribute(refused, false);
  }
  settings.setAttribute(Attribute::WebRTCPublicInterfacesOnly, true);
  QObject::connect(&profile, &QWebEngineProfile::downloadRequested, &profile,
                   [](QWebEngineDownloadRequest* download) { download->cancel(); });
}

/// A page that never leaves the web, nor its view. It is a stranger: what it asks of the user, it
/// is told no.
class Page final : public QWebEnginePage {
 public:
  Page(QWebEngineProfile* profile, QObject* parent, std::function<void(const QString&)> loadFailed)
      : QWebEnginePage(profile, parent), loadFailed_(std::move(loadFailed)) {
    connect(this, &QWebEnginePage::loadingChanged, this, &Page::follow);
    connect(this, &QWebEnginePage::renderProcessTerminated, this, &Page::showNothing);
    connect(this, &QWebEnginePage::newWindowRequested, this,
            [this](QWebEngineNewWindowRequest& request) {
              // A script that fills the window in later asks for about:blank#blocked.
              const QUrl url = request.requestedUrl().adjusted(QUrl::RemoveFragment);
              if (request.isUserInitiated() && accepted(url)) request.openIn(this);
            });
    refuseRequests();
  }

 protected:
  bool acceptNavigationRequest(const QUrl& url, NavigationType, bool isMainFrame) override {
    // An address that only another program knows would be opened by that, from a frame too.
    return isMainFrame ? accepted(url) : staysInFrame(url);
  }

  // Dialogs, which a page could open without end, and the console, which is no log of the host's.
  void javaScriptAlert(const QUrl&, const QString&) override {}
  bool javaScriptConfirm(const QUrl&, const QString&) override { return false; }
  bool javaScriptPrompt(const QUrl&, const QString&, const QString&, QString*) override {
    return false;
  }
  QStringList chooseFiles(FileSelectionMode, const QStringList&, const QStringList&) override {
    return {};
  }
  void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString&, int,
                                const QString&) override {}

 private:
  void refuseRequests() {
    connect(this, &QWebEnginePage::featurePermissionRequested, this,
            [this](const QUrl& origin, Feature feature) {
              setFeaturePermission(origin, feature, PermissionDeniedByUser);
            });
    connect(this, &QWebEnginePage::certificateError, this,
            [](QWebEngineCertificateError error) { error.rejectCertificate(); });
    connect(this, &QWebEnginePage::selectClientCertificate, this,
            [](QWebEngineClientCertificateSelection selection) { selection.selectNone(); });
    // Without credentials the answer is shown that asks for them.
    const auto giveNone = [](const QUrl&, QAuthenticator* credentials) { *credentials = {}; };
    connect(this, &QWebEnginePage::authenticationRequired, this, giveNone);
    connect(this, &QWebEnginePage::proxyAuthenticationRequired, this, giveNone);
    refuse(&QWebEnginePage::fullScreenRequested);
    refuse(&QWebEnginePage::quotaRequested);
    refuse(&QWebEnginePage::registerProtocolHandlerRequested);
    refuse(&QWebEnginePage::fileSystemAccessRequested);
  }

  template <typename Request>
  void refuse(void (QWebEnginePage::*asked)(Request)) {
    connect(this, asked, this, [](Request request) { request.reject(); });
  }

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

  void showNothing(RenderProcessTerminationStatus status, int code) {
    if (status == NormalTerminationStatus) return;
    loadFailed_(QString("the page's process ended with %1").arg(code));
    // Not from inside the engine's own handling of that end.
    QTimer::singleShot(0, this, [this] { load(QUrl("about:blank")); });
  }

  const std::function<void(const QString&)> loadFailed_;
};

class EngineView final : public PageView {
 public:
  EngineView(QWidget* parent, std::function<void(const QString&)> loadFailed)
      : PageView(parent), page_(&profile_, this, std::move(loadFailed)) {
    setUp(profile_);
    view_.setPage(&page_);
    view_.setContextMenuPolicy(Qt::NoContextMenu);
    view_.installEventFilter(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(&view_);
  }

  void load(const QUrl& url) override {
    const bool wasActive = isActiveWindow();
    page_.load(url);
    // The first page has Qt make the native window anew, which is without the keyboard then.
    if (wasActive && !isActiveWindow()) window()->activateWindow();
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    // The engine's own dialogs, such as one for colours, would lock the window.
    if (event->type() == QEvent::ChildPolished) {
      auto* dialog = qobject_cast<QDialog*>(static_cast<QChildEvent*>(event)->child());
      if (dialog) refuse(*dialog);
    }
    return PageView::eventFilter(watched, event);
  }

 private:
  /// It is about to be shown, and can be told no only then: it is to be neither seen nor modal.
  static void refuse(QDialog& dialog) {
    dialog.setAttribute(Qt::WA_DontShowOnScreen);
    dialog.setWindowModality(Qt::NonModal);
    QTimer::singleShot(0, &dialog, &QDialog::reject);
  }

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
