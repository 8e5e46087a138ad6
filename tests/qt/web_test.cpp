// Web pages in the Linux phone's window: real pages of a server on the loopback interface, in the
// plug-in that the phone itself finds. The pages tell the server what they see.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/phone.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QTemporaryDir>
#include <QTest>
#include <string>
#include <utility>
#include <vector>

#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::URL;
using platform::WebView;
using testing::HasSubstr;

/// Says its title and size to the server, again and again; a click anywhere follows a link that
/// asks for a window of its own.
std::string page(const std::string& title, const std::string& link) {
  return RawServer::reply("<!doctype html><title>" + title + "</title><a target=_blank href='" +
                              link +
                              "' style='position:fixed;inset:0'>on</a><script>setInterval(() => "
                              "fetch('/seen-' + document.title + '-' + innerWidth + 'x' + "
                              "innerHeight), 20)</script>",
                          "200 OK", "Content-Type: text/html\r\n");
}

class Failures final : public platform::WebViewDelegate {
 public:
  void webViewDidFailLoadWithError(const std::shared_ptr<WebView>&,
                                   const std::string& text) override {
    texts.push_back(text);
  }
  std::vector<std::string> texts;
};

class WebTest : public testing::Test {
 protected:
  WebTest() {
    host_.resize(390, 300);
    host_.show();
    view_->setDelegate(failures_);
  }

  void load(const std::string& address) { view_->loadRequest(URL::URLWithString(address)); }
  /// Did the server hear a request for an address that begins so?
  bool heard(const std::string& path) const {
    for (const std::string& request : server_.requests()) {
      if (request.starts_with("GET " + path)) return true;
    }
    return false;
  }
  /// Clicks at each request that comes in, as a page takes no click before it is painted.
  void clickUntil(const std::function<bool()>& isSo) {
    std::size_t heardBefore = 0;
    runUntil([&] {
      if (isSo()) return true;
      if (std::exchange(heardBefore, server_.requests().size()) != server_.requests().size()) {
        QTest::mouseClick(host_.windowHandle(), Qt::LeftButton, {}, QPoint(200, 150));
      }
      return false;
    });
  }

  RawServer server_{[](std::size_t, const std::string& request) {
    QAbstractEventDispatcher::instance(qApp->thread())->wakeUp();  // runUntil looks again
    if (request.starts_with("GET /pears ")) return page("Pears", "/next");
    if (request.starts_with("GET /next ")) return page("Next", "mailto:a@example.com");
    if (request.starts_with("GET /moved ")) {
      return RawServer::reply("", "302 Found", "Location: /pears\r\n");
    }
    return RawServer::reply("<title>none</title>", "404 Not Found", "Content-Type: text/html\r\n");
  }};
  QTemporaryDir folder_;
  QWidget host_;
  std::shared_ptr<Phone> phone_ = Phone::create(
      &host_,
      {.walkFile = {}, .mappedHosts = {}, .settingsFile = folder_.filePath("settings.ini")});
  std::shared_ptr<WebView> view_ = phone_->webViews().newWebView({0, 64, 390, 236});
  std::shared_ptr<Failures> failures_ = std::make_shared<Failures>();
};

TEST_F(WebTest, ShowsAPageInItsFrameAndStaysThere) {
  load(server_.url("/moved"));
  runUntil([&] { return heard("/pears"); });  // though nothing is presented yet
  const auto popUp = std::make_shared<platform::ViewController>();
  popUp->view()->addSubview(view_);
  phone_->application().rootViewController()->presentViewController(popUp, true);
  runUntil([&] { return heard("/seen-Pears-390x236"); });

  clickUntil([&] { return heard("/next"); });
  runUntil([&] { return heard("/seen-Next-390x236"); });
  clickUntil([&] { return !failures_->texts.empty(); });
  EXPECT_THAT(failures_->texts, testing::Each(HasSubstr("mailto:a@example.com")));
}

TEST_F(WebTest, EachFailureIsToldOnceWithItsText) {
  load("http://127.0.0.1:1/");
  EXPECT_TRUE(failures_->texts.empty()) << "a failure comes later";
  runUntil([&] { return !failures_->texts.empty(); });
  EXPECT_NE(failures_->texts[0], "");
  for (const char* refused : {"file:///etc/passwd", "data:text/html,x", "chrome://version", ""}) {
    load(refused);
    const std::size_t before = failures_->texts.size();
    runUntil([&] { return failures_->texts.size() > before; });
    EXPECT_THAT(failures_->texts.back(), HasSubstr(refused));
  }
  // What is no failure: a page that says it is not there, an empty page.
  load(server_.url("/none"));
  runUntil([&] { return heard("/none"); });
  view_->loadRequest(std::nullopt);
  load(server_.url("/pears"));
  runUntil([&] { return heard("/seen-Pears-"); });
  EXPECT_EQ(failures_->texts.size(), 5U);
}

}  // namespace
}  // namespace korvani::qt

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("no_proxy", "*");
  if (geteuid() == 0) qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");  // it refuses to run as root
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
