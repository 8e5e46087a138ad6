// What the device says of itself while its settings change: locale, time zone; and its randomness.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/platform/date_formatter.h>
#include <korvani/qt/clock.h>
#include <korvani/qt/system_locale.h>

#include <QDBusVariant>
#include <chrono>
#include <tuple>
#include <utility>

#include "fake_services.h"
#include "private_bus.h"

namespace korvani::qt {
namespace {

constexpr platform::Date kSummer{std::chrono::milliseconds(1'782'000'000'000)};
constexpr platform::Date kWinter{std::chrono::milliseconds(1'767'268'800'000)};

TEST(LocaleTest, IsThatOfTheMoment) {
  const PrivateBus bus;
  const SystemLocale locale;
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) qunsetenv(name);
  EXPECT_EQ(locale.identifier(), "en_US");
  for (const auto& [value, expected] : {std::pair{"fr_FR.UTF-8", "fr_FR"},
                                        {"de_CH.UTF-8@x", "de_CH"},
                                        {"C.UTF-8", "en_US"},
                                        {"POSIX", "en_US"}}) {
    qputenv("LANG", value);
    EXPECT_EQ(locale.identifier(), expected);
  }
  qputenv("LC_MESSAGES", "it_IT.UTF-8");
  EXPECT_EQ(locale.identifier(), "it_IT");

  // The settings of the system change, twice: once told with the value, once without.
  FakeServices system;
  QStringList settings{QStringLiteral("LANG=nb_NO.UTF-8"), QStringLiteral("LC_TIME=fi_FI"),
                       QStringLiteral("nonsense")};
  system.answers = {{QStringLiteral("Get"), [&](const QDBusMessage&) {
                       return QVariant::fromValue(QDBusVariant(settings));
                     }}};
  const QString localed = QStringLiteral("org.freedesktop.locale1");
  system.enter(localed);
  const auto changed = [&](const QVariantMap& values, const QStringList& invalidated) {
    system.tell(QStringLiteral("/org/freedesktop/locale1"),
                QStringLiteral("org.freedesktop.DBus.Properties"), "PropertiesChanged",
                {localed, values, invalidated});
  };
  changed({{QStringLiteral("Locale"), settings}}, {});
  runUntil([&] { return locale.identifier() == "nb_NO"; });
  settings = QStringList{QStringLiteral("LANG=C.UTF-8"), QStringLiteral("LC_MESSAGES=es_MX")};
  changed({}, {QStringLiteral("Locale")});
  runUntil([&] { return locale.identifier() == "es_MX"; });
  qputenv("LC_ALL", "sv_SE");
  EXPECT_EQ(locale.identifier(), "sv_SE");
}

TEST(ClockTest, FollowsTheZoneOfTheProcess) {
  const Clock clock(ApplicationLife::ofProcess());
  for (const auto& [zone, inSummer, inWinter] : {std::tuple{"CET-1CEST,M3.5.0,M10.5.0/3", 120, 60},
                                                 {"NST3:30", -210, -210},
                                                 {"UTC0", 0, 0}}) {
    qputenv("TZ", zone);
    EXPECT_EQ(clock.utcOffset(kSummer).count(), inSummer) << zone;
    EXPECT_EQ(clock.utcOffset(kWinter).count(), inWinter) << zone;
  }
}

TEST(ClockTest, FollowsTheZoneAcrossMidnight) {
  using namespace std::chrono_literals;
  // An hour back and an hour on, each as a day begins.
  qputenv("TZ", "<+14>-14<+13>-13,M3.2.0/0,M11.1.0/0");
  const Clock clock(ApplicationLife::ofProcess());
  const platform::DateFormatter formatter(clock, "yyyyMMdd Z");
  const platform::Date back = std::chrono::sys_days{2026y / 3 / 7} + 10h;
  const platform::Date on = std::chrono::sys_days{2026y / 10 / 31} + 11h;
  for (const auto& [date, expected] : {std::pair{back - 1min, "20260307 +1400"},
                                       {back + 1min, "20260307 +1300"},
                                       {back + 61min, "20260308 +1300"},
                                       {on - 1min, "20261031 +1300"},
                                       {on + 1min, "20261101 +1400"}}) {
    EXPECT_EQ(formatter.stringFromDate(date), expected);
  }
}

TEST(RandomUuidsTest, AreRandom) {
  RandomUuids uuids;
  const std::string one = uuids.newUuid().UUIDString();
  EXPECT_THAT(one, testing::ContainsRegex("^.{8}-.{4}-4.{3}-[89AB].{3}-.{12}$"));
  EXPECT_NE(one, uuids.newUuid().UUIDString());
}

}  // namespace
}  // namespace korvani::qt
