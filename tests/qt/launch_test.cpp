// What outlives a process of the host: notifications on disk, and the host that one of them starts
// again, on a bus of the test's own that really starts it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/bus_call.h>
#include <korvani/qt/notifications/local_notifications.h>
#include <korvani/qt/notifications/sound.h>
#include <korvani/qt/notifications/store.h>
#include <signal.h>

#include <QAbstractEventDispatcher>
#include <QDBusArgument>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <algorithm>
#include <string>
#include <vector>

#include "fake_services.h"
#include "private_bus.h"
#include "raw_server.h"

namespace korvani::qt {
namespace {

using namespace notifications;
using platform::LocalNotification;
using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;

const QString kHost = QStringLiteral("org.example.Shop");
const Value kUserInfo = Value::Dictionary{{"id", (std::int64_t{1} << 53) + 1},
                                          {"large", std::uint64_t{1} << 63},
                                          {"none", Value()},
                                          {"text", "\u00e9\U0001f350 \n"},
                                          {"list", Value::Array{0.1, Value::Dictionary{}}},
                                          {"KVBeaconNotification", true}};

QByteArray contentOf(const QString& file) {
  QFile reading(file);
  return reading.open(QIODevice::ReadOnly) ? reading.readAll() : QByteArray();
}

void write(const QString& file, const QByteArray& content) {
  QFile writing(file);
  ASSERT_TRUE(writing.open(QIODevice::WriteOnly));
  writing.write(content);
}

TEST(StoreTest, KeepsEachUntilItIsTakenOnce) {
  const QTemporaryDir folder;
  const codec::JSON json;
  const QString inside = folder.filePath(QStringLiteral("new"));
  Store store(inside, json);
  const QString first = store.add({"text", "sound", kUserInfo});
  store.setPlace(first, QStringLiteral("place"));
  const QString second = store.add({"", "", Value()});
  const QDir files(inside);
  ASSERT_EQ(files.entryList(QDir::Files).size(), 2);
  for (const QFileInfo& file : files.entryInfoList(QDir::Files)) {
    EXPECT_EQ(file.permissions() & 0x0fff, QFile::ReadUser | QFile::WriteUser);
  }

  Store next(inside, json);
  EXPECT_THAT(next.ids(), ElementsAre(first, second));
  EXPECT_EQ(next.all().at(first).place, QStringLiteral("place"));
  const auto taken = next.take(first);
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->alertBody, "text");
  EXPECT_EQ(taken->soundName, "sound");
  EXPECT_EQ(taken->userInfo, kUserInfo);
  EXPECT_FALSE(store.take(first));
  EXPECT_FALSE(next.take(first));
  store.setPlace(first, QStringLiteral("other"));
  EXPECT_TRUE(store.take(second));
  EXPECT_EQ(files.entryList(QDir::Files), QStringList());
  EXPECT_FALSE(store.take(QStringLiteral("../new/") + second));
}

TEST(StoreTest, SurvivesWhatIsWrongOnDisk) {
  const QTemporaryDir folder;
  const codec::JSON json;
  const auto store = [&] { return Store(folder.path(), json); };
  const QString whole = store().add({"text", "", kUserInfo});
  const QString old = store().add({"text", "", kUserInfo});
  const QString cut = store().add({"text", "", kUserInfo});
  const auto file = [&](const QString& id) { return folder.filePath(id + ".notification"); };
  QByteArray content = contentOf(file(old));
  const qsizetype posted = content.indexOf("posted\":") + 8;
  write(file(old), content.replace(posted, 13, "1000000000000"));
  write(file(cut), contentOf(file(cut)).chopped(20));
  write(file(QStringLiteral("name")), contentOf(file(whole)));
  EXPECT_THAT(store().ids(), ElementsAre(whole));
  EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 1);

  // Where nothing can be written, this process at least knows.
  Store unwritten(file(whole), json);
  EXPECT_TRUE(unwritten.take(unwritten.add({"text", "", kUserInfo})));
}

TEST(SoundTest, IsFoundAmongTheResourcesAndTheDataFolders) {
  const QTemporaryDir folder;
  qputenv("XDG_DATA_HOME", folder.path().toLocal8Bit());
  qputenv("XDG_CACHE_HOME", folder.path().toLocal8Bit());
  const QString resource = findSound(QStringLiteral("fake_geoclue.py"));
  EXPECT_EQ(resource, QStringLiteral(":/fake_geoclue.py"));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(contentOf(soundOnDisk(resource)), contentOf(QStringLiteral(FAKE_GEOCLUE)));
  }
  const QString name = QStringLiteral("notificationKorvaniSound.caf");
  EXPECT_EQ(findSound(name), QString());
  const QDir data(folder.filePath(QStringLiteral("Korvani tests/phone")));
  ASSERT_TRUE(data.mkpath(QStringLiteral(".")));
  write(data.filePath(name), "sound");
  EXPECT_EQ(soundOnDisk(findSound(name)), data.filePath(name));
  QFile memory;
  const auto descriptor = soundInMemory(findSound(name));
  ASSERT_TRUE(memory.open(descriptor.fileDescriptor(), QIODevice::ReadOnly));
  EXPECT_EQ(memory.readAll(), "sound");
  EXPECT_EQ(findSound(QStringLiteral("../phone/") + name), QString());
  EXPECT_FALSE(soundInMemory(QString()).isValid());
}

/// The notification portal of a sandbox.
class Portal {
 public:
  Portal() {
    services_.answers[QStringLiteral("Get")] = [this](const QDBusMessage&) {
      return QVariant::fromValue(QDBusVariant(version));
    };
    services_.answers[QStringLiteral("AddNotification")] = [this](const QDBusMessage& call) {
      id = call.arguments().value(0).toString();
      added.push_back(qdbus_cast<QVariantMap>(call.arguments().value(1)));
      // A sound in a file is of no kind that this portal plays.
      const bool plays =
          added.back().value(QStringLiteral("sound")).typeId() != qMetaTypeId<QDBusArgument>();
      return plays ? QVariant(true) : QVariant();
    };
    services_.answers[QStringLiteral("RemoveNotification")] = [this](const QDBusMessage& call) {
      removed.push_back(call.arguments().value(0).toString());
      return true;
    };
    services_.enter(QStringLiteral("org.freedesktop.portal.Desktop"));
  }
  /// Opens the last as the portal does it for an application that is not on the bus by its name.
  void tellAction() {
    services_.tell(QStringLiteral("/org/freedesktop/portal/desktop"),
                   QStringLiteral("org.freedesktop.portal.Notification"), "ActionInvoked",
                   {id, added.back().value(QStringLiteral("default-action")),
                    QVariant::fromValue(QVariantList{id})});
  }
  /// Opens the last as it does for one that is, or that the bus can start.
  void activateAction() {
    const QString action = added.back().value(QStringLiteral("default-action")).toString();
    ASSERT_TRUE(action.startsWith(QStringLiteral("app.")));
    QDBusConnection::sessionBus().asyncCall(
        newCall(kHost, "/org/example/Shop", "org.freedesktop.Application", "ActivateAction",
                {action.mid(4), QVariantList{id}, QVariantMap{{"desktop-startup-id", "token"}}}));
  }

  uint version = 1;
  QString id;
  std::vector<QVariantMap> added;
  QStringList removed;

 private:
  FakeServices services_;
};

TEST(PortalTest, ShowsAndOpens) {
  const QTemporaryDir folder;
  const PrivateBus bus;
  const codec::JSON json;
  Portal portal;
  std::vector<std::string> raisedWith;
  std::vector<Value> opened;
  qputenv("SNAP", "here");
  const auto newNotifications = [&] {
    auto made = std::make_unique<LocalNotifications>(
        Surroundings{
            .showBanner = [](const auto&, const auto&) { return false; },
            .raiseWindow =
                [&] { raisedWith.push_back(qgetenv("XDG_ACTIVATION_TOKEN").toStdString()); }},
        folder.path(), json);
    made->setOpenedHandler([&](const Value& userInfo) { opened.push_back(userInfo); });
    return made;
  };
  const auto runUntilAdded = [&](std::size_t count) {
    runUntil([&] { return portal.added.size() == count; });
  };
  auto notifications = newNotifications();
  EXPECT_EQ(notifications->serviceName(), QStringLiteral("org.freedesktop.portal.Notification"));
  notifications->post({"<b>", "", kUserInfo});
  runUntilAdded(1);
  EXPECT_EQ(portal.added[0], (QVariantMap{{"title", QGuiApplication::applicationDisplayName()},
                                          {"body", "<b>"},
                                          {"default-action", "open-korvani-notification"},
                                          {"default-action-target", portal.id}}));
  portal.tellAction();
  portal.tellAction();
  runUntil([&] { return portal.removed.size() == 2; });
  EXPECT_THAT(opened, ElementsAre(kUserInfo));

  // A name of its own, and a portal that plays some sounds.
  notifications.reset();
  QGuiApplication::setDesktopFileName(kHost);
  notifications = newNotifications();
  portal.version = 2;
  notifications->post({"sound", "fake_geoclue.py", Value()});
  runUntilAdded(3);
  EXPECT_EQ(portal.added[1]["sound"].typeId(), qMetaTypeId<QDBusArgument>());
  EXPECT_EQ(portal.added[2]["sound"], QVariant("silent"));
  portal.activateAction();
  runUntil([&] { return opened.size() == 2; });
  EXPECT_THAT(raisedWith, ElementsAre("", "", "token"));
}

/// The host program of these tests, and the service that it talks to.
class LaunchTest : public testing::Test {
 protected:
  LaunchTest() { bus_.setStarted(kHost, (QStringList{command_} + arguments_).join(' ')); }
  ~LaunchTest() override {
    const auto answer =
        QDBusConnection::sessionBus().call(newBusCall("GetConnectionUnixProcessID", {kHost}));
    if (const uint host = answer.arguments().value(0).toUInt())
      kill(static_cast<pid_t>(host), SIGKILL);
  }
  bool heard(const std::string& text) const {
    const auto requests = server_.requests();
    return std::any_of(requests.begin(), requests.end(), [&](const std::string& request) {
      return request.find(text) != std::string::npos;
    });
  }

  RawServer server_{[](std::size_t, const std::string& request) {
    QAbstractEventDispatcher::instance(qApp->thread())->wakeUp();
    // A picture of one grey point.
    if (request.starts_with("GET /pear ")) return RawServer::reply("P5 1 1 255 a");
    return RawServer::reply("{\"success\": true}");
  }};
  PrivateBus bus_;
  Portal portal_;
  const QTemporaryDir folder_;
  const QString command_ = QStringLiteral("/usr/bin/env");
  const QStringList arguments_{
      QStringLiteral("SNAP=here"),
      QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS=") + qgetenv("DBUS_SYSTEM_BUS_ADDRESS"),
      QStringLiteral(LAUNCHED_HOST), folder_.path(), QString::number(server_.port())};
};

TEST_F(LaunchTest, StartsTheHostThatHasEnded) {
  QProcess first;
  const QString scenario = QStringLiteral(
      "{\"type\": \"IMG\", \"image\": {\"url\": \"http://shop.example/pear\"}, "
      "\"scenario_history_id\": 9007199254740993, \"notification_text\": \"Pears\"}");
  first.start(command_, arguments_ + QStringList{scenario});
  runUntil([&] { return !portal_.added.empty(); });
  EXPECT_EQ(portal_.added[0][QStringLiteral("body")], QVariant("Pears"));
  first.kill();
  first.waitForFinished(-1);
  EXPECT_THAT(first.readAllStandardError().toStdString(),
              HasSubstr("notifications go through org.freedesktop.portal.Notification"));
  EXPECT_FALSE(heard("/shown"));

  portal_.activateAction();
  runUntil([&] { return heard("/shown") && heard("/confirm"); });
  EXPECT_TRUE(heard("GET /launched-by-9007199254740993 "));
  EXPECT_TRUE(heard("scenario_history_id=9007199254740993&"));
  EXPECT_THAT(portal_.removed, ElementsAre(portal_.id));
}

}  // namespace
}  // namespace korvani::qt
