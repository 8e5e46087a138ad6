// The display through a session and screen savers that lock, idle, come and go.
#include <gtest/gtest.h>
#include <korvani/qt/display.h>

#include <QDBusObjectPath>
#include <utility>

#include "fake_services.h"
#include "private_bus.h"

namespace korvani::qt {
namespace {

const QString kLogind = QStringLiteral("org.freedesktop.login1");
const QString kSession = QStringLiteral("/org/freedesktop/login1/session/_31");
const QString kLocked = QStringLiteral("LockedHint");
const QString kIdle = QStringLiteral("IdleHint");
const QString kSavers[] = {QStringLiteral("org.freedesktop.ScreenSaver"),
                           QStringLiteral("org.gnome.ScreenSaver")};

class DisplayTest : public testing::Test {
 protected:
  DisplayTest() {
    desktop_.answers = {
        {QStringLiteral("GetSession"),
         [](const QDBusMessage&) { return QVariant::fromValue(QDBusObjectPath(kSession)); }},
        {QStringLiteral("GetAll"), [this](const QDBusMessage&) { return hints_; }},
        {QStringLiteral("GetActive"), [](const QDBusMessage&) { return true; }},
    };
  }
  int reads() const { return desktop_.calls.value(QStringLiteral("GetAll")); }
  void tellHints(const QString& session, const QVariantMap& changed,
                 const QStringList& invalidated = {},
                 const char* interface = "org.freedesktop.login1.Session") {
    desktop_.tell(session, QStringLiteral("org.freedesktop.DBus.Properties"), "PropertiesChanged",
                  {QString::fromLatin1(interface), changed, invalidated});
  }
  void hint(const QVariantMap& changed) {
    hints_.insert(changed);
    tellHints(kSession, changed);
  }
  void save(const QString& saver, const QVariant& active) {
    desktop_.tell(QStringLiteral("/ScreenSaver"), saver, "ActiveChanged", {active});
  }
  /// Signals come in order: once this one has made the hints be read, all before have been heard.
  void expectTold(int times, const char* when) {
    const int before = reads();
    tellHints(kSession, {}, {kIdle});
    runUntil([&] { return reads() > before; });
    EXPECT_EQ(std::exchange(told_, 0), times) << when;
  }

  const PrivateBus bus_;
  FakeServices desktop_;
  FakeServices stranger_{QStringLiteral("stranger")};
  QVariantMap hints_{{kLocked, true}, {kIdle, false}};
  int told_ = 0;
};

TEST_F(DisplayTest, IsOnWhenTheLastReasonHasGone) {
  desktop_.enter(kLogind);
  const Display display([this] { ++told_; });
  runUntil([this] { return reads() > 0; });
  expectTold(0, "at the start");
  hint({{kLocked, false}});
  hint({{kLocked, false}});
  expectTold(1, "locked at the start");
  hint({{kLocked, true}, {kIdle, true}});
  hint({{kLocked, false}});
  expectTold(0, "still idle");
  hint({{kLocked, true}});
  hint({{kLocked, false}, {kIdle, false}});
  expectTold(1, "both at once");
  hint({{kLocked, true}});
  tellHints(kSession, {{kLocked, QString()}, {QStringLiteral("State"), false}});
  tellHints(QStringLiteral("/org/freedesktop/login1/session/_32"), {{kLocked, false}});
  tellHints(kSession, {{kLocked, false}}, {}, "org.example.Session");
  stranger_.tell(kSession, QStringLiteral("org.freedesktop.DBus.Properties"), "PropertiesChanged",
                 {QStringLiteral("org.freedesktop.login1.Session"), QVariantMap{{kLocked, false}},
                  QStringList()});
  stranger_.settle();
  expectTold(0, "a hint that is no boolean, another session, another interface, another sender");
  hints_[kLocked] = false;
  tellHints(kSession, {}, {kLocked});
  runUntil([this] { return told_ == 1; });
  hint({{kLocked, true}});
  desktop_.leave(kLogind);
  hints_[kLocked] = false;
  const int before = reads();
  desktop_.enter(kLogind);
  runUntil([&] { return reads() > before; });
  expectTold(1, "a hint that had to be read, a logind that left");
}

TEST_F(DisplayTest, SaversComeAndGo) {
  hints_[kLocked] = false;
  desktop_.enter(kLogind);
  const Display display([this] { ++told_; });
  for (const QString& saver : kSavers) desktop_.enter(saver);
  runUntil([this] { return reads() > 0 && desktop_.calls[QStringLiteral("GetActive")] == 2; });
  save(kSavers[0], false);
  save(kSavers[1], QStringLiteral("off"));
  save(kSavers[0], false);
  desktop_.leave(kSavers[1]);
  save(kSavers[0], true);
  save(kSavers[0], false);
  runUntil([this] { return told_ > 0; });
  expectTold(1, "one saver goes on while the other ends, and then it leaves");
  for (const bool active : {true, false}) {
    stranger_.tell(QStringLiteral("/ScreenSaver"), kSavers[0], "ActiveChanged", {active});
  }
  stranger_.settle();
  expectTold(0, "a stranger's saver");
}

}  // namespace
}  // namespace korvani::qt
