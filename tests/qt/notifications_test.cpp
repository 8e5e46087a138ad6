// Notifications and the battery, through mock services on a bus of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/battery.h>
#include <korvani/qt/local_notifications.h>

#include <QGuiApplication>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "private_bus.h"

namespace korvani::qt {
namespace {

using platform::LocalNotification;
using platform::Value;
using testing::ElementsAre;
using testing::StartsWith;

const Value kUserInfo = Value::Dictionary{{"id", std::int64_t{1} << 60}, {"none", Value()}};

class Notifications : public testing::Test {
 protected:
  std::unique_ptr<MockService> serviceThatCan(const char* capabilities) {
    return std::make_unique<MockService>(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringList{QStringLiteral("--template"), QStringLiteral("notification_daemon"),
                    QStringLiteral("--parameters"),
                    QStringLiteral("{\"capabilities\": \"%1\"}").arg(QLatin1String(capabilities))});
  }
  void post(const std::string& text) { notifications_.post({text, "default", kUserInfo}); }
  static void invoke(MockService& service, uint identifier, const char* action) {
    emitSignal(service, "ActionInvoked", "us", {identifier, QString::fromLatin1(action)});
  }
  static void emitSignal(MockService& service, const char* name, const char* signature,
                         const QVariantList& arguments) {
    service.mock(QStringLiteral("EmitSignal"),
                 {QString(), QString::fromLatin1(name), QString::fromLatin1(signature), arguments});
  }
  void expectOpened() {
    notifications_.setOpenedHandler([this](const Value& userInfo) { opened_.push_back(userInfo); });
  }
  void runUntilBanner() {
    runUntil([this] { return !banners_.empty(); });
  }

  PrivateBus bus_;
  std::vector<std::string> banners_;
  std::function<void()> openBanner_;
  std::vector<Value> opened_;
  LocalNotifications notifications_{[this](const std::string& text, std::function<void()> opened) {
    banners_.push_back(text);
    openBanner_ = std::move(opened);
  }};
};

TEST_F(Notifications, ComeBackOnceAsTheyWereScheduled) {
  QGuiApplication::setApplicationDisplayName(QStringLiteral("Shop"));
  const auto service = serviceThatCan("body body-markup actions");
  expectOpened();
  post("<b>1</b> & \"2\"");
  EXPECT_THAT(service->nextCall("Notify").toStdString(),
              StartsWith("\"Shop\" 0 \"\" \"Shop\" "
                         "\"&lt;b&gt;1&lt;/b&gt; &amp; &quot;2&quot;\" [\"default\", \"\"] "));
  invoke(*service, 1, "other");
  invoke(*service, 2, "default");
  invoke(*service, 1, "default");
  invoke(*service, 1, "default");
  EXPECT_EQ(service->nextCall("CloseNotification"), "1");

  // One that is closed is not opened any more; one that comes while no one listens waits.
  notifications_.setOpenedHandler(nullptr);
  post("second");
  post("third");
  EXPECT_THAT(service->nextCall("Notify").toStdString(), testing::HasSubstr("\"second\""));
  EXPECT_THAT(service->nextCall("Notify").toStdString(), testing::HasSubstr("\"third\""));
  emitSignal(*service, "NotificationClosed", "uu", {2U, 2U});
  invoke(*service, 2, "default");
  invoke(*service, 3, "default");
  EXPECT_EQ(service->nextCall("CloseNotification"), "3");
  EXPECT_THAT(opened_, ElementsAre(kUserInfo));
  expectOpened();
  EXPECT_THAT(opened_, ElementsAre(kUserInfo, kUserInfo));
  EXPECT_THAT(banners_, ElementsAre());
}

TEST_F(Notifications, AreBannersWithoutAServiceThatBringsThemBack) {
  expectOpened();
  post("no service");
  runUntilBanner();
  EXPECT_THAT(banners_, ElementsAre("no service"));
  openBanner_();
  EXPECT_THAT(opened_, ElementsAre(kUserInfo));

  auto service = serviceThatCan("body");
  banners_.clear();
  post("no actions");
  runUntilBanner();
  EXPECT_THAT(banners_, ElementsAre("no actions"));

  // Services come and go; what the last one showed cannot be opened through the next.
  service.reset();
  service = serviceThatCan("body actions");
  post("plain <text> & more");
  EXPECT_THAT(service->nextCall("Notify").toStdString(),
              testing::HasSubstr("\"plain <text> & more\""));
  service.reset();
  banners_.clear();
  post("gone");
  runUntilBanner();
  service = serviceThatCan("body actions");
  invoke(*service, 1, "default");
  post("after");
  service->nextCall("Notify");
  invoke(*service, 1, "default");
  EXPECT_EQ(service->nextCall("CloseNotification"), "1");
  EXPECT_EQ(opened_.size(), 2U);
}

TEST(NotificationsTest, AreBannersWithoutABus) {
  qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
  std::vector<std::string> banners;
  LocalNotifications notifications(
      [&](const std::string& text, const std::function<void()>&) { banners.push_back(text); });
  notifications.post({"text", "", Value()});
  EXPECT_THAT(banners, ElementsAre("text"));
}

TEST(BatteryTest, FollowsThePowerService) {
  const PrivateBus bus;
  const QString device = QStringLiteral("org.freedesktop.UPower.Device");
  std::optional<MockService> service;
  const auto start = [&](double percentage) {
    service.emplace(QStringLiteral("org.freedesktop.UPower"),
                    QStringLiteral("/org/freedesktop/UPower"),
                    QStringList{QStringLiteral("--session"), QStringLiteral("--template"),
                                QStringLiteral("upower")});
    service->mock(
        QStringLiteral("SetupDisplayDevice"),
        {2U, 2U, percentage, 0.0, 0.0, 0.0, qlonglong{0}, qlonglong{0}, true, QString(), 1U});
  };
  start(50);
  Battery battery;
  const auto becomes = [&](float level) { runUntil([&] { return battery.level() == level; }); };
  EXPECT_EQ(battery.level(), -1);
  battery.setMonitored(true);
  becomes(0.5F);
  service->mock(QStringLiteral("SetupDisplayDevice"),
                {2U, 2U, 25.0, 0.0, 0.0, 0.0, qlonglong{0}, qlonglong{0}, true, QString(), 1U});
  becomes(0.25F);
  service->mock(QStringLiteral("SetupDisplayDevice"),
                {2U, 2U, 25.0, 0.0, 0.0, 0.0, qlonglong{0}, qlonglong{0}, false, QString(), 1U});
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
