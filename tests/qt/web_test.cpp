// Web pages in the Linux phone's window: real pages of a server on the loopback interface, in the
// plug-in that the phone itself finds. The pages tell the server what they see.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/phone.h>
#include <signal.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {

/// The home of who runs this program, empty at its start.
static QString gHome;

namespace {

using platform::URL;
using platform::WebView;
using testing::HasSubstr;

/// Says its title and size to the server, again and again; a click anywhere is one on a link with
/// those attributes.
std::string page(const std::string& title, const std::string& link = "",
                 const std::string& status = "200 OK", const std::string& headers = "") {
  return RawServer::reply("<!doctype html><title>" + title + "</title><a " + link +
                              " style='position:fixed;inset:0'>on</a><script>setInterval(() => "
                              "fetch('/seen-' + document.title + '-' + innerWidth + 'x' + "
                              "innerHeight), 20)</script>",
                          status, headers + "Content-Type: text/html\r\n");
}

/// Keeps whoever would leave, and opens a window to send it elsewhere.
const std::string kOpener =
    "onclick=\"window.onbeforeunload = event => event.preventDefault(); const made = window.open();"
    " made.location = '/last'\"";
/// Keeps all keys for itself.
const std::string kGreedy =
    "href=# onfocus=\"fetch('/told-focus')\""
    " onkeydown=\"event.preventDefault(); fetch('/told-key')\"";

/// Tries what a stranger may not, and tells the server how it went. A click asks for a file on the
/// left, for a colour on the right.
const std::string kStranger = RawServer::reply(
    R"(<!doctype html><title>Stranger</title>
<style>input { position: fixed; top: 0; width: 50vw; height: 100vh; font-size: 100px }</style>
<input type=file style='left: 0'><input type=color style='left: 50vw'>
<script>
const tell = (what, how) => fetch('/told-' + what + '-' + how);
onclick = event => tell('clicked', event.target.type);
window.close();
alert('1');
tell('confirm', confirm('2'));
tell('prompt', prompt('3', '4'));
open('/opened');
document.cookie = 'taste=cinnamon';
localStorage.taste = 'cinnamon';
navigator.geolocation.getCurrentPosition(() => tell('position', 'granted'),
                                         error => tell('position', error.code));
const attempt = (what, promise) => promise.then(() => tell(what, 'granted'),
                                                error => tell(what, error.name));
attempt('media', navigator.mediaDevices.getUserMedia({audio: true, video: true}));
attempt('screen', navigator.mediaDevices.getDisplayMedia());
attempt('clipboard', navigator.clipboard.readText());
attempt('file', fetch('file:///etc/passwd'));
Notification.requestPermission().then(answer => tell('notifications', answer));
const saved = document.body.appendChild(document.createElement('a'));
saved.href = '/parcel';
saved.download = 'parcel';
saved.click();
</script>)",
    "200 OK", "Content-Type: text/html\r\n");

bool isMapped(const char* library) {
  QFile maps("/proc/self/maps");
  return maps.open(QIODevice::ReadOnly) && maps.readAll().contains(library);
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
  /// How often has the server heard a request for an address that begins so?
  std::ptrdiff_t times(const std::string& path) const {
    const auto requests = server_.requests();
    return std::count_if(requests.begin(), requests.end(), [&](const std::string& request) {
      return request.starts_with("GET " + path);
    });
  }
  bool heard(const std::string& path) const { return times(path) > 0; }
  /// Shows the view as a pop-up does.
  void present() {
    const auto popUp = std::make_shared<platform::ViewController>();
    popUp->view()->addSubview(view_);
    phone_->application().rootViewController()->presentViewController(popUp, false);
  }
  /// Does that at each request that comes in, as a page takes no input before it is painted.
  void repeatUntil(const std::function<bool()>& isSo, const std::function<void()>& act) {
    std::size_t heardBefore = 0;
    runUntil([&] {
      if (isSo()) return true;
      if (std::exchange(heardBefore, server_.requests().size()) != server_.requests().size()) act();
      return false;
    });
  }
  void clickUntil(const std::function<bool()>& isSo, QPoint place = {100, 150}) {
    repeatUntil(isSo, [&] { QTest::mouseClick(host_.windowHandle(), Qt::LeftButton, {}, place); });
  }

  RawServer server_{[](std::size_t, const std::string& request) {
    QAbstractEventDispatcher::instance(qApp->thread())->wakeUp();  // runUntil looks again
    if (request.starts_with("GET /pears ")) return page("Pears", "target=_blank href=/next");
    if (request.starts_with("GET /next ")) return page("Next", kOpener);
    if (request.starts_with("GET /last ")) {
      return page("Last", "target=_blank href=mailto:a@example.com");
    }
    if (request.starts_with("GET /greedy ")) return page("Greedy", kGreedy);
    if (request.starts_with("GET /guarded ")) {
      return page("Guarded", "", "401 Unauthorized", "WWW-Authenticate: Basic realm=x\r\n");
    }
    if (request.starts_with("GET /stranger ")) return kStranger;
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

TEST_F(WebTest, TheEngineComesWithTheFirstPage) {
  EXPECT_FALSE(isMapped("libQt6WebEngine"));
  load(server_.url("/pears"));
  EXPECT_TRUE(isMapped("libQt6WebEngine"));
  runUntil([&] { return heard("/seen-Pears-"); });
}

TEST_F(WebTest, APageIsAStranger) {
  load(server_.url("/stranger"));
  present();
  for (const std::string answer : {"confirm-false", "prompt-null", "position-1", "media-",
                                   "screen-", "clipboard-", "file-", "notifications-denied"}) {
    runUntil([&] { return heard("/told-" + answer); });
    EXPECT_FALSE(heard("/told-" + answer + "granted"));
  }
  // A second click comes through only if no dialog has opened at the first.
  clickUntil([&] { return times("/told-clicked-file") > 1; });
  clickUntil([&] { return times("/told-clicked-color") > 1; }, {300, 150});
  EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
  load(server_.url("/pears"));
  runUntil([&] { return heard("/seen-Pears-390x236"); });
  EXPECT_FALSE(heard("/opened"));

  // Nothing of it is on the disk, nor is there what it wanted to save.
  QDirIterator files(gHome, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
  while (files.hasNext()) {
    QFile file(files.next());
    EXPECT_TRUE(file.open(QIODevice::ReadOnly) && !file.readAll().contains("cinnamon") &&
                files.fileName() != "parcel")
        << files.filePath().toStdString();
  }
}

TEST_F(WebTest, APageWhoseProcessEndsLeavesAnEmptyOne) {
  load(server_.url("/pears"));
  present();
  runUntil([&] { return heard("/seen-Pears-390x236"); });
  const QObject* page = nullptr;
  for (const QObject* object : host_.findChildren<QObject*>()) {
    if (object->inherits("QWebEnginePage")) page = object;
  }
  ASSERT_NE(page, nullptr);
  const auto process = page->property("renderProcessPid").value<pid_t>();
  ASSERT_GT(process, 0);
  ::kill(process, SIGKILL);
  runUntil([&] { return !failures_->texts.empty(); });
  EXPECT_THAT(failures_->texts, testing::ElementsAre(HasSubstr("process")));
  runUntil([&] { return page->property("url").toUrl() == QUrl("about:blank"); });
  load(server_.url("/next"));
  runUntil([&] { return heard("/seen-Next-390x236"); });
  EXPECT_EQ(failures_->texts.size(), 1U);
}

TEST_F(WebTest, ShowsAPageInItsFrameAndStaysThere) {
  load(server_.url("/moved"));
  runUntil([&] { return heard("/pears"); });  // though nothing is presented yet
  present();
  runUntil([&] { return heard("/seen-Pears-390x236"); });

  clickUntil([&] { return heard("/next"); });
  runUntil([&] { return heard("/seen-Next-390x236"); });
  clickUntil([&] { return heard("/seen-Last-390x236"); });
  clickUntil([&] { return !failures_->texts.empty(); });
  EXPECT_THAT(failures_->texts, testing::Each(HasSubstr("mailto:a@example.com")));
}

TEST_F(WebTest, EscapeLeavesAPageThatKeepsAllKeys) {
  const auto root = phone_->application().rootViewController();
  const auto press = [this](Qt::Key key) { QTest::keyClick(host_.windowHandle(), key); };
  load(server_.url("/greedy"));
  present();
  clickUntil([&] { return heard("/told-focus"); });
  repeatUntil([&] { return heard("/told-key"); }, [&] { press(Qt::Key_A); });
  EXPECT_TRUE(root->presentedViewController());
  press(Qt::Key_Escape);
  EXPECT_FALSE(root->presentedViewController());
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
  // What is no failure: a page that says it is not there, or not for all; an empty page.
  load(server_.url("/none"));
  runUntil([&] { return heard("/none"); });
  load(server_.url("/guarded"));
  runUntil([&] { return heard("/seen-Guarded-"); });
  EXPECT_EQ(times("/guarded"), 1);
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
  if (geteuid() == 0) {
    std::puts("run as root: the web engine works without its sandbox");
    qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
  }
  const QTemporaryDir home;
  korvani::qt::gHome = home.path();
  for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"}) {
    qputenv(name, home.path().toLocal8Bit());
  }
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
