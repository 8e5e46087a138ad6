// The kit on the Linux phone where things are missing that nearly every machine has.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QDBusConnection>
#include <QDir>
#include <QLocale>
#include <QSettings>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "private_bus.h"
#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::Value;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

/// The lines of all, from any thread.
class Lines {
 public:
  Lines() {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& text) {
      const std::lock_guard lock(mutex_);
      lines_.push_back(text.toStdString());
      QAbstractEventDispatcher::instance(QCoreApplication::instance()->thread())->wakeUp();
    });
  }
  ~Lines() { qInstallMessageHandler(nullptr); }

  static std::vector<std::string> taken() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }
  /// Runs until it is said what became of the request; whether that is an answer.
  static bool isAnswered(const std::string& request) {
    std::string outcome;
    runUntil([&] {
      const std::lock_guard lock(mutex_);
      const auto found = std::find_if(lines_.begin(), lines_.end(), [&](const std::string& line) {
        return line.find("request url : " + request) != line.npos ||
               line.find("quest " + request + " -- ") != line.npos;
      });
      if (found != lines_.end()) outcome = *found;
      return found != lines_.end();
    });
    return outcome.starts_with("SUCCESS");
  }

 private:
  static inline std::mutex mutex_;
  static inline std::vector<std::string> lines_;
};

/// Notices a whole file that gets its name in a folder, though it may not stay there for long.
class Arrivals {
 public:
  explicit Arrivals(const QString& folder) : events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_TRUE(QDir().mkpath(folder));
    EXPECT_GE(::inotify_add_watch(events_, QFile::encodeName(folder), IN_CREATE | IN_MOVED_TO), 0);
  }
  ~Arrivals() { ::close(events_); }
  bool areThere() const {
    int bytes = 0;
    return ::ioctl(events_, FIONREAD, &bytes) == 0 && bytes > 0;
  }

 private:
  const int events_;
};

/// This process can open so many more.
void leaveDescriptors(int count) {
  int end = 0;
  for (int left = count; left > 0; ++end) left -= ::fcntl(end, F_GETFD) < 0 ? 1 : 0;
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = static_cast<rlim_t>(end);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

void liftTheLimit() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

struct Lack {
  const char* name;
  void (*take)();
  /// Where a request may fail, and files may not be written.
  bool isHard = false;
  /// Parts of the report of a beacon.
  std::string timezone = "%2B0000";
  std::string locale = "en_US";

  friend void PrintTo(const Lack& lack, std::ostream* out) { *out << lack.name; }
};

void takeBus(const char* variable) {
  const bool isOfSession = variable == std::string_view("DBUS_SESSION_BUS_ADDRESS");
  qputenv(variable, "unix:path=/nowhere");
  EXPECT_EQ(QDBusConnection::sessionBus().isConnected(), !isOfSession);
  EXPECT_EQ(QDBusConnection::systemBus().isConnected(), isOfSession);
}
void takeTimeZones() {
  qputenv("TZDIR", "/nowhere");
  qputenv("TZ", "Europe/Paris");
}
/// As far from UTC as can be, with changes at midnight.
void goFarEast() { qputenv("TZ", "<+14>-14<+13>-13,M3.2.0/0,M11.1.0/0"); }
/// Other digits, and in one of them another calendar.
void speak(const char* locale) {
  for (const char* name : {"LANG", "LC_ALL"}) qputenv(name, locale);
  QLocale::setDefault(QLocale(QLatin1String(locale)));
}

class Surroundings : public testing::TestWithParam<Lack> {};

TEST_P(Surroundings, AreLivedWith) {
  const Lack& lack = GetParam();
  RawServer server([](auto...) {
    return RawServer::reply(R"({"success":true,"notification_text":"Hello","type":"IMG"})");
  });
  const auto folder = std::make_unique<QTemporaryDir>(
      QDir::tempPath() + QStringLiteral("/a \u00e4\u4e2d=%20'[x]-XXXXXX"));
  const QString settings = folder->filePath("settings.ini");
  const Arrivals notifications(folder->filePath("notifications"));
  const PrivateBus bus;
  lack.take();
  const Lines lines;
  const auto phone = Phone::create(
      {}, {.walkFile = {},
           .mappedHosts = {{"127.0.0.1:8780", "127.0.0.1:" + std::to_string(server.port())}},
           .settingsFile = settings,
           .notificationsFolder = folder->filePath("notifications")});
  platform::Platform::install(phone);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
  // There is nobody to tell of debug lines before.
  Korvani::initWithAPIKey(std::nullopt, nullptr, false);
  Korvani::setDebugLogEnabled(true);
  Korvani::initWithAPIKey("key", nullptr, false);
  Korvani::requestLocalizationAndNotificationsAuthorization();
  EXPECT_TRUE(Lines::isAnswered("configuration") || lack.isHard);
  const auto report = [](std::uint16_t minor) {
    const std::shared_ptr<platform::LocationManagerDelegate> kit = Korvani::sharedInstance();
    kit->locationManagerDidRangeBeacons(
        nullptr, {{.proximityUUID = {}, .major = 1, .minor = minor, .proximity = 2}}, nullptr);
    return Lines::isAnswered("scenario");
  };
  EXPECT_TRUE(report(1) || lack.isHard);
  Korvani::didReceiveLocalNotification(
      Value::Dictionary{{"type", "IMG"},
                        {"image", Value::Dictionary{{"url", "http://127.0.0.1:8780/"}}},
                        {"scenario_history_id", 1}});
  EXPECT_TRUE(Lines::isAnswered("confirm") || lack.isHard);
  platform::UserDefaults& store = phone->standardUserDefaults();
  const platform::Date date{std::chrono::milliseconds(1'782'000'000'001)};
  store.setObject(date, "date");
  store.synchronize();
  EXPECT_EQ(store.objectForKey("date"), Value(date));
  if (!lack.isHard) {
    EXPECT_TRUE(QSettings(settings, QSettings::IniFormat).contains("date"));
    // Where there is no service it is a banner at once, and the file has gone again.
    runUntil([&] { return notifications.areThere(); });
    EXPECT_THAT(Lines::taken(), Not(Contains(HasSubstr("cannot be written"))));
  }

  // When all is there again, so are the reports.
  liftTheLimit();
  Lines::taken();
  EXPECT_TRUE(report(2));
  EXPECT_THAT(server.requests(),
              Contains(AllOf(HasSubstr("minor=0002"), HasSubstr("battery_level=-100&"),
                             HasSubstr("&locale=" + lack.locale + "&"),
                             HasSubstr("timezone=" + lack.timezone))));
  // What is set last is written when the application ends.
  delete QCoreApplication::instance();
  const QString path = folder->path();
  EXPECT_TRUE(QFile::exists(path));
  EXPECT_TRUE(folder->remove());
}

INSTANTIATE_TEST_SUITE_P(
    , Surroundings,
    testing::Values(Lack{"NoSessionBus", [] { takeBus("DBUS_SESSION_BUS_ADDRESS"); }},
                    Lack{"NoSystemBus", [] { takeBus("DBUS_SYSTEM_BUS_ADDRESS"); }},
                    Lack{"NoTimeZones", &takeTimeZones}, Lack{"FarEast", &goFarEast, false, "%2B1"},
                    Lack{"Arabic", [] { speak("ar_EG.UTF-8"); }, false, "%2B0000", "ar_EG"},
                    Lack{"Persian", [] { speak("fa_IR.UTF-8"); }, false, "%2B0000", "fa_IR"},
                    Lack{"FewDescriptors", [] { leaveDescriptors(FEW_DESCRIPTORS); }, true}),
    [](const auto& lack) { return lack.param.name; });

}  // namespace
}  // namespace korvani::qt
