// The application's passage into the background and back, and the time that it has there.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/background_tasks.h>
#include <korvani/qt/bus_call.h>
#include <korvani/qt/lifecycle.h>
#include <korvani/qt/phone.h>

#include <QDBusArgument>
#include <QDir>
#include <QTemporaryDir>
#include <QWidget>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "private_bus.h"
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
  window.showMinimized();
  becomes("background");
  window.showNormal();
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
  const PrivateBus bus;  // without a logind
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

TEST(PhoneTest, TellsTheHostOfTheBackgroundAndThenItsObservers) {
  const PrivateBus bus;
  const QTemporaryDir folder;
  QWidget window;
  PhoneOptions options;
  options.settingsFile = folder.filePath(QStringLiteral("settings.ini"));
  options.backgroundTime = std::chrono::seconds(50);
  const auto phone = Phone::create(&window, options);
  std::vector<std::string> told;
  phone->forwardLifecycle([&] { told.emplace_back("background"); },
                          [&] { told.emplace_back("active"); });
  phone->defaultNotificationCenter().addObserver(
      platform::kApplicationDidEnterBackgroundNotification, [&] { told.emplace_back("observer"); });
  window.show();
  window.activateWindow();
  runUntil([&] { return !told.empty(); });
  EXPECT_GT(phone->application().backgroundTimeRemaining(), 1e9);
  window.showMinimized();
  runUntil([&] { return told.size() == 3; });
  EXPECT_THAT(told, ElementsAre("active", "background", "observer"));
  EXPECT_LE(phone->application().backgroundTimeRemaining(), 50);
}

TEST(BusCallTest, AnAnswerThatIsThereAtOnceIsToldBeforeWhatComesLater) {
  const PrivateBus bus;
  std::vector<std::string> told;
  QObject receiver;
  const auto session = QDBusConnection::sessionBus();
  // Nobody is there; of itself the process knows so without asking the bus.
  call(session,
       newCall(session.baseService(), QStringLiteral("/none"), QStringLiteral("none.None"),
               QStringLiteral("None")),
       &receiver, [&](const QDBusMessage& answer) {
         EXPECT_TRUE(isError(answer));
         told.emplace_back("answer");
       });
  QMetaObject::invokeMethod(
      &receiver, [&] { told.emplace_back("later"); }, Qt::QueuedConnection);
  settle();
  EXPECT_THAT(told, ElementsAre("answer", "later"));
}

class SleepTest : public testing::Test {
 protected:
  void startLogind(const QStringList& how = {QStringLiteral("--template"),
                                             QStringLiteral("logind")}) {
    logind_.emplace(kLogind, kPath, QStringList{QStringLiteral("--session")} + how);
  }
  void tellSleep(bool isNear) {
    logind_->mock(QStringLiteral("EmitSignal"), {kManager, QStringLiteral("PrepareForSleep"),
                                                 QStringLiteral("b"), QVariantList{isNear}});
  }
  /// Who holds up which kind of sleep, in which way; asked after all that this process has asked.
  static std::vector<QString> inhibitors() {
    const auto question =
        QDBusMessage::createMethodCall(kLogind, kPath, kManager, QStringLiteral("ListInhibitors"));
    const auto answer = QDBusConnection::systemBus().call(question);
    const auto list = answer.arguments().value(0).value<QDBusArgument>();
    std::vector<QString> found;
    for (list.beginArray(); !list.atEnd();) {
      QString what, who, why, mode;
      uint user = 0, process = 0;
      list.beginStructure();
      list >> what >> who >> why >> mode >> user >> process;
      list.endStructure();
      found.push_back(what + QLatin1Char(' ') + mode);
    }
    list.endArray();
    return found;
  }
  static void becomes(std::size_t count) {
    while (inhibitors().size() != count) QCoreApplication::processEvents();
  }
  /// Descriptors that a program started now would get.
  static QStringList inherited() {
    QStringList found;
    for (const QString& name : QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files)) {
      const int flags = ::fcntl(name.toInt(), F_GETFD);
      if (flags != -1 && (flags & FD_CLOEXEC) == 0) found.append(name);
    }
    return found;
  }

  inline static const QString kLogind = QStringLiteral("org.freedesktop.login1");
  inline static const QString kPath = QStringLiteral("/org/freedesktop/login1");
  inline static const QString kManager = QStringLiteral("org.freedesktop.login1.Manager");
  const PrivateBus bus_;
  std::optional<MockService> logind_;
  BackgroundTasks tasks_{std::chrono::hours(1)};
};

TEST_F(SleepTest, IsHeldUpOnlyWhileATaskIsOpen) {
  const QStringList inheritedBefore = inherited();
  const auto task = tasks_.begin(nullptr);
  startLogind();  // late
  becomes(1);
  EXPECT_THAT(inhibitors(), ElementsAre(QStringLiteral("sleep delay")));
  EXPECT_EQ(inherited(), inheritedBefore);
  const auto another = tasks_.begin(nullptr);
  tasks_.end(task);
  EXPECT_EQ(inhibitors().size(), 1U);
  tasks_.end(another);
  becomes(0);
  // It has ended before logind answers.
  tasks_.end(tasks_.begin(nullptr));
  EXPECT_EQ(inhibitors().size(), 1U);
  becomes(0);

  tasks_.begin(nullptr);
  becomes(1);
  logind_.reset();
  startLogind();
  becomes(1);
}

TEST_F(SleepTest, WaitsForTheTasksToExpireInOrder) {
  std::vector<std::size_t> held;
  startLogind();
  tasks_.enteredBackground();
  tasks_.begin([&] {
    tasks_.end(1);
    held.push_back(inhibitors().size());
  });
  tasks_.begin([&] {
    EXPECT_EQ(held.size(), 1U);
    EXPECT_EQ(tasks_.timeRemaining(), 0);
    held.push_back(inhibitors().size());
    tasks_.begin(nullptr);  // on the brink of sleep
    EXPECT_GT(tasks_.timeRemaining(), 3000);
  });
  becomes(1);
  tellSleep(true);
  runUntil([&] { return held.size() == 2; });
  EXPECT_THAT(held, ElementsAre(1, 1));
  becomes(0);
  settle();
  becomes(0);
  tellSleep(false);
  becomes(1);
}

TEST_F(SleepTest, OfALogindThatRefusesExpiresTasksAllTheSame) {
  startLogind({kLogind, kPath, kManager});
  bool expired = false;
  tasks_.begin([&] { expired = true; });
  settle();
  tellSleep(true);
  runUntil([&] { return expired; });
  EXPECT_EQ(tasks_.timeRemaining(), std::numeric_limits<double>::max()) << "in the foreground";
}

}  // namespace
}  // namespace korvani::qt
