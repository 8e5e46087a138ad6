// The application's passage into the background and back, and the time that it has there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/background_tasks.h>
#include <korvani/qt/lifecycle.h>
#include <korvani/qt/open_url.h>

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QObject>
#include <QTemporaryDir>
#include <QUrl>
#include <QWidget>
#include <limits>
#include <string>
#include <vector>

#include "waiting.h"

namespace korvani::qt {
namespace {

using testing::ElementsAre;

void settle() {
  bool done = false;
  QTimer::singleShot(0, [] {});
  QTimer::singleShot(20, [&] { done = true; });
  runUntil([&] { return done; });
}

TEST(LifecycleTest, TheBackgroundIsWhereNoWindowIsSeen) {
  std::vector<std::string> told;
  Lifecycle lifecycle([&] { told.emplace_back("background"); },
                      [&] { told.emplace_back("active"); });
  settle();
  EXPECT_TRUE(told.empty());  // No window yet is no background.

  QWidget window;
  QWidget second;
  const auto becomes = [&](const char* what) {
    runUntil([&] { return !told.empty(); });
    settle();
    EXPECT_THAT(told, ElementsAre(what));
    told.clear();
  };
  window.show();
  window.activateWindow();
  becomes("active");
  window.showMinimized();
  becomes("background");
  window.showNormal();
  becomes("active");
  window.hide();
  becomes("background");
  second.show();
  becomes("active");
  // One window after another, and one of two, are no background.
  second.hide();
  window.show();
  second.show();
  window.hide();
  settle();
  EXPECT_TRUE(told.empty()) << told.front();
}

TEST(BackgroundTasksTest, ExpireOnceInTheBackground) {
  BackgroundTasks tasks(std::chrono::milliseconds(30));
  std::vector<int> expired;
  const auto note = [&](int task) { return [&expired, task] { expired.push_back(task); }; };
  EXPECT_EQ(tasks.begin(note(1)), 1U);
  EXPECT_EQ(tasks.begin(note(2)), 2U);
  EXPECT_EQ(tasks.timeRemaining(), std::numeric_limits<double>::max());
  tasks.end(1);
  tasks.end(77);
  tasks.enteredBackground();
  EXPECT_LE(tasks.timeRemaining(), 0.03);
  EXPECT_EQ(tasks.begin(nullptr), 3U);
  EXPECT_EQ(tasks.begin([&] {
    tasks.end(4);
    EXPECT_EQ(tasks.timeRemaining(), 0);
    // A task that begins now has a budget of its own.
    tasks.begin(note(5));
  }),
            4U);
  runUntil([&] { return expired.size() == 2; });
  EXPECT_THAT(expired, ElementsAre(2, 5));

  tasks.begin(note(6));
  tasks.becameActive();
  settle();
  EXPECT_THAT(expired, ElementsAre(2, 5));
  EXPECT_EQ(tasks.timeRemaining(), std::numeric_limits<double>::max());
}

/// Stands for an application that takes a scheme.
class Taker : public QObject {
  Q_OBJECT
 public:
  std::vector<QUrl> taken;
  Q_SLOT void take(const QUrl& url) { taken.push_back(url); }
};

TEST(OpenUrlTest, OnlyWhatSomethingHandles) {
  Taker taker;
  QDesktopServices::setUrlHandler(QStringLiteral("shop"), &taker, "take");
  QDesktopServices::setUrlHandler(QStringLiteral("file"), &taker, "take");
  EXPECT_TRUE(openOnDesktop("shop://today?a=b%20c#d"));
  for (const char* refused : {"unknown://today", "file:///etc/hostname", "FILE:/etc/hostname",
                              "/etc/hostname", "hostname", "", "http://[", "shop"}) {
    EXPECT_FALSE(openOnDesktop(refused)) << refused;
  }
  ASSERT_EQ(taker.taken.size(), 1U);
  EXPECT_EQ(taker.taken[0].toString(QUrl::FullyEncoded), QStringLiteral("shop://today?a=b%20c#d"));

  const QTemporaryDir home;
  qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
  QDir(home.path()).mkdir(QStringLiteral("applications"));
  QFile list(home.filePath(QStringLiteral("applications/mimeinfo.cache")));
  ASSERT_TRUE(list.open(QIODevice::WriteOnly));
  list.write("[MIME Cache]\ntext/plain=a.desktop;\nx-scheme-handler/shop=b.desktop;\n");
  list.close();
  EXPECT_TRUE(hasSchemeHandler("shop"));
  EXPECT_FALSE(hasSchemeHandler("sho"));
}

}  // namespace
}  // namespace korvani::qt

#include "lifecycle_test.moc"
