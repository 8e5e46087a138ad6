// What a Bluetooth daemon says of its adapters and devices, with values of any type: only beacons
// are heard that it named, each with a strength that a radio measures, and whatever came before,
// the next good advertisement is heard. All goes over a bus: only Qt can make what Qt receives.
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/bluetooth/radio.h>
#include <tests/qt/fake_bluez.h>
#include <tests/qt/private_bus.h>

#include <QCoreApplication>
#include <QDBusSignature>
#include <QLoggingCategory>
#include <QTimer>
#include <algorithm>
#include <memory>
#include <vector>

#include "input.h"

using namespace korvani;
using fuzz::Input;
using fuzz::require;
using location::IBeacon;
using qt::FakeBluez;

namespace {

constexpr int kDevices = 4;
/// Of the device that tells that all has come through.
constexpr int kLast = 99;
constexpr std::uint16_t kLastMajor = 0xFFFF;
const location::Listening kFull{location::Listening::Level::kFull, {}};

/// What an input makes the daemon say.
class Speech {
 public:
  explicit Speech(Input& input) : input_(input) {}

  QVariantMap properties() {
    QVariantMap made;
    for (int count = input_.below(4); count > 0; --count) {
      const QString name = key();
      made.insert(name, input_.flag() ? expected(name) : value());
    }
    return made;
  }
  qt::DBusInterfaces interfaces() {
    qt::DBusInterfaces made;
    for (int count = input_.below(3); count > 0; --count) {
      const QString name = interface();
      made.insert(name, properties());
    }
    return made;
  }
  QString interface() {
    switch (input_.below(4)) {
      case 0:
        return qt::bluetooth::kDevice;
      case 1:
        return qt::bluetooth::kAdapter;
      case 2:
        return qt::bluetooth::kMonitorManager;
      default:
        return QStringLiteral("org.bluez.Other1");
    }
  }
  QString path() {
    const QString adapter = input_.flag() ? qt::kHci0 : qt::kHci1;
    const int number = input_.below(kDevices + 2);
    if (number < kDevices) return FakeBluez::devicePath(number, adapter);
    return number == kDevices ? adapter : adapter + QStringLiteral("/dev_00_11");
  }
  QStringList names() {
    QStringList made;
    for (int count = input_.below(3); count > 0; --count) made.append(key());
    return made;
  }
  QVariantList arguments() {
    QVariantList made;
    for (int count = input_.below(4); count > 0; --count) made.append(value());
    return made;
  }

  bool hasNamed(const IBeacon& beacon) const {
    const QByteArray payload = FakeBluez::payload(beacon);
    return std::any_of(payloads_.begin(), payloads_.end(),
                       [&](const QByteArray& one) { return one.startsWith(payload); });
  }

 private:
  QString text() { return QString::fromStdString(input_.piece()); }
  QString key() {
    switch (input_.below(6)) {
      case 0:
        return QStringLiteral("RSSI");
      case 1:
        return QStringLiteral("ManufacturerData");
      case 2:
        return QStringLiteral("Powered");
      case 3:
        return QStringLiteral("Discovering");
      case 4:
        return QStringLiteral("SupportedMonitorTypes");
      default:
        return text();
    }
  }
  /// A whole beacon, or a part of one, or anything.
  QByteArray payload() {
    QByteArray bytes;
    const int length = input_.byte();
    if (length < 32) {
      bytes = FakeBluez::payload({platform::Uuid(), 1, input_.byte(), -59}).left(length);
    } else {
      bytes = QByteArray::fromStdString(input_.piece());
    }
    payloads_.push_back(bytes);
    return bytes;
  }
  /// Of the type that the daemon documents.
  QVariant expected(const QString& name) {
    if (name == QLatin1String("RSSI")) return FakeBluez::rssi(static_cast<short>(input_.integer()));
    if (name == QLatin1String("ManufacturerData")) {
      const auto company = static_cast<quint16>(input_.flag() ? location::kIBeaconCompany : 1);
      return FakeBluez::manufacturerData(company, payload());
    }
    if (name == QLatin1String("SupportedMonitorTypes")) {
      return QStringList{QStringLiteral("or_patterns")};
    }
    return input_.flag();
  }
  QVariant value(int depth = 0) {
    constexpr int kMostDepth = 6;
    switch (input_.below(depth < kMostDepth ? 16 : 11)) {
      case 0:
        return input_.flag();
      case 1:
        return QVariant::fromValue(input_.byte());
      case 2:
        return QVariant::fromValue(static_cast<short>(input_.integer()));
      case 3:
        return QVariant::fromValue(static_cast<ushort>(input_.integer()));
      case 4:
        return static_cast<int>(input_.integer());
      case 5:
        return qlonglong{input_.integer()};
      case 6:
        return static_cast<double>(input_.integer());
      case 7:
        return text();
      case 8:
        return payload();
      case 9:
        return QVariant::fromValue(QDBusObjectPath(qt::kHci0));
      case 10:
        return QVariant::fromValue(QDBusSignature(QStringLiteral("a{qv}")));
      case 11:
        return QStringList{text(), text()};
      case 12:
        return QVariant::fromValue(QDBusVariant(value(depth + 1)));
      case 13:
        return QVariantList{value(depth + 1), value(depth + 1)};
      case 14:
        return QVariantMap{{text(), value(depth + 1)}};
      default: {
        qt::ManufacturerData data;
        for (int count = input_.below(3); count > 0; --count) {
          const auto company = static_cast<quint16>(location::kIBeaconCompany + input_.below(2));
          data.insert(company, QDBusVariant(value(depth + 1)));
        }
        return QVariant::fromValue(data);
      }
    }
  }

  Input& input_;
  std::vector<QByteArray> payloads_;
};

struct Heard {
  IBeacon beacon;
  int rssi = 0;
};

struct Ear final : location::AdvertisementListener {
  void beaconHeard(const IBeacon& beacon, int rssi) override { heard.push_back({beacon, rssi}); }
  void availabilityChanged(const std::optional<std::string>&) override {}
  std::vector<Heard> heard;
};

/// The daemon, and the radio that listens to it. One for all inputs: a bus takes long to start.
class World {
 public:
  World() {
    radio_.setListener(ear_);
    radio_.listen(kFull);
    restore();
  }

  void say(Input& input, Speech& speech) {
    switch (input.below(7)) {
      case 0: {
        const int device = input.below(kDevices);
        const QVariantMap changed = speech.properties();
        bluez_.changeDevice(device, changed, speech.names());
        break;
      }
      case 1: {
        const QString path = speech.path();
        bluez_.add(path, speech.interfaces());
        break;
      }
      case 2: {
        const QString path = speech.path();
        remove(path, {speech.interface()});
        break;
      }
      case 3: {
        const QString adapter = input.flag() ? qt::kHci0 : qt::kHci1;
        const QVariantMap changed = speech.properties();
        bluez_.change(adapter, "org.bluez.Adapter1", changed, speech.names());
        break;
      }
      case 4: {
        const QString path = speech.path();
        bluez_.emitSignal(path, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                          speech.arguments());
        break;
      }
      case 5:
        // What was said so far is read from the beginning.
        radio_.listen({});
        QCoreApplication::processEvents();
        radio_.listen(kFull);
        break;
      default: {
        const char* const name = input.flag() ? "InterfacesAdded" : "InterfacesRemoved";
        bluez_.emitSignal(QStringLiteral("/"), "org.freedesktop.DBus.ObjectManager", name,
                          speech.arguments());
      }
    }
  }

  /// All that was heard until everything said has come through; then things are as at first.
  std::vector<Heard> takeHeard() {
    restore();
    std::erase_if(ear_->heard, [](const Heard& heard) { return isLast(heard.beacon); });
    return std::exchange(ear_->heard, {});
  }

 private:
  void remove(const QString& path, const QStringList& interfaces) {
    bluez_.remove(path);
    bluez_.emitSignal(QStringLiteral("/"), "org.freedesktop.DBus.ObjectManager",
                      "InterfacesRemoved",
                      {QVariant::fromValue(QDBusObjectPath(path)), interfaces});
  }
  /// One adapter, which is on, no devices, and an advertisement that is heard.
  void restore() {
    // Any object may have been called an adapter.
    const QStringList interfaces{qt::bluetooth::kDevice, qt::bluetooth::kAdapter};
    for (const QString& adapter : {qt::kHci0, qt::kHci1}) {
      for (int i = 0; i < kDevices; ++i) remove(FakeBluez::devicePath(i, adapter), interfaces);
      remove(adapter + QStringLiteral("/dev_00_11"), interfaces);
      remove(adapter, interfaces);
    }
    bluez_.add(qt::kHci0, FakeBluez::adapter(true));
    const IBeacon last{platform::Uuid(), kLastMajor, ++lastMinor_, -59};
    const auto advertise = [&] { bluez_.changeDevice(kLast, FakeBluez::advertisement(last, -60)); };
    // The radio may not have subscribed yet.
    QTimer again;
    again.callOnTimeout(advertise);
    again.start(20);
    advertise();
    qt::runUntil([&] { return !ear_->heard.empty() && ear_->heard.back().beacon == last; });
    bluez_.asked.clear();
  }
  static bool isLast(const IBeacon& beacon) {
    return beacon.proximityUUID == platform::Uuid() && beacon.major == kLastMajor;
  }

  const qt::PrivateBus bus_;
  FakeBluez bluez_{{{QDBusObjectPath(qt::kHci0), FakeBluez::adapter(true)}}};
  const std::shared_ptr<Ear> ear_ = std::make_shared<Ear>();
  qt::bluetooth::Radio radio_;
  std::uint16_t lastMinor_ = 0;
};

World& world() {
  static int argumentCount = 1;
  static char program[] = "bluez_fuzz";
  static char* arguments[] = {program, nullptr};
  static const QCoreApplication application(argumentCount, arguments);
  QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
  static World world;
  return world;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  World& phone = world();
  Input input(bytes, size);
  Speech speech(input);
  while (!input.isAtEnd()) phone.say(input, speech);
  for (const Heard& heard : phone.takeHeard()) {
    require(speech.hasNamed(heard.beacon), "only what was said is heard");
    require(heard.rssi == 127 || (heard.rssi >= -127 && heard.rssi <= 20),
            "a strength is one that a radio measures");
  }
  return 0;
}
