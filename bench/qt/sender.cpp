// Sends in small batches at a steady rate.
#include <bench/qt/sender.h>
#include <tests/qt/fake_bluez.h>

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>

namespace korvani::bench {

namespace {

using qt::FakeBluez;
using Clock = std::chrono::steady_clock;

class Sender {
 public:
  explicit Sender(bool hasMonitors)
      : bluez_({{QDBusObjectPath(qt::kHci0), FakeBluez::adapter(true, hasMonitors)}}) {
    QObject::connect(&timer_, &QTimer::timeout, [this] { sendWhatIsDue(); });
    std::puts("ready");
    std::fflush(stdout);
  }

  void start(const std::string& kind, long count) {
    kind_ = kind;
    count_ = count;
    sent_ = 0;
    start_ = Clock::now();
    timer_.start(2);
  }

 private:
  void sendWhatIsDue() {
    const double perSecond = kind_ == "rotate" ? 2.5 * kPerSecond : kPerSecond;
    const std::chrono::duration<double> passed = Clock::now() - start_;
    for (; sent_ < count_ && double(sent_) < passed.count() * perSecond; ++sent_) send();
    if (sent_ < count_) return;
    timer_.stop();
    bluez_.emitSignal(QStringLiteral("/bench"), "korvani.Bench", "Sent", {});
    std::puts("sent");
    std::fflush(stdout);
  }

  void send() {
    // The address of all zeros is none to Qt.
    const int number = 1 + int(sent_ % kBeacons);
    if (kind_ == "appear") return bluez_.add(FakeBluez::devicePath(number), named(number));
    location::IBeacon beacon{kind_ == "other" ? platform::Uuid() : ourUuid(), 1, 0, -59};
    const int rssi = -50 - int(sent_ % 30);
    if (kind_ == "rotate") {
      ++address_;
      beacon.major = static_cast<std::uint16_t>(address_ / 251);
      beacon.minor = static_cast<std::uint16_t>(address_);
      const QString path = FakeBluez::devicePath(1000 + address_);
      bluez_.add(path, FakeBluez::device(FakeBluez::advertisement(beacon, rssi)));
      bluez_.changeDevice(1000 + address_, FakeBluez::advertisement(beacon, rssi));
      // A daemon forgets them after 30 s; half of them here, to see that both ways stay flat.
      if (address_ % 2 == 0) bluez_.remove(path);
      return;
    }
    beacon.minor = static_cast<std::uint16_t>(number);
    bluez_.changeDevice(number, FakeBluez::advertisement(beacon, rssi));
  }

  /// A device with what Qt's agent wants to know of one.
  static qt::DBusInterfaces named(int number) {
    QString address = FakeBluez::devicePath(number).right(17);
    address.replace(QLatin1Char('_'), QLatin1Char(':'));
    return FakeBluez::device(
        {{QStringLiteral("Adapter"), QVariant::fromValue(QDBusObjectPath(qt::kHci0))},
         {QStringLiteral("Address"), address},
         {QStringLiteral("Alias"), address},
         {QStringLiteral("RSSI"), FakeBluez::rssi(-60)}});
  }

  FakeBluez bluez_;
  QTimer timer_;
  std::string kind_;
  long count_ = 0;
  long sent_ = 0;
  int address_ = 0;
  Clock::time_point start_;
};

}  // namespace

platform::Uuid ourUuid() {
  return *platform::Uuid::fromString("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
}

int runSender() {
  Sender sender(QCoreApplication::arguments().contains(QStringLiteral("--monitors")));
  QSocketNotifier input(fileno(stdin), QSocketNotifier::Read);
  QObject::connect(&input, &QSocketNotifier::activated, [&] {
    std::string line;
    if (!std::getline(std::cin, line)) return QCoreApplication::quit();
    std::string kind;
    long count = 0;
    std::istringstream(line) >> kind >> count;
    sender.start(kind, count);
  });
  return QCoreApplication::exec();
}

}  // namespace korvani::bench
