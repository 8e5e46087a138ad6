// The display through a session and screen savers that lock, idle, come and go.
#include <gtest/gtest.h>
#include <korvani/qt/display.h>

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <utility>

#include "private_bus.h"

namespace korvani::qt {
namespace {

const QString kLogind = QStringLiteral("org.freedesktop.login1");
constexpr char kSession[] = "/org/freedesktop/login1/session/_31";
const QString kLocked = QStringLiteral("LockedHint");
const QString kIdle = QStringLiteral("IdleHint");
const QString kSavers[] = {QStringLiteral("org.freedesktop.ScreenSaver"),
                           QStringLiteral("org.gnome.ScreenSaver")};

/// logind's manager and session, and both savers, in one object.
class Desktop final : public QObject {
  Q_OBJECT
  Q_PROPERTY(bool LockedHint READ locked)
  Q_PROPERTY(bool IdleHint READ idle)
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Session")

 public:
  Desktop() {
    const auto exported = QDBusConnection::ExportAllProperties;
    bus.registerObject(QString::fromLatin1(kSession), this, exported);
  }
  bool locked() const { return isLocked; }
  bool idle() {
    ++reads;
    return isIdle;
  }
  void signal(const QString& path, const QString& interface, const char* name,
              const QVariantList& arguments) {
    auto message = QDBusMessage::createSignal(path, interface, QString::fromLatin1(name));
    message.setArguments(arguments);
    bus.send(message);
  }
  void hint(const QVariantMap& changed, const QStringList& invalidated = {}) {
    isLocked = changed.value(kLocked, isLocked).toBool();
    isIdle = changed.value(kIdle, isIdle).toBool();
    hintOf(kSession, changed, invalidated);
  }
  void hintOf(const char* session, const QVariantMap& changed,
              const QStringList& invalidated = {}) {
    signal(QString::fromLatin1(session), QStringLiteral("org.freedesktop.DBus.Properties"),
           "PropertiesChanged",
           {QStringLiteral("org.freedesktop.login1.Session"), changed, invalidated});
  }
  void save(const QString& saver, const QVariant& active) {
    signal(QStringLiteral("/ScreenSaver"), saver, "ActiveChanged", {active});
  }

  QDBusConnection bus = QDBusConnection::connectToBus(
      QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")), QStringLiteral("desktop"));
  bool isLocked = false;
  bool isIdle = false;
  int reads = 0;
};

class Manager final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")
 public Q_SLOTS:
  Q_SCRIPTABLE QDBusObjectPath GetSession(const QString& which) {
    return QDBusObjectPath(QStringLiteral("/org/freedesktop/login1/session/") +
                           (which == QLatin1String("auto") ? "_31" : which));
  }
};

class FreeSaver final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")
 public:
  bool isActive = false;
  int reads = 0;
 public Q_SLOTS:
  Q_SCRIPTABLE bool GetActive() {
    ++reads;
    return isActive;
  }
};

class DisplayTest : public testing::Test {
 protected:
  DisplayTest() {
    const auto exported = QDBusConnection::ExportScriptableSlots;
    desktop_.bus.registerObject(QStringLiteral("/org/freedesktop/login1"), &manager_, exported);
    desktop_.bus.registerObject(QStringLiteral("/org/freedesktop/ScreenSaver"), &saver_, exported);
  }
  void enter(const QString& service) { ASSERT_TRUE(desktop_.bus.registerService(service)); }
  void leave(const QString& service) { ASSERT_TRUE(desktop_.bus.unregisterService(service)); }
  /// Signals come in order: once this one has made the hints be read, all before it have been
  /// heard.
  void expectTold(int times, const char* when) {
    const int before = desktop_.reads;
    desktop_.hint({}, {kIdle});
    runUntil([&] { return desktop_.reads > before; });
    EXPECT_EQ(std::exchange(told_, 0), times) << when;
  }

  const PrivateBus bus_;
  Desktop desktop_;
  Manager manager_;
  FreeSaver saver_;
  int told_ = 0;
};

TEST_F(DisplayTest, IsOnWhenTheLastReasonHasGone) {
  desktop_.isLocked = true;
  enter(kLogind);
  const Display display([this] { ++told_; });
  runUntil([this] { return desktop_.reads > 0; });
  desktop_.hint({{kLocked, true}});
  expectTold(0, "at the start");
  desktop_.hint({{kLocked, false}});
  desktop_.hint({{kLocked, false}});
  expectTold(1, "it was locked at the start");

  desktop_.hint({{kLocked, true}, {kIdle, true}});
  desktop_.hint({{kLocked, false}});
  desktop_.hint({{kIdle, true}});
  expectTold(0, "still idle");
  desktop_.hint({{kLocked, true}});
  desktop_.hint({{kLocked, false}, {kIdle, false}});
  expectTold(1, "both at once");

  desktop_.hint({{kLocked, true}});
  desktop_.hintOf(kSession, {{kLocked, QStringLiteral("")}, {QStringLiteral("State"), false}});
  desktop_.hintOf("/org/freedesktop/login1/session/_32", {{kLocked, false}});
  expectTold(0, "a hint that is no boolean, another session");
  desktop_.isLocked = false;
  desktop_.hint({}, {kLocked});
  runUntil([this] { return told_ == 1; });
  expectTold(1, "a hint that is to be read");

  desktop_.hint({{kLocked, true}});
  expectTold(0, "locked");
  leave(kLogind);
  desktop_.isLocked = false;
  const int before = desktop_.reads;
  enter(kLogind);
  runUntil([&] { return desktop_.reads > before; });
  expectTold(0, "a logind that left");
}

TEST_F(DisplayTest, SaversComeAndGo) {
  saver_.isActive = true;
  enter(kLogind);
  const Display display([this] { ++told_; });
  runUntil([this] { return desktop_.reads > 0; });
  for (const QString& saver : kSavers) enter(saver);
  runUntil([this] { return saver_.reads == 1; });
  desktop_.save(kSavers[1], true);
  desktop_.save(kSavers[0], false);
  desktop_.save(kSavers[1], QStringLiteral("off"));
  desktop_.save(kSavers[0], false);
  leave(kSavers[1]);
  desktop_.save(kSavers[0], true);
  desktop_.save(kSavers[0], false);
  runUntil([this] { return told_ > 0; });
  expectTold(1, "one saver goes on while the other ends, and then it leaves");
}

}  // namespace
}  // namespace korvani::qt

#include "display_test.moc"
