// Notifications and the battery, through mock services on a bus of the test's own. A real service
// of notifications is in the demonstration's road.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/battery.h>
#include <korvani/qt/notifications/local_notifications.h>

#include <QDBusArgument>
#include <QFileOpenEvent>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fake_portal.h"
#include "fake_services.h"
#include "private_bus.h"

namespace korvani::qt {
namespace {

using notifications::LocalNotifications;
using platform::LocalNotification;
using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");

Value userInfo(int number) {
  return Value::Dictionary{{"id", (std::int64_t{1} << 60) + number},
                           {"none", Value()},
                           {"text", "\u00e9\U0001f350"},
                           {"list", Value::Array{0.1, Value::Dictionary{{"KVBeacon", true}}}}};
}

class Notifications : public testing::Test {
 protected:
  static std::unique_ptr<MockService> serviceThatCan(const char* capabilities) {
    return std::make_unique<MockService>(
        kService, kPath,
        QStringList{QStringLiteral("--template"), QStringLiteral("notification_daemon"),
                    QStringLiteral("--parameters"),
                    QStringLiteral("{\"capabilities\": \"%1\"}").arg(QLatin1String(capabilities))});
  }
  void post(const std::string& text, int number = 0) {
    notifications_->post(LocalNotification{text, "", userInfo(number)});
  }
  std::string nextNotify(MockService& service) { return service.nextCall("Notify").toStdString(); }
  static void invoke(MockService& service, uint identifier, const char* action = "default") {
    emitSignal(service, "ActionInvoked", "us", {identifier, QString::fromLatin1(action)});
  }
  static void emitSignal(MockService& service, const char* name, const char* signature,
                         const QVariantList& arguments) {
    service.mock(QStringLiteral("EmitSignal"),
                 {QString(), QString::fromLatin1(name), QString::fromLatin1(signature), arguments});
  }
  void expectOpened() {
    notifications_->setOpenedHandler(
        [this](const Value& userInfo) { opened_.push_back(userInfo); });
  }
  void showBanner() {
    const auto banner = nextBanner_();
    if (!banner) return;
    banners_.push_back(banner->text);
    openBanner_ = banner->opened;
  }
  void runUntilBanner() {
    runUntil([this] { return !banners_.empty(); });
  }
  /// As the next process of the host would.
  void restart() {
    notifications_.reset();
    notifications_ = newNotifications();
  }
  std::unique_ptr<LocalNotifications> newNotifications(
      std::chrono::milliseconds firstRetry = std::chrono::hours(1)) {
    return std::make_unique<LocalNotifications>(
        notifications::Surroundings{
            .showBanners =
                [this](const NextBanner& next) {
                  nextBanner_ = next;
                  if (hasWindow_ && banners_.size() < mostBanners_) showBanner();
                },
            .raiseWindow =
                [this] { raisedWith_.push_back(qgetenv("XDG_ACTIVATION_TOKEN").toStdString()); }},
        folder_.path(), json_, firstRetry);
  }

  PrivateBus bus_;
  const QTemporaryDir folder_;
  codec::JSON json_;
  bool hasWindow_ = true;
  std::size_t mostBanners_ = 100;
  NextBanner nextBanner_;
  std::vector<std::string> banners_;
  std::function<void()> openBanner_;
  std::vector<std::string> raisedWith_;
  std::vector<Value> opened_;
  std::unique_ptr<LocalNotifications> notifications_ = newNotifications();
};

TEST_F(Notifications, ComeBackOnceAsTheyWereScheduled) {
  QGuiApplication::setApplicationDisplayName(QStringLiteral("Shop"));
  const auto service = serviceThatCan("body body-markup actions sound");
  expectOpened();
  post("<b>1</b> & \"2\"", 1);
  const std::string first = nextNotify(*service);
  EXPECT_THAT(first,
              StartsWith("\"Shop\" 0 \"\" \"Shop\" "
                         "\"&lt;b&gt;1&lt;/b&gt; &amp; &quot;2&quot;\" [\"default\", \"\"] "));
  EXPECT_THAT(first, HasSubstr("\"suppress-sound\": True"));
  invoke(*service, 1, "other");
  invoke(*service, 2);
  emitSignal(*service, "ActivationToken", "us", {1U, QStringLiteral("token")});
  invoke(*service, 1);
  invoke(*service, 1);
  EXPECT_EQ(service->nextCall("CloseNotification"), "1");
  EXPECT_THAT(opened_, ElementsAre(userInfo(1)));
  EXPECT_THAT(raisedWith_, ElementsAre("token"));
  EXPECT_FALSE(qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));

  // In any order; one that was dismissed is not opened any more, one that has only left the screen
  // is; what is opened while no one listens waits.
  notifications_->setOpenedHandler(nullptr);
  for (int number : {2, 3, 4}) {
    post("more", number);
    nextNotify(*service);
  }
  emitSignal(*service, "NotificationClosed", "uu", {2U, 2U});
  emitSignal(*service, "NotificationClosed", "uu", {3U, 1U});
  for (uint number : {4U, 2U, 3U}) invoke(*service, number);
  EXPECT_EQ(service->nextCall("CloseNotification"), "4");
  EXPECT_EQ(service->nextCall("CloseNotification"), "3");
  EXPECT_EQ(opened_.size(), 1U);
  expectOpened();
  EXPECT_THAT(opened_, ElementsAre(userInfo(1), userInfo(4), userInfo(3)));
  EXPECT_THAT(banners_, ElementsAre());

  qputenv("XDG_CACHE_HOME", folder_.path().toLocal8Bit());
  notifications_->post(LocalNotification{"sound", "fake_geoclue.py", userInfo(5)});
  EXPECT_THAT(nextNotify(*service), HasSubstr("\"sound-file\": \"" + folder_.path().toStdString()));
}

TEST_F(Notifications, AreBannersWithoutAServiceThatBringsThemBack) {
  expectOpened();
  post("no service");
  runUntilBanner();
  EXPECT_THAT(banners_, ElementsAre("no service"));
  openBanner_();
  EXPECT_THAT(opened_, ElementsAre(userInfo(0)));

  auto service = serviceThatCan("body");
  banners_.clear();
  post("no actions");
  runUntilBanner();
  EXPECT_THAT(banners_, ElementsAre("no actions"));

  // Services come and go; what the last one showed cannot be opened through the next.
  service.reset();
  service = serviceThatCan("body actions");
  post("plain <text> & more", 1);
  EXPECT_THAT(nextNotify(*service), HasSubstr("\"plain <text> & more\""));
  service.reset();
  banners_.clear();
  post("gone");
  runUntilBanner();
  service = serviceThatCan("body actions");
  invoke(*service, 1);
  post("after", 2);
  nextNotify(*service);
  invoke(*service, 1);
  EXPECT_EQ(service->nextCall("CloseNotification"), "1");
  EXPECT_THAT(opened_, ElementsAre(userInfo(0), userInfo(2)));
}

TEST_F(Notifications, WaitForAServiceOrAWindow) {
  hasWindow_ = false;
  post("first", 1);
  runUntil([this] { return nextBanner_ != nullptr; });
  nextBanner_ = nullptr;
  restart();
  post("second", 2);
  auto service = serviceThatCan("actions");
  EXPECT_THAT(nextNotify(*service), StartsWith("\"phone\" 0 \"\" \"first\""));
  EXPECT_THAT(nextNotify(*service), StartsWith("\"phone\" 0 \"\" \"second\""));

  // The next process knows what the same service still shows.
  invoke(*service, 1);
  EXPECT_EQ(service->nextCall("CloseNotification"), "1");
  restart();
  expectOpened();
  invoke(*service, 1);
  invoke(*service, 2);
  EXPECT_EQ(service->nextCall("CloseNotification"), "2");
  EXPECT_THAT(opened_, ElementsAre(userInfo(2)));
  service.reset();
  post("third", 3);
  post("fourth", 4);
  runUntil([this] { return nextBanner_ != nullptr; });
  hasWindow_ = true;
  mostBanners_ = 1;
  notifications_->windowAppeared();
  runUntilBanner();
  EXPECT_THAT(banners_, ElementsAre("third"));

  // While one is shown the next waits on: for the process after this one, or a service.
  mostBanners_ = 2;
  restart();
  runUntil([this] { return banners_.size() == 2; });
  EXPECT_EQ(banners_.back(), "fourth");
  hasWindow_ = false;
  nextBanner_ = nullptr;
  post("fifth", 5);
  runUntil([this] { return nextBanner_ != nullptr; });
  service = serviceThatCan("actions");
  EXPECT_THAT(nextNotify(*service), HasSubstr("\"fifth\""));
  showBanner();
  EXPECT_EQ(banners_.size(), 2U);
}

/// A service that refuses at first, so many times each.
class BusyService {
 public:
  BusyService() {
    services.answers = {{"GetCapabilities", refusingFirst(refusals, QStringList{"actions"})},
                        {"Notify",
                         [this](const QDBusMessage& call) {
                           shown.push_back(call.arguments().value(3).toString().toStdString());
                           return answers ? QVariant(static_cast<uint>(shown.size())) : QVariant();
                         }},
                        {"CloseNotification", [this](const QDBusMessage& call) {
                           closed.push_back(shown[call.arguments().value(0).toUInt() - 1]);
                           return QVariant(true);
                         }}};
    services.enter(kService);
    services.settle();
  }

  int refusals = 0;
  /// Whether it answers when it has shown one.
  bool answers = true;
  std::vector<std::string> shown;
  std::vector<std::string> closed;
  FakeServices services;

 private:
  static FakeServices::Answer refusingFirst(int& times, const QStringList& then) {
    return
        [&times, then](const QDBusMessage&) { return times-- > 0 ? QVariant() : QVariant(then); };
  }
};

TEST_F(Notifications, AreOfferedAgainToAServiceThatRefused) {
  hasWindow_ = false;
  BusyService busy;
  const auto asked = [&] { return busy.services.calls["GetCapabilities"]; };
  // Until it takes another.
  busy.refusals = 1;
  post("first");
  runUntil([&] { return asked() == 1 && nextBanner_; });
  EXPECT_THAT(busy.shown, ElementsAre());
  post("second");
  runUntil([&] { return busy.shown.size() == 2; });
  EXPECT_THAT(busy.shown, ElementsAre("second", "first"));
  EXPECT_EQ(asked(), 3);

  // Or by itself, with no more calls than it takes.
  notifications_.reset();
  notifications_ = newNotifications(std::chrono::milliseconds(1));
  busy.refusals = 3;
  post("third");
  runUntil([&] { return busy.shown.size() == 3; });
  post("fourth");
  runUntil([&] { return busy.shown.size() == 4; });
  EXPECT_THAT(busy.shown, ElementsAre("second", "first", "third", "fourth"));
  EXPECT_EQ(asked(), 3 + 4 + 1);
}

TEST_F(Notifications, AreNotShownTwiceByAServiceThatDoesNotAnswer) {
  hasWindow_ = false;
  BusyService service;
  service.services.error = QDBusError::NoReply;
  service.answers = false;
  post("unsure");
  runUntil([&] { return nextBanner_ != nullptr; });
  service.answers = true;
  post("other");
  runUntil([&] { return service.shown.size() == 2; });
  hasWindow_ = true;
  notifications_->windowAppeared();
  runUntilBanner();
  EXPECT_THAT(banners_, ElementsAre("unsure"));
  EXPECT_THAT(service.shown, ElementsAre("unsure", "other"));
}

TEST_F(Notifications, AreTakenBackWhenTooManyCome) {
  BusyService service;
  post("shown");
  runUntil([&] { return service.shown.size() == 1; });
  post("under way");
  for (std::size_t i = 0; i < notifications::kMostKept; ++i) post("more");
  runUntil([&] { return service.closed.size() == 2; });
  EXPECT_THAT(service.closed, ElementsAre("shown", "under way"));
}

/// What comes to the application to be opened.
class FileOpens final : public QObject {
 public:
  FileOpens() { qApp->installEventFilter(this); }
  QUrl url;

 private:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::FileOpen) url = static_cast<QFileOpenEvent*>(event)->url();
    return false;
  }
};

TEST_F(Notifications, GoThroughThePortalInASandbox) {
  qputenv("SNAP", "here");
  restart();
  expectOpened();
  FakePortal portal;
  const auto runUntilAdded = [&](std::size_t count) {
    runUntil([&] { return portal.added.size() == count; });
  };
  post("<b>", 1);
  runUntilAdded(1);
  EXPECT_EQ(portal.added[0], (QVariantMap{{"title", QGuiApplication::applicationDisplayName()},
                                          {"body", "<b>"},
                                          {"default-action", "open-korvani-notification"},
                                          {"default-action-target", portal.id}}));
  portal.tellAction();
  portal.tellAction();
  runUntil([&] { return portal.removed.size() == 2; });
  EXPECT_THAT(opened_, ElementsAre(userInfo(1)));

  // A host with a name of its own, and a portal that plays some sounds.
  QGuiApplication::setDesktopFileName(FakePortal::kHost);
  restart();
  expectOpened();
  portal.version = 2;
  notifications_->post(LocalNotification{"sound", "fake_geoclue.py", userInfo(2)});
  runUntilAdded(3);
  EXPECT_EQ(portal.added[1]["sound"].typeId(), qMetaTypeId<QDBusArgument>());
  EXPECT_EQ(portal.added[2]["sound"], QVariant("silent"));
  portal.activateAction();
  runUntil([&] { return opened_.size() == 2; });
  EXPECT_EQ(opened_.back(), userInfo(2));
  const FileOpens fileOpens;
  portal.callHost("Open", {QStringList{"shop://pears"}, QVariantMap()});
  runUntil([&] { return fileOpens.url == QUrl("shop://pears"); });
  EXPECT_THAT(raisedWith_, ElementsAre("", "", "token", ""));

  // What the portal still shows is opened by a process outside the sandbox as well.
  post("left", 3);
  runUntil([&] {
    const notifications::Store kept(folder_.path(), json_);
    return !kept.all().empty() && !kept.all().begin()->second.place.isEmpty();
  });
  qunsetenv("SNAP");
  restart();
  expectOpened();
  portal.activateAction();
  runUntil([&] { return opened_.size() == 3; });
}

TEST(NotificationsTest, AreBannersWithoutABus) {
  qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
  const QTemporaryDir folder;
  const codec::JSON json;
  bool isBanner = false;
  bool isLaunched = false;
  const auto showBanners = [&](const NextBanner& next) { isBanner = next().has_value(); };
  LocalNotifications notifications({.showBanners = showBanners, .raiseWindow = [] {}},
                                   folder.path(), json);
  notifications.whenLaunched([&](const auto& launch) { isLaunched = launch == nullptr; });
  notifications.post(LocalNotification{"text", "", Value()});
  runUntil([&] { return isBanner && isLaunched; });
}

TEST(BatteryTest, FollowsThePowerService) {
  const PrivateBus bus;
  std::optional<MockService> service;
  const auto setUp = [&](double percentage, bool isPresent) {
    service->mock(
        QStringLiteral("SetupDisplayDevice"),
        {2U, 2U, percentage, 0.0, 0.0, 0.0, qlonglong{0}, qlonglong{0}, isPresent, QString(), 1U});
  };
  const auto start = [&](double percentage) {
    service.emplace(QStringLiteral("org.freedesktop.UPower"),
                    QStringLiteral("/org/freedesktop/UPower"),
                    QStringList{QStringLiteral("--session"), QStringLiteral("--template"),
                                QStringLiteral("upower")});
    setUp(percentage, true);
  };
  start(50);
  Battery battery;
  const auto becomes = [&](float level) { runUntil([&] { return battery.level() == level; }); };
  EXPECT_EQ(battery.level(), -1);
  battery.setMonitored(true);
  becomes(0.5F);
  battery.setMonitored(true);
  FakeServices stranger;
  stranger.tell(
      "/org/freedesktop/UPower/devices/DisplayDevice", "org.freedesktop.DBus.Properties",
      "PropertiesChanged",
      {"org.freedesktop.UPower.Device", QVariantMap{{"Percentage", 75.0}}, QStringList()});
  stranger.settle();
  QDBusConnection::systemBus().call(newBusCall("GetId"));
  QCoreApplication::processEvents();
  EXPECT_EQ(battery.level(), 0.5F);
  setUp(25, true);
  becomes(0.25F);
  setUp(25, false);
  becomes(-1);
  service.reset();
  start(100);
  becomes(1);
  service.reset();
  becomes(-1);
  battery.setMonitored(false);
  EXPECT_EQ(battery.level(), -1);
}

}  // namespace
}  // namespace korvani::qt
