// What outlives a process of the host: notifications on disk, and the host that one of them starts
// again, on a bus of the test's own that really starts it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/bus_call.h>
#include <korvani/qt/notifications/sound.h>
#include <korvani/qt/notifications/store.h>
#include <signal.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTemporaryDir>
#include <algorithm>
#include <string>
#include <vector>

#include "fake_portal.h"
#include "private_bus.h"
#include "raw_server.h"

namespace korvani::qt {
namespace {

using namespace notifications;
using platform::LocalNotification;
using platform::Value;
using testing::ElementsAre;
using testing::HasSubstr;

const Value kUserInfo = Value::Dictionary{{"id", (std::int64_t{1} << 53) + 1},
                                          {"large", std::uint64_t{1} << 63},
                                          {"none", Value()},
                                          {"text", "\u00e9\U0001f350 \n"},
                                          {"list", Value::Array{0.1, Value::Dictionary{}}},
                                          {"KVBeaconNotification", true}};
const LocalNotification kNotification{"text", "", kUserInfo};

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
  const QString inside = folder.filePath("new");
  Store store(inside, json);
  const QString first = store.add(LocalNotification{"text", "sound", kUserInfo});
  store.setPlace(first, "place");
  const QString second = store.add(LocalNotification{"", "", Value()});
  const QDir files(inside);
  ASSERT_EQ(files.entryList(QDir::Files).size(), 2);
  for (const QFileInfo& file : files.entryInfoList(QDir::Files)) {
    EXPECT_EQ(file.permissions() & 0x0fff, QFile::ReadUser | QFile::WriteUser);
  }

  Store next(inside, json);
  EXPECT_THAT(next.ids(), ElementsAre(first, second));
  EXPECT_EQ(next.all().at(first).place, "place");
  const auto taken = next.take(first);
  ASSERT_TRUE(taken);
  EXPECT_EQ(taken->alertBody, "text");
  EXPECT_EQ(taken->soundName, "sound");
  EXPECT_EQ(taken->userInfo, kUserInfo);
  EXPECT_FALSE(store.take(first));
  EXPECT_FALSE(next.take(first));
  store.setPlace(first, "other");
  EXPECT_TRUE(store.take(second));
  EXPECT_EQ(files.entryList(QDir::Files), QStringList());
  EXPECT_FALSE(store.take("../new/" + second));
}

TEST(StoreTest, SurvivesWhatIsWrongOnDisk) {
  const QTemporaryDir folder;
  const codec::JSON json;
  const auto store = [&] { return Store(folder.path(), json); };
  const QString whole = store().add(kNotification);
  const QString old = store().add(kNotification);
  const QString cut = store().add(kNotification);
  const auto file = [&](const QString& id) { return folder.filePath(id + ".notification"); };
  QByteArray content = contentOf(file(old));
  const qsizetype posted = content.indexOf("posted\":") + 8;
  write(file(old), content.replace(posted, 13, "1000000000000"));
  write(file(cut), contentOf(file(cut)).chopped(20));
  write(file("name"), contentOf(file(whole)));
  EXPECT_THAT(store().ids(), ElementsAre(whole));
  EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 1);

  // The clock has been put back since.
  write(file(whole), contentOf(file(whole)).replace(posted, 13, "9000000000000"));
  const QString later = store().add(kNotification);
  EXPECT_THAT(store().ids(), ElementsAre(whole, later));

  // Where nothing can be written, this process at least knows.
  Store unwritten(file(whole), json);
  EXPECT_TRUE(unwritten.take(unwritten.add(kNotification)));
}

TEST(SoundTest, IsFoundAmongTheResourcesAndTheDataFolders) {
  const QTemporaryDir folder;
  qputenv("XDG_DATA_HOME", folder.path().toLocal8Bit());
  qputenv("XDG_CACHE_HOME", folder.path().toLocal8Bit());
  const QString resource = findSound("fake_geoclue.py");
  EXPECT_EQ(resource, ":/fake_geoclue.py");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(contentOf(soundOnDisk(resource)), contentOf(FAKE_GEOCLUE));
  }
  const QString name = "notificationKorvaniSound.caf";
  EXPECT_EQ(findSound(name), QString());
  const QDir data(folder.filePath("Korvani tests/phone"));
  ASSERT_TRUE(data.mkpath("."));
  write(data.filePath(name), "sound");
  EXPECT_EQ(soundOnDisk(findSound(name)), data.filePath(name));
  QFile memory;
  const auto descriptor = soundInMemory(findSound(name));
  ASSERT_TRUE(memory.open(descriptor.fileDescriptor(), QIODevice::ReadOnly));
  EXPECT_EQ(memory.readAll(), "sound");
  EXPECT_EQ(findSound("../phone/" + name), QString());
  EXPECT_FALSE(soundInMemory(QString()).isValid());
}

/// The host program of these tests, and the service that it talks to.
class LaunchTest : public testing::Test {
 protected:
  LaunchTest() {
    bus_.setStarted(FakePortal::kHost, (QStringList{command_} + arguments_).join(' '));
  }
  ~LaunchTest() override {
    if (const uint host = hostOnBus()) kill(static_cast<pid_t>(host), SIGKILL);
  }
  /// The process that the host's name leads to; 0 for none.
  static uint hostOnBus() {
    const auto answer = QDBusConnection::sessionBus().call(
        newBusCall("GetConnectionUnixProcessID", {FakePortal::kHost}));
    return answer.arguments().value(0).toUInt();
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
  FakePortal portal_;
  const QTemporaryDir folder_;
  const QString command_ = "/usr/bin/env";
  const QStringList arguments_{"SNAP=here",
                               "DBUS_SYSTEM_BUS_ADDRESS=" + qgetenv("DBUS_SYSTEM_BUS_ADDRESS"),
                               LAUNCHED_HOST, folder_.path(), QString::number(server_.port())};
};

TEST_F(LaunchTest, StartsTheHostThatHasEnded) {
  QProcess first;
  QProcess second;
  const QString scenario = QStringLiteral(
      "{\"type\": \"IMG\", \"image\": {\"url\": \"http://shop.example/pear\"}, "
      "\"scenario_history_id\": 9007199254740993, \"notification_text\": \"Pears\"}");
  first.start(command_, arguments_ + QStringList{scenario});
  runUntil([&] { return !portal_.added.empty(); });
  EXPECT_EQ(portal_.added[0]["body"], QVariant("Pears"));
  second.start(command_, arguments_ + QStringList{scenario});
  runUntil([&] { return portal_.added.size() == 2; });
  const auto end = [](QProcess& host) {
    const qint64 id = host.processId();
    host.kill();
    host.waitForFinished(-1);
    while (hostOnBus() == id) {
    }
  };
  const qint64 heir = second.processId();
  end(first);
  EXPECT_EQ(hostOnBus(), heir);
  end(second);
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
