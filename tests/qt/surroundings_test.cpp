// The kit on the Linux phone where things are missing that nearly every machine has.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <sys/resource.h>

#include <QAbstractEventDispatcher>
#include <QDir>
#include <QLocale>
#include <QTemporaryDir>
#include <algorithm>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "private_bus.h"
#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::Value;
using testing::Contains;
using testing::HasSubstr;

/// The kit's lines, from any thread.
class Lines {
 public:
  Lines() {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext& context, const QString& text) {
      if (QLatin1String(context.category) != QLatin1String("korvani")) return;
      const std::lock_guard lock(mutex_);
      lines_.push_back(text.toStdString());
      QAbstractEventDispatcher::instance(QCoreApplication::instance()->thread())->wakeUp();
    });
  }
  ~Lines() { qInstallMessageHandler(nullptr); }

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

/// This process can open so many more.
void leaveDescriptors(int count) {
  int end = 0;
  for (int left = count; left > 0; ++end) left -= ::fcntl(end, F_GETFD) < 0 ? 1 : 0;
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = static_cast<rlim_t>(end);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

struct Lack {
  const char* name;
  void (*take)();
  /// Where a request may fail.
  bool isHard = false;
  /// A part of the report of a beacon.
  const char* reported = "device_type=iOS";

  friend void PrintTo(const Lack& lack, std::ostream* out) { *out << lack.name; }
};

void takeBuses() {
  for (const char* bus : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
    qputenv(bus, "unix:path=/nowhere");
  }
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
  RawServer server([](auto...) {
    return RawServer::reply(R"({"success":true,"notification_text":"Hello","type":"IMG"})");
  });
  const QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/a \u00e4\u4e2d=%20'[x]-XXXXXX"));
  const PrivateBus bus;
  GetParam().take();
  const Lines lines;
  const auto phone = Phone::create(
      {}, {.walkFile = {},
           .mappedHosts = {{"127.0.0.1:8780", "127.0.0.1:" + std::to_string(server.port())}},
           .settingsFile = folder.filePath("settings.ini"),
           .notificationsFolder = folder.filePath("notifications")});
  platform::Platform::install(phone);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
  // There is nobody to tell of debug lines before.
  Korvani::initWithAPIKey(std::nullopt, nullptr, false);
  Korvani::setDebugLogEnabled(true);
  Korvani::initWithAPIKey("key", nullptr, false);
  Korvani::requestLocalizationAndNotificationsAuthorization();
  EXPECT_TRUE(Lines::isAnswered("configuration") || GetParam().isHard);
  const std::shared_ptr<platform::LocationManagerDelegate> kit = Korvani::sharedInstance();
  kit->locationManagerDidRangeBeacons(
      nullptr, {{.proximityUUID = {}, .major = 1, .minor = 1, .proximity = 2}}, nullptr);
  if (Lines::isAnswered("scenario")) {
    EXPECT_THAT(server.requests(), Contains(HasSubstr(GetParam().reported)));
  } else {
    EXPECT_TRUE(GetParam().isHard);
  }
  Korvani::didReceiveLocalNotification(
      Value::Dictionary{{"type", "IMG"},
                        {"image", Value::Dictionary{{"url", "http://127.0.0.1:8780/"}}},
                        {"scenario_history_id", 1}});
  EXPECT_TRUE(Lines::isAnswered("confirm") || GetParam().isHard);
}

INSTANTIATE_TEST_SUITE_P(
    , Surroundings,
    testing::Values(Lack{"NoBus", &takeBuses},
                    Lack{"NoTimeZones", &takeTimeZones, false, "&timezone=%2B0000"},
                    Lack{"FarEast", &goFarEast, false, "&timezone=%2B1"},
                    Lack{"Arabic", [] { speak("ar_EG.UTF-8"); }, false, "&battery_level=-100&"},
                    Lack{"Persian", [] { speak("fa_IR.UTF-8"); }, false, "&battery_level=-100&"},
                    Lack{"FewDescriptors", [] { leaveDescriptors(FEW_DESCRIPTORS); }, true}),
    [](const auto& lack) { return lack.param.name; });

}  // namespace
}  // namespace korvani::qt
