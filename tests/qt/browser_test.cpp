// Where web pages and URIs go that this phone does not show itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/open_url.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/screens.h>

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QUrl>
#include <QWidget>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "log_lines.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::NavigationController;
using platform::ViewController;
using testing::ElementsAre;
using testing::HasSubstr;

/// Stands for the applications of the desktop that take these schemes; Qt drops it when it goes.
class Taker final : public QObject {
  Q_OBJECT
 public:
  explicit Taker(const QStringList& schemes) {
    for (const QString& scheme : schemes) QDesktopServices::setUrlHandler(scheme, this, "take");
  }
  Q_SLOT void take(const QUrl& url) { taken.push_back(url.toEncoded().toStdString()); }
  std::vector<std::string> taken;
};

TEST(BrowserTest, UrisGoToWhatHandlesThemUnlessTheyReachIntoThisMachine) {
  const LogLines log("korvani.phone");
  const Taker taker({QStringLiteral("shop"), QStringLiteral("file"), QStringLiteral("javascript"),
                     QStringLiteral("data"), QStringLiteral("view-source"), QStringLiteral("ssh"),
                     QStringLiteral("smb")});
  EXPECT_TRUE(openOnDesktop("shop://today?a=b%20c#d"));
  for (const char* unhandled :
       {"unknown://today", "/etc/hostname", "hostname", "", "http://[", "shop"}) {
    EXPECT_FALSE(openOnDesktop(unhandled)) << unhandled;
  }
  EXPECT_TRUE(log.lines().empty());
  for (const std::string& refused :
       {std::string("file:///etc/hostname"), std::string("FILE:/etc/hostname"),
        std::string("javascript:alert(1)"), std::string("view-source:file:///etc/hostname"),
        std::string("ssh://host"), std::string("smb://host/a.desktop"),
        "data:text/html," + std::string(10'000, 'x')}) {
    log.lines().clear();
    EXPECT_FALSE(openOnDesktop(refused));
    ASSERT_EQ(log.lines().size(), 1U) << refused;
    EXPECT_THAT(log.lines()[0], HasSubstr(refused.substr(0, 15)));
    EXPECT_LT(log.lines()[0].size(), 300U) << "an address may be longer than anyone reads";
  }
  EXPECT_THAT(taker.taken, ElementsAre("shop://today?a=b%20c#d"));

  const QTemporaryDir home;
  qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
  QDir(home.path()).mkdir(QStringLiteral("applications"));
  QFile list(home.filePath(QStringLiteral("applications/mimeinfo.cache")));
  ASSERT_TRUE(list.open(QIODevice::WriteOnly));
  list.write(
      "[Removed Associations]\nx-scheme-handler/pear=a.desktop;\n"
      "[MIME Cache]\ntext/plain=a.desktop;\nx-scheme-handler/shop=b.desktop;\n");
  list.close();
  EXPECT_TRUE(mayHaveHandler("shop"));
  EXPECT_FALSE(mayHaveHandler("sho"));
  EXPECT_FALSE(mayHaveHandler("pear"));
  qputenv("SNAP", "here");
  EXPECT_TRUE(mayHaveHandler("pear")) << "its lists are not those of the desktop";
  qunsetenv("SNAP");
}

struct Failures final : platform::WebViewDelegate {
  void webViewDidFailLoadWithError(const std::shared_ptr<platform::WebView>&,
                                   const std::string& text) override {
    texts.push_back(text);
  }
  std::vector<std::string> texts;
};

/// In a program that has no web plug-in beside it.
TEST(BrowserTest, PagesGoThereWhereNoneCanBeShown) {
  const LogLines log("korvani.phone");
  MainQueue queue;
  std::optional<QWidget> host(std::in_place);
  Screens screens(&*host, queue);
  const auto root = screens.rootViewController();
  const auto delegate = std::make_shared<Failures>();
  const auto page = [&](const std::optional<platform::URL>& address) {
    auto popUp = std::make_shared<ViewController>();
    const auto web = screens.newWebView({0, 64, 200, 236});
    web->setDelegate(delegate);
    popUp->view()->addSubview(web);
    web->loadRequest(address);
    return popUp;
  };
  const auto present = [&](const std::shared_ptr<ViewController>& popUp) {
    bool presented = false;
    root->presentViewController(popUp, true, [&] { presented = true; });
    runUntil([&] { return presented; });
  };
  const auto popUps = [&] { return host->findChildren<QWidget*>(QStringLiteral("korvaniPopUp")); };
  const auto address = platform::URL::URLWithString("http://127.0.0.1/");
  std::optional<Taker> browser(QStringList{QStringLiteral("http")});

  present(page(address));
  runUntil([&] { return !root->presentedViewController(); });
  EXPECT_TRUE(popUps().empty());
  EXPECT_THAT(browser->taken, ElementsAre("http://127.0.0.1/"));
  EXPECT_THAT(log.lines(), testing::Contains(HasSubstr("browser")));

  // Where a page would be pushed, the screen below stays in sight.
  const auto navigation =
      NavigationController::initWithRootViewController(std::make_shared<ViewController>());
  present(navigation);
  ASSERT_EQ(popUps().size(), 1);
  navigation->pushViewController(page(address), false);
  bool pushed = false;
  queue.async([&] { pushed = true; });
  runUntil([&] { return pushed; });
  EXPECT_EQ(popUps()[0]->children().size(), 1);
  root->dismissViewControllerAnimated(false);
  EXPECT_EQ(browser->taken.size(), 2U);
  EXPECT_TRUE(delegate->texts.empty());

  // Without a browser it is a page that does not load, as is an empty one.
  browser.reset();
  const auto failing = page(address);
  EXPECT_TRUE(delegate->texts.empty()) << "a failure comes later";
  present(failing);
  EXPECT_EQ(popUps().size(), 1);
  const auto empty = page(std::nullopt);
  host.reset();
  const auto windowless = page(address);
  runUntil([&] { return delegate->texts.size() == 3; });
  EXPECT_THAT(delegate->texts,
              ElementsAre(HasSubstr("plug-in"), HasSubstr("plug-in"), HasSubstr("window")));
}

}  // namespace
}  // namespace korvani::qt

#include "browser_test.moc"
