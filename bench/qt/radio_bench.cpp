// What an advertisement costs on its whole way from the bus to a ranging result, beside bare QtDBus
// receivers of the same signals and Qt's own discovery agent; and what memory a crowd of addresses
// and forged beacons takes.
#include <bench/figure.h>
#include <bench/qt/bare_receiver.h>
#include <bench/qt/sender.h>
#include <korvani/location/beacon_location_manager.h>
#include <korvani/qt/application_life.h>
#include <korvani/qt/bluetooth/radio.h>
#include <korvani/qt/log.h>
#include <korvani/qt/queues.h>
#include <malloc.h>
#include <tests/qt/private_bus.h>
#include <time.h>
#include <unistd.h>

#include <QApplication>
#include <QBluetoothDeviceDiscoveryAgent>
#include <QProcess>
#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace korvani::bench {
namespace {

using platform::LocationManager;
using platform::Region;
using RegionPointer = std::shared_ptr<const Region>;
using ManagerPointer = std::shared_ptr<LocationManager>;

/// Processor time of all threads of this process, in seconds.
double processorTime() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Resident memory in kB, without what is free to be given back.
long residentMemory() {
  malloc_trim(0);
  std::ifstream file("/proc/self/statm");
  long size = 0;
  long resident = 0;
  file >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/// The child process that sends, on the private bus.
class SenderProcess {
 public:
  SenderProcess() {
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--send")});
    process_.waitForReadyRead(-1);
    process_.readLine();
    follow(shared_, QDBusConnection::systemBus());
    follow(radios_, qt::bluetooth::ownBus());
  }
  ~SenderProcess() {
    process_.closeWriteChannel();
    process_.waitForFinished(-1);
  }
  /// Until all of it has been received, by the radio and by who is on the shared connection.
  void send(const char* kind, long count) {
    left_ = 2;
    process_.write(QByteArray(kind) + ' ' + QByteArray::number(qlonglong{count}) + '\n');
    qt::runUntil([this] { return left_ == 0; });
  }

 private:
  void follow(std::optional<qt::BusSignal>& signal, const QDBusConnection& bus) {
    signal.emplace(bus, QString(), QStringLiteral("korvani.Bench"), QStringLiteral("Sent"),
                   QString(), [this](const QDBusMessage&) { --left_; });
  }

  QProcess process_;
  std::optional<qt::BusSignal> shared_;
  std::optional<qt::BusSignal> radios_;
  int left_ = 0;
};

struct NoPositions final : location::PositionSource {
  void setListener(std::weak_ptr<location::PositionListener>) override {}
  void start() override {}
  void stop() override {}
  std::optional<platform::Coordinate> lastCoordinate() const override { return std::nullopt; }
};

struct Delegate final : platform::LocationManagerDelegate {
  void locationManagerDidStartMonitoringForRegion(const ManagerPointer&,
                                                  const RegionPointer&) override {}
  void locationManagerDidEnterRegion(const ManagerPointer&, const RegionPointer&) override {}
  void locationManagerDidExitRegion(const ManagerPointer&, const RegionPointer&) override {}
  void locationManagerDidDetermineState(const ManagerPointer&, platform::RegionState,
                                        const RegionPointer&) override {}
  void locationManagerDidRangeBeacons(const ManagerPointer&,
                                      const std::vector<platform::Beacon>& beacons,
                                      const RegionPointer&) override {
    ++results;
    listed = std::max(listed, beacons.size());
  }
  void locationManagerMonitoringDidFailForRegion(const ManagerPointer&, const RegionPointer&,
                                                 const std::string& why) override {
    throw std::runtime_error("monitoring failed: " + why);
  }
  void locationManagerDidFailWithError(const ManagerPointer&, const std::string& why) override {
    throw std::runtime_error("the location service failed: " + why);
  }
  long results = 0;
  std::size_t listed = 0;
};

/// The radio, and how much of it reaches who listens.
class CountedRadio final : public location::AdvertisementSource,
                           public location::AdvertisementListener,
                           public std::enable_shared_from_this<CountedRadio> {
 public:
  void setListener(std::weak_ptr<location::AdvertisementListener> listener) override {
    listener_ = std::move(listener);
    radio_.setListener(weak_from_this());
  }
  void listen(const location::Listening& wanted) override { radio_.listen(wanted); }
  void beaconHeard(const location::IBeacon& beacon, int rssi) override {
    ++heard;
    if (const auto listener = listener_.lock()) listener->beaconHeard(beacon, rssi);
  }
  void availabilityChanged(const std::optional<std::string>& failure) override {
    if (const auto listener = listener_.lock()) listener->availabilityChanged(failure);
  }
  long heard = 0;

 private:
  qt::bluetooth::Radio radio_;
  std::weak_ptr<location::AdvertisementListener> listener_;
};

void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

/// The radio and the location service on it, ranging one region.
class WholeWay {
 public:
  WholeWay(qt::Queues& queues, qt::Log& log)
      : service_(
            queues, log, [] { return now(); }, radio, std::make_shared<NoPositions>()),
        manager_(service_.newLocationManager()) {
    const auto region = std::make_shared<platform::BeaconRegion>(ourUuid(), "bench");
    manager_->setDelegate(delegate);
    manager_->startMonitoringForRegion(region);
    manager_->startRangingBeaconsInRegion(region);
    qt::runUntil([this] { return delegate->results > 0; });
  }
  const std::shared_ptr<CountedRadio> radio = std::make_shared<CountedRadio>();
  const std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();

 private:
  static location::Moment now() {
    return std::chrono::time_point_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now());
  }
  location::BeaconLocationService service_;
  std::shared_ptr<LocationManager> manager_;
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

class Bench {
 public:
  Bench() : log_(life_), queues_(life_) {}

  void printCost() {
    constexpr int kRounds = 5;
    std::array<std::vector<double>, 5> costs;
    for (int round = 0; round < kRounds; ++round) {
      costs[0].push_back(costOfBare(&BareReceiver::receiveArguments));
      costs[1].push_back(costOfBare(&BareReceiver::receiveMessages));
      costs[2].push_back(costOfWholeWay("advertise", kBeacons));
      costs[3].push_back(costOfWholeWay("other", 0));
      costs[4].push_back(costOfAgent());
    }
    const auto cost = [&](std::size_t i) { return median(costs[i]); };
    std::printf(
        "Processor time of the receiver for an advertisement, %.0f a second from %d beacons;"
        " medians of %d rounds of %ld. Every one was heard; the agent reported %ld times a"
        " round.\n",
        kPerSecond, kBeacons, kRounds, kCount, reported_);
    const std::string what = "advertisement, from signal to ranging result";
    printRatio(what, cost(2), "bare slot (QString, QVariantMap, QStringList)", cost(0), 1.25, "us");
    printRatio(what, cost(2), "QBluetoothDeviceDiscoveryAgent", cost(4), 1, "us");
    printRatio("advertisement of another UUID", cost(3), "bare slot (QDBusMessage), nothing read",
               cost(1), 1.25, "us");
  }

  void printMemory() {
    WholeWay way(queues_, log_);
    std::printf(
        "Resident memory while each advertisement has a new address and a forged major and "
        "minor:\n  at first %ld kB\n",
        residentMemory());
    std::vector<long> after;
    constexpr long kAddresses = 10000;
    for (int i = 1; i <= 4; ++i) {
      const long before = way.radio->heard;
      sender_.send("rotate", kAddresses);
      const long heard = way.radio->heard - before;
      require(heard >= kAddresses, std::to_string(heard) + " heard of new addresses");
      after.push_back(residentMemory());
      std::printf("  after %d addresses %ld kB\n", i * 10000, after.back());
    }
    const std::size_t most = location::RangingSettings().mostBeacons;
    require(way.delegate->listed == most, std::to_string(way.delegate->listed) + " listed");
    std::printf("Ranging listed %zu beacons.\n", most);
    printUnder("memory for each 10,000 further addresses",
               static_cast<double>(after.back() - after.front()) / 3, 64, "KiB");
  }

 private:
  static constexpr long kCount = 10000;

  double costOf(const char* kind) {
    const double before = processorTime();
    sender_.send(kind, kCount);
    return 1e6 * (processorTime() - before) / static_cast<double>(kCount);
  }
  double costOfBare(void (BareReceiver::*receive)()) {
    BareReceiver receiver;
    (receiver.*receive)();
    const double cost = costOf("advertise");
    require(receiver.count() == kCount, std::to_string(receiver.count()) + " received");
    return cost;
  }
  double costOfAgent() {
    // It monitors those that it finds at its start.
    sender_.send("appear", kBeacons);
    QBluetoothDeviceDiscoveryAgent agent;
    reported_ = 0;
    const auto report = [this] { ++reported_; };
    QObject::connect(&agent, &QBluetoothDeviceDiscoveryAgent::deviceDiscovered, report);
    QObject::connect(&agent, &QBluetoothDeviceDiscoveryAgent::deviceUpdated, report);
    agent.setLowEnergyDiscoveryTimeout(0);
    agent.start(QBluetoothDeviceDiscoveryAgent::LowEnergyMethod);
    qt::runUntil([this] { return reported_ >= kBeacons; });
    reported_ = 0;
    const double cost = costOf("advertise");
    require(reported_ >= kCount, "the agent reported " + std::to_string(reported_));
    return cost;
  }
  /// Of which so many beacons are ranged.
  double costOfWholeWay(const char* kind, std::size_t beacons) {
    WholeWay way(queues_, log_);
    const double cost = costOf(kind);
    require(way.radio->heard == kCount, std::to_string(way.radio->heard) + " heard");
    require(way.delegate->listed == beacons, std::to_string(way.delegate->listed) + " listed");
    return cost;
  }

  qt::PrivateBus bus_;
  qt::ApplicationLife& life_ = qt::ApplicationLife::ofProcess();
  qt::Log log_;
  qt::Queues queues_;
  SenderProcess sender_;
  long reported_ = 0;
};

}  // namespace
}  // namespace korvani::bench

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  // Not destroyed: nothing of the phone is.
  new QApplication(argc, argv);
  if (QCoreApplication::arguments().contains(QStringLiteral("--send"))) {
    return korvani::bench::runSender();
  }
  korvani::bench::Bench bench;
  bench.printCost();
  bench.printMemory();
  return 0;
}
