// The Bluetooth radio over a daemon of ours on a private bus: what it asks, hears and tells, and
// how it gets over everything that can go wrong.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/bluetooth/known_devices.h>
#include <korvani/qt/bluetooth/radio.h>

#include <QDBusArgument>
#include <QDBusVariant>
#include <QTimer>
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fake_bluez.h"
#include "log_lines.h"
#include "private_bus.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using namespace std::chrono_literals;
using bluetooth::Settings;
using location::IBeacon;
using location::Listening;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Ne;

const platform::Uuid kUuid = *platform::Uuid::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
const platform::Uuid kOther = *platform::Uuid::fromString("2F234454-CF6D-4A0F-ADF2-F4911BA9FFA6");
const Listening kOff;
const Listening kPresence{Listening::Level::kPresence, kUuid};
const Listening kFull{Listening::Level::kFull};

const char* const kFilter = "hci0 SetDiscoveryFilter DuplicateData=true RSSI=-127 Transport=le";
const char* const kStart = "hci0 StartDiscovery";
const char* const kStop = "hci0 StopDiscovery";
const QString kRssi = QStringLiteral("RSSI");
const QString kData = QStringLiteral("ManufacturerData");

const char* const kNoDaemon = "bluetoothd is not running";
const char* const kNoAdapter = "no Bluetooth adapter";
const char* const kSwitchedOff = "Bluetooth is switched off";

IBeacon beacon(int minor, const platform::Uuid& uuid = kUuid) {
  return {uuid, 1, static_cast<std::uint16_t>(minor), -59};
}

struct Ear final : location::AdvertisementListener {
  void beaconHeard(const IBeacon& beacon, int rssi) override {
    heard.push_back(std::to_string(beacon.minor) + " at " + std::to_string(rssi));
  }
  void availabilityChanged(const std::optional<std::string>& failure) override {
    EXPECT_FALSE(isInCall);
    told.push_back(failure.value_or("hears"));
  }
  std::vector<std::string> heard;
  std::vector<std::string> told;
  bool isInCall = false;
};

/// Times that no test waits for; each makes short what it is about.
Settings quiet() {
  Settings settings;
  settings.decidesAfter = 0ms;
  settings.sweep = settings.pause = settings.followedFor = settings.activationWithin =
      settings.stallAfter = 1h;
  settings.firstRetry = 2ms;
  settings.longestRetry = 8ms;
  settings.failureStandsFor = 1ms;
  return settings;
}

class Bluetooth : public testing::Test {
 protected:
  void start(const Listening& wanted) {
    radio_.emplace(settings_);
    ear_->isInCall = true;
    radio_->setListener(ear_);
    ear_->isInCall = false;
    listen(wanted);
  }
  void listen(const Listening& wanted) {
    ear_->isInCall = true;
    radio_->listen(wanted);
    ear_->isInCall = false;
  }
  /// A daemon with one adapter that is on.
  FakeBluez& bluez(bool hasMonitors = false) {
    if (!bluez_) {
      bluez_.emplace(DBusObjects{{QDBusObjectPath(kHci0), FakeBluez::adapter(true, hasMonitors)}});
    }
    return *bluez_;
  }
  long count(const std::string& line) {
    return std::count(bluez_->asked.begin(), bluez_->asked.end(), line);
  }
  void awaitAsked(const std::string& line, long times = 1) {
    runUntil([&] { return count(line) >= times; });
  }
  /// Until the adapter discovers, for this many times.
  void awaitDiscovery(long times = 1) {
    awaitAsked(kStart, times);
    hearOne();
  }
  /// Has a beacon heard; what came before has come then as well. The number of the device is 99.
  void hearOne() {
    static int rssi = -100;
    rssi = rssi == -100 ? -99 : -100;
    bluez_->changeDevice(99, FakeBluez::advertisement(beacon(99), rssi));
    const std::string line = "99 at " + std::to_string(rssi);
    runUntil([&] { return !ear_->heard.empty() && ear_->heard.back() == line; });
    std::erase_if(ear_->heard, [](const auto& one) { return one.starts_with("99 at"); });
  }
  void awaitTold(const std::string& text) {
    runUntil([&] { return !ear_->told.empty() && ear_->told.back() == text; });
  }
  /// What was asked, but for the reading of objects; then it is forgotten.
  std::vector<std::string> asked() {
    auto lines = std::exchange(bluez_->asked, {});
    std::erase(lines, "/ GetManagedObjects");
    std::erase(lines, " GetManagedObjects");
    return lines;
  }

  std::optional<PrivateBus> bus_{std::in_place};
  Settings settings_ = quiet();
  std::shared_ptr<Ear> ear_ = std::make_shared<Ear>();
  std::optional<FakeBluez> bluez_;
  std::optional<bluetooth::Radio> radio_;
};

TEST_F(Bluetooth, DiscoversAtFullLevelAndNotWhenOff) {
  bluez();
  start(kFull);
  awaitDiscovery();
  EXPECT_THAT(asked(), ElementsAre(kFilter, kStart));
  // There and back within a turn of the event loop is nothing.
  listen(kOff);
  listen(kPresence);
  listen(kFull);
  hearOne();
  EXPECT_THAT(asked(), IsEmpty());
  listen(kOff);
  awaitAsked(kStop);
  bluez_->changeDevice(1, FakeBluez::advertisement(beacon(1), -60));
  bluez_->settle();
  listen(kFull);
  awaitDiscovery();
  EXPECT_THAT(asked(), ElementsAre(kStop, kFilter, kStart));
  EXPECT_THAT(ear_->heard, IsEmpty());
  EXPECT_THAT(ear_->told, IsEmpty());
  radio_.reset();
  awaitAsked(kStop);
}

TEST_F(Bluetooth, HearsWhatSignalsSayOfBeacons) {
  const auto data = [](const QVariant& payload) {
    return FakeBluez::manufacturerData(location::kIBeaconCompany, payload);
  };
  const auto rssi = [](int dBm) { return FakeBluez::rssi(dBm); };
  const QVariant one = data(FakeBluez::payload(beacon(1)));
  const QVariant two = data(FakeBluez::payload(beacon(2)));
  const QVariant apple = data(QByteArray("\x10\x05\x01", 3));
  const QVariant nested = QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(one))));
  struct Case {
    int device;
    QVariantMap changed;
    QStringList invalidated;
    std::vector<std::string> heard;
  };
  const std::vector<Case> cases{
      {1, {{kData, one}, {kRssi, rssi(-60)}}, {}, {"1 at -60"}},
      // What comes alone goes with what the other was.
      {1, {{kRssi, rssi(-61)}}, {}, {"1 at -61"}},
      {1, {{kData, two}}, {}, {"2 at -61"}},
      {2, {{kData, one}}, {}, {"1 at 127"}},
      {3, {{kRssi, rssi(-50)}}, {}, {}},
      {1, {}, {kRssi}, {}},
      // A device that sends something else is no beacon any more, nor one whose data have gone.
      {1, {{kData, apple}, {kRssi, rssi(-60)}}, {}, {}},
      {1, {{kRssi, rssi(-60)}}, {}, {}},
      {2, {}, {kData, kRssi}, {}},
      {2, {{kRssi, rssi(-60)}}, {}, {}},
      // No radio measures that.
      {4, {{kData, one}, {kRssi, rssi(127)}}, {}, {"1 at 127"}},
      {4, {{kRssi, rssi(-32768)}}, {}, {"1 at 127"}},
      // Other companies, and values of wrong types, which are none.
      {5, {{kData, FakeBluez::manufacturerData(0x59, FakeBluez::payload(beacon(5)))}}, {}, {}},
      {5, {{kData, data(QByteArray(1 << 20, '\x02'))}, {kRssi, rssi(-60)}}, {}, {}},
      {5, {{kData, data(nested)}, {kRssi, rssi(-60)}}, {}, {}},
      {5, {{kData, QVariantMap{{kData, one}}}, {kRssi, rssi(-60)}}, {}, {}},
      {5, {{kData, QVariantList{1, one}}, {kRssi, rssi(-60)}}, {}, {}},
      {6, {{kData, one}, {kRssi, -60}}, {}, {"1 at 127"}},
      {8, {{kData, one}, {kRssi, one}}, {}, {"1 at 127"}},
  };
  bluez();
  start(kFull);
  awaitDiscovery();
  for (const Case& c : cases) {
    ear_->heard.clear();
    bluez_->changeDevice(c.device, c.changed, c.invalidated);
    hearOne();
    EXPECT_THAT(ear_->heard, testing::ElementsAreArray(c.heard)) << "case " << &c - &cases[0];
  }
}

TEST_F(Bluetooth, HearsNobodyElse) {
  const auto tell = [this](const QString& path, const QVariantList& arguments) {
    bluez_->emitSignal(path, "org.freedesktop.DBus.Properties", "PropertiesChanged", arguments);
  };
  const QString device = QStringLiteral("org.bluez.Device1");
  const QVariantMap advertisement = FakeBluez::advertisement(beacon(1), -60);
  bluez();
  start(kFull);
  awaitDiscovery();
  const QVariantList good{device, advertisement, QStringList()};
  tell(kHci1 + QStringLiteral("/dev_00_00_00_00_00_01"), good);
  tell(kHci0 + QStringLiteral("0/dev_00_00_00_00_00_01"), good);
  tell(kHci0, good);
  for (const QVariantList& bad :
       {QVariantList{device, advertisement}, QVariantList{device, QStringList(), QStringList()}}) {
    tell(FakeBluez::devicePath(1), bad);
  }
  for (const char* name : {"InterfacesAdded", "InterfacesRemoved"}) {
    for (const QVariantList& bad :
         {QVariantList{}, QVariantList{1, 2}, QVariantList{kHci0, advertisement}}) {
      bluez_->emitSignal(QStringLiteral("/"), "org.freedesktop.DBus.ObjectManager", name, bad);
    }
  }
  bluez_->change(kHci0, "org.bluez.Adapter1", {{QStringLiteral("Powered"), QStringLiteral("no")}});
  auto stranger = QDBusMessage::createSignal(FakeBluez::devicePath(1),
                                             QStringLiteral("org.freedesktop.DBus.Properties"),
                                             QStringLiteral("PropertiesChanged"));
  stranger.setArguments(good);
  auto other = QDBusConnection::connectToBus(QDBusConnection::SystemBus, QStringLiteral("other"));
  other.send(stranger);
  // A call on the same connection makes sure that the bus has passed the signal on.
  other.call(QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/"),
      QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
  hearOne();
  EXPECT_THAT(ear_->heard, IsEmpty());
  EXPECT_THAT(ear_->told, IsEmpty());
  EXPECT_THAT(asked(), ElementsAre(kFilter, kStart));
}

TEST_F(Bluetooth, HearsADeviceThatAppearsAndNotOneThatIsRemembered) {
  const auto device = [](int minor) {
    return FakeBluez::device(FakeBluez::advertisement(beacon(minor), -70));
  };
  QVariantMap silent = FakeBluez::advertisement(beacon(2), -70);
  silent.remove(kRssi);
  bluez_.emplace(
      DBusObjects{{QDBusObjectPath(kHci0), FakeBluez::adapter(true)},
                  {QDBusObjectPath(FakeBluez::devicePath(1)), device(1)},
                  {QDBusObjectPath(FakeBluez::devicePath(2)), FakeBluez::device(silent)}});
  start(kFull);
  awaitDiscovery();
  EXPECT_THAT(ear_->heard, IsEmpty());
  bluez_->add(FakeBluez::devicePath(3), device(3));
  bluez_->add(FakeBluez::devicePath(4), FakeBluez::device(silent));
  bluez_->add(FakeBluez::devicePath(5, kHci1), device(5));
  hearOne();
  EXPECT_THAT(ear_->heard, ElementsAre("3 at -70"));
  // Who a strength that comes alone belongs to: known of those that had one.
  ear_->heard.clear();
  bluez_->remove(FakeBluez::devicePath(3));
  for (const int number : {1, 2, 3}) bluez_->changeDevice(number, {{kRssi, FakeBluez::rssi(-80)}});
  hearOne();
  EXPECT_THAT(ear_->heard, ElementsAre("1 at -80"));
}

TEST_F(Bluetooth, ListensForPresenceInTurns) {
  // Long enough for filter and start to be answered within a sweep.
  settings_.sweep = 20ms;
  settings_.pause = 1ms;
  bluez();
  start(kPresence);
  awaitAsked(kStop, 3);
  auto lines = asked();
  // A sweep may end before its filter is answered, and the next one begins with the filter again.
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  lines.resize(6);
  EXPECT_THAT(lines, ElementsAre(kFilter, kStart, kStop, kFilter, kStart, kStop));
  bluez_->changeDevice(1, FakeBluez::advertisement(beacon(1, kOther), -60));
  bluez_->changeDevice(1, {{kRssi, FakeBluez::rssi(-61)}});
  bluez_->changeDevice(2, FakeBluez::advertisement(beacon(2), -60));
  hearOne();
  EXPECT_THAT(ear_->heard, ElementsAre("2 at -60"));
  // Full has no turns.
  listen(kFull);
  const long stops = count(kStop);
  bool wouldTurn = false;
  QTimer::singleShot(3 * (settings_.sweep + settings_.pause), [&] { wouldTurn = true; });
  runUntil([&] { return wouldTurn; });
  EXPECT_LE(count(kStop), stops + 1) << "one may have been on its way";
  // It hears a stranger too, who is one again afterwards.
  bluez_->changeDevice(1, FakeBluez::advertisement(beacon(1, kOther), -60));
  hearOne();
  ear_->heard.clear();
  listen(kPresence);
  bluez_->changeDevice(1, {{kRssi, FakeBluez::rssi(-61)}});
  hearOne();
  EXPECT_THAT(ear_->heard, IsEmpty());
}

TEST_F(Bluetooth, HasTheDaemonWatchForPresence) {
  // Discovery turns once and would then pause for ever, if the monitor did not take its place.
  settings_.sweep = 60ms;
  settings_.followedFor = 30ms;
  bluez(true);
  start(kPresence);
  awaitAsked("Activate answered");
  const QVariantMap monitor = bluez_->monitor.value(bluetooth::kMonitor);
  EXPECT_EQ(monitor.value(QStringLiteral("Type")).toString(), QStringLiteral("or_patterns"));
  const auto number = [&](const char* name) {
    const QVariant value = monitor.value(QLatin1String(name));
    return value.typeName() + (" " + std::to_string(value.toInt()));
  };
  EXPECT_EQ(number("RSSIHighThreshold"), "short -127");
  EXPECT_EQ(number("RSSIHighTimeout"), "ushort 1");
  EXPECT_EQ(number("RSSILowThreshold"), "short -127");
  EXPECT_EQ(number("RSSILowTimeout"), "ushort 30");
  EXPECT_EQ(number("RSSISamplingPeriod"), "ushort 0");
  const auto patterns = monitor.value(QStringLiteral("Patterns")).value<QDBusArgument>();
  ASSERT_EQ(patterns.currentSignature(), QStringLiteral("a(yyay)"));
  uchar from = 1;
  uchar type = 0;
  QByteArray bytes;
  patterns.beginArray();
  patterns.beginStructure();
  patterns >> from >> type >> bytes;
  patterns.endStructure();
  patterns.endArray();
  EXPECT_EQ(from, 0);
  EXPECT_EQ(type, 0xFF);
  EXPECT_EQ(bytes.toHex(), QByteArray("4c000215e2c56db5dffb48d2b060d0f5a71096e0"));

  // What is found, and what is heard, is looked at for a while. A busy machine may end that while
  // before the filter is answered: so it is found again.
  const QVariantList device{QVariant::fromValue(QDBusObjectPath(FakeBluez::devicePath(1)))};
  const auto awaitLook = [&](const std::function<void()>& cause) {
    asked();
    QTimer again;
    again.callOnTimeout(cause);
    again.start(10 * settings_.followedFor);  // not inside the look before
    runUntil([&] { return count(kFilter) > 0 && count(kStart) > 0 && count(kStop) > 0; });
  };
  awaitLook([&] { bluez_->callMonitor("DeviceFound", device); });
  awaitLook([&] { bluez_->changeDevice(2, FakeBluez::advertisement(beacon(2), -60)); });
  bluez_->callMonitor("DeviceLost", device);
  awaitAsked("DeviceLost answered");
  asked();

  // One that is released is made anew; the daemon has nothing to say to the old one.
  QString released = bluez_->monitorPath;
  bluez_->callMonitor("Release");
  awaitAsked("Activate answered");
  EXPECT_THAT(asked(), testing::IsSupersetOf(
                           {"hci0 UnregisterMonitor", "hci0 RegisterMonitor", "Release answered"}));
  std::swap(bluez_->monitorPath, released);
  bluez_->callMonitor("Release");
  awaitAsked("Release refused");
  listen(kOff);
  awaitAsked("hci0 UnregisterMonitor");
  EXPECT_THAT(ear_->told, IsEmpty());
}

TEST_F(Bluetooth, TakesTurnsWhereTheMonitorFails) {
  settings_.sweep = 20ms;
  settings_.pause = 1ms;
  settings_.activationWithin = 5ms;
  bluez(true);
  start(kOff);
  // The last one is registered and never activated.
  for (const char* error : {"NotSupported", "AlreadyExists", "Failed", "NotReady",
                            "org.freedesktop.DBus.Error.AccessDenied", ""}) {
    if (*error != '\0') bluez_->refusals["RegisterMonitor"].assign(2, error);
    bluez_->activates = *error != '\0';
    listen(kPresence);
    awaitAsked("hci0 RegisterMonitor", 3);
    awaitAsked(kStart, 2);
    listen(kOff);
    // Off and on again within a turn would be nothing.
    QCoreApplication::processEvents();
    runUntil([&] { return count("hci0 UnregisterMonitor") == count("hci0 RegisterMonitor"); });
    asked();
  }
  EXPECT_THAT(ear_->told, IsEmpty());
}

TEST_F(Bluetooth, TriesAgainWhatIsRefused) {
  const std::string two = "hci0 SetDiscoveryFilter RSSI=-127 Transport=le";
  const std::string one = "hci0 SetDiscoveryFilter Transport=le";
  const std::string unplain = std::string("no\nway \x1b[31m") + std::string(1000, '!');
  struct Case {
    const char* method;
    std::vector<std::string> errors;
    std::vector<std::string> asked;
    std::string told = "";
  };
  const std::string notAllowed = "not allowed to use Bluetooth: no way [31m!!!";
  const std::string broken = "Bluetooth does not work: please switch it off and on";
  // More often than what passes by itself.
  const std::vector<std::string> often(8, "Failed");
  std::vector<std::string> startedOften;
  for (std::size_t i = 0; i <= often.size(); ++i) {
    startedOften.insert(startedOften.end(), {kFilter, kStart});
  }
  const std::vector<Case> cases{
      {"SetDiscoveryFilter", {"InvalidArguments"}, {kFilter, two, kStart}},
      {"SetDiscoveryFilter",
       {"InvalidArguments", "NotSupported", "InvalidArguments"},
       {kFilter, two, one, kStart}},
      {"SetDiscoveryFilter", {"NotReady", "Failed"}, {kFilter, kFilter, kFilter, kStart}},
      {"StartDiscovery",
       {"NotReady", "Failed"},
       {kFilter, kStart, kFilter, kStart, kFilter, kStart}},
      {"StartDiscovery", {"InProgress"}, {kFilter, kStart, kStop, kFilter, kStart}},
      {"StartDiscovery",
       {"org.freedesktop.DBus.Error.NoReply"},
       {kFilter, kStart, kStop, kFilter, kStart}},
      {"StartDiscovery", {"NotAuthorized"}, {kFilter, kStart, kFilter, kStart}, notAllowed},
      {"GetManagedObjects",
       {"org.freedesktop.DBus.Error.AccessDenied"},
       {kFilter, kStart},
       notAllowed},
      {"StartDiscovery", often, startedOften, broken},
      {"GetManagedObjects", often, {kFilter, kStart}, broken},
  };
  // A failure is always told before what failed is tried again.
  settings_.firstRetry = 20ms;
  settings_.failureStandsFor = 0ms;
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - &cases[0]);
    radio_.reset();
    bluez_.reset();
    ear_->told.clear();
    bluez().refusals[c.method] = c.errors;
    bluez_->refusalText = unplain;
    start(kFull);
    runUntil([&] { return bluez_->refusals[c.method].empty(); });
    if (!c.told.empty()) {
      awaitTold("hears");
      EXPECT_THAT(ear_->told, ElementsAre(testing::StartsWith(c.told), "hears"));
      EXPECT_LT(ear_->told[0].size(), 300U);
    }
    awaitAsked(c.asked.back(), std::count(c.asked.begin(), c.asked.end(), c.asked.back()));
    hearOne();
    EXPECT_THAT(asked(), testing::ElementsAreArray(c.asked));
    EXPECT_EQ(ear_->told.empty(), c.told.empty());
  }
}

TEST_F(Bluetooth, StartsAnewWhenTheAdapterWasOff) {
  const LogLines log;
  bluez();
  start(kFull);
  awaitDiscovery();
  bluez_->setPowered(kHci0, false);
  awaitTold(kSwitchedOff);
  bluez_->setPowered(kHci0, true);
  awaitTold("hears");
  awaitDiscovery(2);
  EXPECT_THAT(asked(), ElementsAre(kFilter, kStart, kFilter, kStart));
  EXPECT_THAT(ear_->told, ElementsAre(kSwitchedOff, "hears"));
  EXPECT_THAT(log.lines(), ElementsAre("Bluetooth: no beacons are heard: Bluetooth is switched off",
                                       "Bluetooth: beacons are heard again"));
  // So briefly that nobody is told.
  bluez_->setPowered(kHci0, false);
  bluez_->setPowered(kHci0, true);
  awaitDiscovery();
  EXPECT_THAT(asked(), ElementsAre(kFilter, kStart));
  // A listener that is new hears of what was before.
  bluez_->setPowered(kHci0, false);
  awaitTold(kSwitchedOff);
  auto another = std::make_shared<Ear>();
  radio_->setListener(another);
  runUntil([&] { return !another->told.empty(); });
  EXPECT_THAT(another->told, ElementsAre(kSwitchedOff));
}

TEST_F(Bluetooth, FindsTheAdapterThatIsThere) {
  bluez_.emplace();
  start(kFull);
  awaitTold(kNoAdapter);
  bluez_->add(kHci0, FakeBluez::adapter(false));
  awaitTold(kSwitchedOff);
  // The first that is on; it stays so when another one comes.
  bluez_->add(kHci1, FakeBluez::adapter(true));
  awaitTold("hears");
  awaitAsked("hci1 StartDiscovery");
  asked();
  bluez_->setPowered(kHci0, true);
  bluez_->changeDevice(1, FakeBluez::advertisement(beacon(1), -60));
  bluez_->change(FakeBluez::devicePath(2, kHci1), "org.bluez.Device1",
                 FakeBluez::advertisement(beacon(2), -60));
  runUntil([&] { return !ear_->heard.empty(); });
  EXPECT_THAT(ear_->heard, ElementsAre("2 at -60"));
  EXPECT_THAT(asked(), IsEmpty());
  // Unplugged, it leaves the work to the other.
  bluez_->remove(kHci1);
  awaitDiscovery();
  EXPECT_THAT(asked(), ElementsAre(kFilter, kStart));
  EXPECT_THAT(ear_->told, ElementsAre(kNoAdapter, kSwitchedOff, "hears"));
  bluez_->remove(kHci0);
  awaitTold(kNoAdapter);
  bluez_->add(kHci0, FakeBluez::adapter(true));
  awaitDiscovery();
  EXPECT_THAT(ear_->told, ElementsAre(kNoAdapter, kSwitchedOff, "hears", kNoAdapter, "hears"));
}

TEST_F(Bluetooth, FollowsADaemonThatComesAndGoes) {
  start(kFull);
  awaitTold(kNoDaemon);
  for (int life = 0; life < 3; ++life) {
    bluez();
    awaitTold("hears");
    awaitDiscovery();
    EXPECT_THAT(asked(), ElementsAre(kFilter, kStart));
    bluez_.reset();
    awaitTold(kNoDaemon);
  }
  EXPECT_THAT(ear_->told,
              ElementsAre(kNoDaemon, "hears", kNoDaemon, "hears", kNoDaemon, "hears", kNoDaemon));
}

TEST_F(Bluetooth, SaysNothingOfWhatPasses) {
  settings_.failureStandsFor = 1h;
  bluez();
  start(kFull);
  awaitDiscovery();
  bluez_.reset();
  bluez_.emplace();
  runUntil([&] { return count("/ GetManagedObjects") + count(" GetManagedObjects") > 0; });
  bluez_->add(kHci0, FakeBluez::adapter(false));
  bluez_->setPowered(kHci0, true);
  awaitDiscovery();
  EXPECT_THAT(ear_->told, IsEmpty());
}

TEST_F(Bluetooth, StartsAnewWhatEndsOrGoesSilent) {
  bluez();
  start(kFull);
  awaitDiscovery();
  bluez_->setDiscovering(kHci0, false);
  awaitDiscovery(2);
  EXPECT_THAT(asked(), ElementsAre(kFilter, kStart, kStop, kFilter, kStart));
  radio_.reset();
  settings_.stallAfter = 5ms;
  awaitAsked(kStop);
  asked();
  start(kFull);
  awaitAsked(kStart, 2);
  const auto lines = asked();
  EXPECT_THAT(std::vector(lines.begin(), lines.begin() + 5),
              ElementsAre(kFilter, kStart, kStop, kFilter, kStart));
  EXPECT_THAT(ear_->told, IsEmpty());
}

TEST_F(Bluetooth, CountsALostBusAsALostDaemon) {
  bluez();
  start(kFull);
  awaitDiscovery();
  bus_.reset();
  awaitTold(kNoDaemon);
  listen(kPresence);
  listen(kOff);
  QCoreApplication::processEvents();
  EXPECT_THAT(ear_->told, ElementsAre(kNoDaemon));
}

TEST_F(Bluetooth, LeavesTheHostsOwnDiscoveryAlone) {
  bluez();
  start(kFull);
  awaitDiscovery();
  EXPECT_THAT(bluez_->discoverers, Each(Ne(QDBusConnection::systemBus().baseService())));
}

TEST(BluetoothTest, HasNoDaemonWithoutABus) {
  qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere");
  const auto ear = std::make_shared<Ear>();
  bluetooth::Radio radio(quiet());
  radio.listen(kFull);
  radio.setListener(ear);
  EXPECT_THAT(ear->told, IsEmpty());
  runUntil([&] { return !ear->told.empty(); });
  EXPECT_THAT(ear->told, ElementsAre(kNoDaemon));
}

TEST_F(Bluetooth, RemembersSoManyDevicesAndNoMore) {
  settings_.mostDevices = 10;
  bluez();
  start(kFull);
  awaitDiscovery();
  const LogLines log;
  for (int i = 0; i < 30; ++i) bluez_->changeDevice(i, FakeBluez::advertisement(beacon(i), -60));
  hearOne();
  EXPECT_EQ(ear_->heard.size(), 30U);
  EXPECT_THAT(log.lines(),
              ElementsAre("Bluetooth: more than 10 devices; no more than these are remembered"));
}

TEST(BluetoothTest, KnowsDevicesByTheirAddresses) {
  bluetooth::KnownDevices known(100);
  const auto path = [](int i) { return FakeBluez::devicePath(i * 7919); };
  int forgotten = 0;
  for (int i = 0; i < 10000; ++i) forgotten += known.remember(path(i), {beacon(i), -60}) ? 0 : 1;
  EXPECT_EQ(forgotten, 9900);
  EXPECT_EQ(known.size(), 100U);
  EXPECT_EQ(known.find(path(9899)), nullptr);
  EXPECT_EQ(known.find(path(9900))->beacon, beacon(9900));
  for (int i = 9900; i < 10000; ++i) known.forget(path(i));
  EXPECT_EQ(known.size(), 0U);
  for (const char* odd : {"", "/", "/org/bluez/hci0/dev_00_11_22_33_44_5", "00_11_22_33_44_5g",
                          "/dev_00_11_22_33_44-55", "/dev_00_11_22_33_44_5a"}) {
    EXPECT_TRUE(known.remember(QLatin1String(odd), {}));
    known.forget(QLatin1String(odd));
    EXPECT_EQ(known.find(QLatin1String(odd)), nullptr);
  }
  EXPECT_EQ(known.size(), 0U);
}

}  // namespace
}  // namespace korvani::qt
