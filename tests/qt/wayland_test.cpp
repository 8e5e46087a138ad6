// The background in a Wayland session, whose compositor (sway, see under_sway) hides windows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/bus_call.h>
#include <korvani/qt/lifecycle.h>
#include <korvani/qt/phone.h>

#include <QEvent>
#include <QProcess>
#include <QTemporaryDir>
#include <QWidget>
#include <string>
#include <vector>

#include "private_bus.h"

namespace korvani::qt {
namespace {

void sway(const QString& command) {
  ASSERT_EQ(QProcess::execute(QStringLiteral("swaymsg"), {QStringLiteral("--quiet"), command}), 0);
}

class Window final : public QWidget {
 public:
  int paints = 0;

 protected:
  void paintEvent(QPaintEvent*) override { ++paints; }
};

TEST(WaylandTest, TheBackgroundIsWhereTheCompositorTakesNoFrames) {
  std::vector<std::string> told;
  const Lifecycle lifecycle([&] { told.emplace_back("background"); },
                            [&] { told.emplace_back("active"); });
  const auto becomes = [&](const char* what) {
    runUntil([&] { return !told.empty(); });
    EXPECT_THAT(told, testing::ElementsAre(what));
    told.clear();
  };
  Window window;
  window.show();
  becomes("active");
  sway(QStringLiteral("workspace elsewhere"));
  becomes("background");
  sway(QStringLiteral("workspace 1"));
  becomes("active");

  // Another output has the focus now, and this one is in sight all the same.
  sway(QStringLiteral("create_output"));
  sway(QStringLiteral("focus output HEADLESS-2"));
  const int before = window.paints;
  runUntil([&] { return window.paints > before + 4; });
  EXPECT_TRUE(told.empty());
  sway(QStringLiteral("[title=\".*\"] move scratchpad"));
  becomes("background");
  sway(QStringLiteral("scratchpad show"));
  becomes("active");
}

TEST(WaylandTest, BannersWaitUntilTheCompositorShowsTheWindow) {
  const PrivateBus bus;  // without a notification service
  const QTemporaryDir folder;
  QWidget window;
  window.show();
  PhoneOptions options;
  options.settingsFile = folder.filePath("settings.ini");
  options.notificationsFolder = folder.filePath("notifications");
  const auto phone = Phone::create(&window, options);
  bool isStarted = false;
  bool isInBackground = false;
  phone->whenLaunched([&](const auto&) { isStarted = true; });
  phone->forwardLifecycle([&] { isInBackground = true; }, [&] { isInBackground = false; });
  runUntil([&] { return isStarted && window.isActiveWindow(); });
  sway(QStringLiteral("workspace elsewhere"));
  runUntil([&] { return isInBackground; });
  phone->application().scheduleLocalNotification({"An offer", "", {}});
  const auto runJobs = [&] {
    bool isLast = false;
    phone->queues().mainQueue().async([&] { isLast = true; });
    runUntil([&] { return isLast; });
  };
  runJobs();
  // Its answer comes behind the one that there is no service.
  QDBusConnection::sessionBus().call(newBusCall("GetId"));
  QCoreApplication::processEvents();
  runJobs();
  const auto isBanner = [&] { return window.findChild<QWidget*>("korvaniBanner") != nullptr; };
  EXPECT_FALSE(isBanner());
  sway(QStringLiteral("workspace 1"));
  runUntil(isBanner);
}

}  // namespace
}  // namespace korvani::qt
