// Slides, as the settings of desktops ask for them.
#include <gtest/gtest.h>
#include <korvani/qt/motion.h>

#include <QDBusVariant>
#include <QMap>

#include "fake_services.h"
#include "private_bus.h"

namespace korvani::qt {
namespace {

const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");

TEST(MotionTest, FollowsTheSettingsOfDesktops) {
  const PrivateBus bus;
  FakeServices desktop;
  QMap<QString, QVariantMap> settings{{"org.freedesktop.appearance", {{"reduced-motion", 1U}}}};
  desktop.answers = {{QStringLiteral("ReadAll"),
                      [&](const QDBusMessage&) { return QVariant::fromValue(settings); }}};
  Motion motion;
  motion.follow();
  EXPECT_EQ(motion.slideMilliseconds(), 300) << "before there is a portal";
  desktop.enter(kPortal);
  runUntil([&] { return motion.slideMilliseconds() == 0; });
  const auto change = [&](const QString& group, const QString& key, const QVariant& value) {
    desktop.tell(kPath, QStringLiteral("org.freedesktop.portal.Settings"), "SettingChanged",
                 {group, key, QVariant::fromValue(QDBusVariant(value))});
  };
  change("org.freedesktop.appearance", "reduced-motion", 0U);
  runUntil([&] { return motion.slideMilliseconds() == 300; });
  const struct {
    const char *group, *key;
    QVariant less, more;
  } known[] = {
      {"org.gnome.desktop.interface", "enable-animations", false, true},
      {"org.kde.kdeglobals.KDE", "AnimationDurationFactor", QString("0"), QString("0.5")},
      {"org.freedesktop.appearance", "reduced-motion", 1U, QString("nonsense")},
  };
  for (const auto& setting : known) {
    change(setting.group, setting.key, setting.less);
    runUntil([&] { return motion.slideMilliseconds() == 0; });
    change(setting.group, "another-key", setting.more);
    change("org.example", setting.key, setting.more);
    change("org.gnome.desktop.interface", "enable-animations", QString("nonsense"));
    change(setting.group, setting.key, setting.more);
    runUntil([&] { return motion.slideMilliseconds() == 300; });
  }

  settings.clear();
  change("org.freedesktop.appearance", "reduced-motion", 1U);
  runUntil([&] { return motion.slideMilliseconds() == 0; });
  desktop.leave(kPortal);
  runUntil([&] { return motion.slideMilliseconds() == 300; });
}

}  // namespace
}  // namespace korvani::qt
