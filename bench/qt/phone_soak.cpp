// The kit on the Linux phone for an hour, or as long as is asked: visits past beacons that a daemon
// of Bluetooth hears, notifications that are opened or dismissed, stays in the background, and
// faults at random. What the process holds must not grow, and the service's log must know every
// request.
#include <bench/counted_malloc.h>
#include <bench/trend.h>
#include <form.h>
#include <httplib.h>
#include <korvani/platform/forwarding.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <tests/qt/fake_bluez.h>
#include <tests/qt/fake_services.h>
#include <tests/qt/private_bus.h>
#include <unistd.h>

#include <QApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvani::bench {
namespace {

using namespace std::chrono_literals;
using Json = nlohmann::json;
using qt::FakeBluez;

constexpr std::chrono::milliseconds kAdvertisementEvery{200};
constexpr std::chrono::milliseconds kVisitEvery{1200};
constexpr std::chrono::seconds kFaultEvery{15};
constexpr std::chrono::seconds kFaultLasts{4};
/// The background time is over before the host returns.
constexpr std::chrono::minutes kBackgroundEvery{5};
constexpr std::chrono::seconds kBackgroundLasts{8};
constexpr std::chrono::seconds kBackgroundTime{5};
constexpr std::chrono::seconds kShownFor{2};
constexpr std::chrono::seconds kLookEvery{1};
/// KiB that a thread which has allocated a little keeps: its stack, and the allocator's arena for
/// it.
constexpr double kOfLoop = 108;
/// KiB at the top of a heap that the allocator of Debian gives back together: of two heaps, as one
/// thread or another has worked last.
constexpr double kOfAllocator = 2 * 128;
constexpr int kSamples = 100;
constexpr int kTenth = kSamples / 10;
/// One after the other; each has been out of range for a while when its turn comes again.
constexpr int kBeacons = 60;
constexpr int kVisitsForOpening = 4;

platform::Uuid ourUuid() {
  return *platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71");
}

/// A request, however its parameters stand in it.
std::string nameOf(const std::string& endpoint, const service::Parameters& parameters) {
  return endpoint + " " + Json(parameters).dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// What became of each request, on disk, so that the memory of this process is the kit's.
class Ledger {
 public:
  explicit Ledger(const std::string& file) : name_(file), file_(std::fopen(file.c_str(), "w")) {
    if (file_ == nullptr) throw std::runtime_error("no ledger");
  }

  struct Account {
    long sent = 0;
    long answered = 0;
    /// It failed, and the service was not there all the time.
    long mayBeLost = 0;
    long logged = 0;
  };

  void write(char what, const std::string& request) {
    const std::lock_guard lock(mutex_);
    std::fprintf(file_, "%c%s\n", what, request.c_str());
  }
  /// Beside the service's own log.
  std::map<std::string, Account> accounts(const std::string& serviceLog) {
    std::map<std::string, Account> found;
    std::fclose(file_);
    std::ifstream written(name_);
    for (std::string line; std::getline(written, line);) {
      Account& account = found[line.substr(1)];
      if (line[0] == 's') ++account.sent;
      if (line[0] == 'a') ++account.answered;
      if (line[0] == 'l') ++account.mayBeLost;
    }
    std::ifstream log(serviceLog);
    for (std::string line; std::getline(log, line);) {
      const Json one = Json::parse(line);
      if (one["method"] != "POST") continue;
      ++found[nameOf(one["endpoint"], one["parameters"])].logged;
    }
    return found;
  }

 private:
  const std::string name_;
  std::FILE* const file_;
  std::mutex mutex_;
};

/// Counts what the kit asks and gets.
class CountedConnection final : public platform::URLConnection {
 public:
  CountedConnection(platform::URLConnection& connection, Ledger& ledger)
      : connection_(connection), ledger_(ledger) {}

  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler handler) override {
    const std::string request_ = nameOf(request.url.substr(request.url.rfind('/') + 1),
                                        service::decodeForm(request.HTTPBody.value_or("")));
    ledger_.write('s', request_);
    ++underWay;
    const int absences = serviceAbsences;
    connection_.sendAsynchronousRequest(
        std::move(request), std::move(queue),
        [this, request_, absences, handler = std::move(handler)](const auto& response) {
          if (!response.error) {
            ledger_.write('a', request_);
            if (response.data.find("\"notification_text\"") != std::string::npos) ++granted;
          } else if (serviceIsAway || absences != serviceAbsences) {
            ledger_.write('l', request_);
          }
          handler(response);
          --underWay;
        });
  }
  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override {
    return connection_.dataWithContentsOfURL(url);
  }

  std::atomic<int> underWay = 0;
  std::atomic<int> granted = 0;
  std::atomic<bool> serviceIsAway = false;
  std::atomic<int> serviceAbsences = 0;

 private:
  platform::URLConnection& connection_;
  Ledger& ledger_;
};

class CountedApplication final : public platform::ForwardingApplication {
 public:
  using ForwardingApplication::ForwardingApplication;
  platform::BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expired) override {
    ++loops;
    return ForwardingApplication::beginBackgroundTaskWithName(name, std::move(expired));
  }
  void scheduleLocalNotification(const platform::LocalNotification& notification) override {
    ++scheduled;
    ForwardingApplication::scheduleLocalNotification(notification);
  }
  /// Of which each keeps a thread for ever, as it is meant to.
  std::atomic<int> loops = 0;
  std::atomic<int> scheduled = 0;
};

class CountedPhone final : public platform::ForwardingPlatform {
 public:
  CountedPhone(std::shared_ptr<platform::Platform> phone, Ledger& ledger)
      : ForwardingPlatform(std::move(phone)),
        connection(this->phone().urlConnection(), ledger),
        counted(this->phone().application()) {}
  platform::URLConnection& urlConnection() override { return connection; }
  platform::Application& application() override { return counted; }

  CountedConnection connection;
  CountedApplication counted;
};

/// korvani-service, which may go and come back.
class Service {
 public:
  explicit Service(const QString& folder) : folder_(folder) {
    std::ofstream(path("scenarios.json")) << scenarios().dump();
    start();
  }
  ~Service() { stop(); }

  int port() const { return port_; }
  std::string path(const char* name) const { return folder_.toStdString() + "/" + name; }

  void start() {
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start(QStringLiteral(KORVANI_SERVICE),
                   {"--port", QString::number(port_), "--scenarios",
                    QString::fromStdString(path("scenarios.json")), "--content", KORVANI_CONTENT,
                    "--log", QString::fromStdString(path("service.log"))});
    if (!process_.waitForReadyRead(-1)) throw std::runtime_error("no service");
    const QByteArray line = process_.readLine().trimmed();
    port_ = line.mid(line.lastIndexOf(':') + 1).toInt();
    httplib::Client client("127.0.0.1", port_);
    const auto page = client.Get("/");
    const std::string name = "korvani-token\" content=\"";
    const std::size_t at = page ? page->body.find(name) : std::string::npos;
    if (at == std::string::npos) throw std::runtime_error("no live page");
    token_ = page->body.substr(at + name.size(),
                               page->body.find('"', at + name.size()) - at - name.size());
  }
  void stop() {
    process_.terminate();
    process_.waitForFinished(-1);
  }
  /// The next answers, as the live page would have it.
  void breakAnswers(const char* kind, int count) {
    const Json order = {
        {"break", {{"kind", kind}, {"endpoint", ""}, {"seconds", 2}, {"count", count}}}};
    httplib::Client client("127.0.0.1", port_);
    const auto answer = client.Post("/live/change", {{"X-Korvani-Token", token_}}, order.dump(),
                                    "application/json");
    if (!answer || answer->status != 200) throw std::runtime_error("the page refuses");
  }

 private:
  static Json scenarios() {
    Json all = Json::array();
    for (int minor = 0; minor < kBeacons; ++minor) {
      Json answer = {{"notification_text", "Half price on pears"}};
      if (minor % 2 == 0) {
        answer.update({{"type", "IMG"}, {"image", {{"url", "${base}/pears.png"}}}});
      } else {
        answer.update({{"type", "URI"}, {"uri", {{"default", "korvani-nobody:"}}}});
      }
      all.push_back({{"major", 1}, {"minor", minor}, {"answer", answer}});
    }
    return {{"keys", {{"soak", {{"scenarios", all}}}}}};
  }

  const QString folder_;
  QProcess process_;
  int port_ = 0;
  std::string token_;
};

struct Held {
  double heap = 0;  // KiB
  double resident = 0;
  double threads = 0;
  double descriptors = 0;

  void lower(const Held& other) {
    for (double Held::*const each :
         {&Held::heap, &Held::resident, &Held::threads, &Held::descriptors}) {
      this->*each = std::min(this->*each, other.*each);
    }
  }
};

double entriesOf(const char* folder) {
  return static_cast<double>(std::distance(std::filesystem::directory_iterator(folder),
                                           std::filesystem::directory_iterator()));
}

Held heldNow(int loops) {
  long size = 0;
  long pages = 0;
  std::ifstream("/proc/self/statm") >> size >> pages;
  return {static_cast<double>(bytesInUse()) / 1024,
          static_cast<double>(pages * ::sysconf(_SC_PAGESIZE)) / 1024 - kOfLoop * loops,
          entriesOf("/proc/self/task") - loops, entriesOf("/proc/self/fd")};
}

class Soak {
 public:
  explicit Soak(std::chrono::seconds duration) {
    const auto meet = [](QTimer& timer, std::chrono::milliseconds every, auto what) {
      QObject::connect(&timer, &QTimer::timeout, what);
      timer.start(every);
    };
    notifications_.answers["GetCapabilities"] = [](const QDBusMessage&) {
      return QStringList{"body", "actions"};
    };
    notifications_.answers["Notify"] = [this](const QDBusMessage&) { return notify(); };
    notifications_.answers["CloseNotification"] = [](const QDBusMessage&) { return true; };
    notifications_.enter(kNotifications);
    window_.resize(390, 700);
    window_.show();
    startKit();
    meet(advertising_, kAdvertisementEvery, [this] { advertise(); });
    meet(visiting_, kVisitEvery, [this] { visit(); });
    meet(failing_, kFaultEvery, [this] { fail(); });
    meet(hiding_, kBackgroundEvery, [this] { hide(); });
    meet(looking_, kLookEvery, [this] { look(); });
    meet(sampling_, std::chrono::milliseconds(duration) / kSamples, [this] { sample(); });
  }

  bool run() {
    std::printf("tenth  heap KiB  resident KiB  threads  descriptors  (without %s)\n",
                "the reporting loops' threads");
    qt::runUntil([this] { return held_.size() == kSamples; });
    for (QTimer* timer : {&advertising_, &visiting_, &failing_, &hiding_, &looking_, &sampling_}) {
      timer->stop();
    }
    qt::runUntil([this] { return faultsStanding_ == 0 && phone_->connection.underWay == 0; });
    service_.stop();
    const bool isFlat = tellGrowth();
    return tellRequests() && isFlat;
  }

 private:
  void startKit() {
    qt::PhoneOptions options;
    options.settingsFile = folder_.filePath("store.ini");
    options.notificationsFolder = folder_.filePath("notifications");
    options.mappedHosts = {{"127.0.0.1:8780", "127.0.0.1:" + std::to_string(service_.port())}};
    options.backgroundTime = kBackgroundTime;
    const auto phone = qt::Phone::create(&window_, options);
    phone_ = std::make_shared<CountedPhone>(phone, ledger_);
    platform::Platform::install(phone_);
    phone->setLocalNotificationOpenedHandler([this](const platform::Value& userInfo) {
      ++opened_;
      Korvani::didReceiveLocalNotification(userInfo);
      QTimer::singleShot(kShownFor, &window_, [this] {
        phone_->application().rootViewController()->dismissViewControllerAnimated(true);
      });
    });
    phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
    Korvani::initWithAPIKey("soak", nullptr, /*isProd=*/false);
    Korvani::requestLocalizationAndNotificationsAuthorization();
  }

  // What happens.
  void visit() {
    ++visits_;
    if (bluez_) bluez_->asked.clear();
  }
  void advertise() {
    if (!bluez_) return;
    const int minor = visits_ % kBeacons;
    const location::IBeacon beacon{ourUuid(), 1, static_cast<std::uint16_t>(minor), -59};
    const int rssi = -65 + static_cast<int>(random_() % 9);
    bluez_->changeDevice(minor, FakeBluez::advertisement(beacon, rssi));
  }
  /// The user opens some, soon, and dismisses all others.
  uint notify() {
    const uint id = ++notified_;
    QTimer::singleShot(300, &window_, [this, id] {
      const bool opens = id % kVisitsForOpening == 0;
      notifications_.tell("/org/freedesktop/Notifications", kNotifications,
                          opens ? "ActionInvoked" : "NotificationClosed",
                          {id, opens ? QVariant("default") : QVariant(2U)});
    });
    return id;
  }
  void hide() {
    window_.hide();
    QTimer::singleShot(kBackgroundLasts, &window_, [this] { window_.show(); });
  }

  void fail() {
    using Fault = void (Soak::*)();
    static constexpr std::array<Fault, 6> kFaults{
        &Soak::switchBluetoothOff, &Soak::unplug,       &Soak::endDaemon,
        &Soak::endService,         &Soak::breakAnswers, &Soak::endNotifications};
    ++faults_;
    (this->*kFaults[random_() % kFaults.size()])();
  }
  void mendLater(std::function<void()> mend) {
    ++faultsStanding_;
    QTimer::singleShot(kFaultLasts, &window_, [this, mend = std::move(mend)] {
      mend();
      --faultsStanding_;
    });
  }
  void switchBluetoothOff() {
    bluez_->setPowered(qt::kHci0, false);
    mendLater([this] { bluez_->setPowered(qt::kHci0, true); });
  }
  void unplug() {
    bluez_->remove(qt::kHci0);
    mendLater([this] { bluez_->add(qt::kHci0, FakeBluez::adapter(true)); });
  }
  void endDaemon() {
    bluez_.reset();
    mendLater([this] { startDaemon(); });
  }
  void startDaemon() {
    bluez_.emplace(qt::DBusObjects{{QDBusObjectPath(qt::kHci0), FakeBluez::adapter(true)}});
  }
  void endService() {
    phone_->connection.serviceIsAway = true;
    ++phone_->connection.serviceAbsences;
    service_.stop();
    mendLater([this] {
      service_.start();
      phone_->connection.serviceIsAway = false;
    });
  }
  void breakAnswers() {
    static constexpr std::array kKinds{"delay", "reset", "status 500", "malformed JSON"};
    service_.breakAnswers(kKinds[random_() % kKinds.size()], 3);
  }
  void endNotifications() {
    notifications_.leave(kNotifications);
    mendLater([this] { notifications_.enter(kNotifications); });
  }

  // What comes of it.
  void look() {
    const Held now = heldNow(phone_->counted.loops);
    if (least_) {
      least_->lower(now);
    } else {
      least_ = now;
    }
  }
  void sample() {
    look();
    held_.push_back(*std::exchange(least_, std::nullopt));
    if (held_.size() % kTenth != 0) return;
    const Held& held = held_.back();
    std::printf("%5zu  %8.0f  %12.0f  %7.0f  %11.0f\n", held_.size() / kTenth, held.heap,
                held.resident, held.threads, held.descriptors);
    std::fflush(stdout);
  }
  bool tellGrowth() const {
    bool isFlat = true;
    const auto tell = [&](const char* name, double Held::*what, double little) {
      std::vector<double> samples;
      for (const Held& held : held_) samples.push_back(held.*what);
      const Trend trend(samples);
      const bool isSteady = trend.isFlat(little);
      std::printf("%-12s %+9.1f after the first tenth, noise %.1f: %s\n", name, trend.growth,
                  trend.noise, isSteady ? "flat" : "grows");
      isFlat = isFlat && isSteady;
    };
    tell("heap, KiB", &Held::heap, 16);
    tell("resident, KiB", &Held::resident, kOfAllocator);
    tell("threads", &Held::threads, 1);
    tell("descriptors", &Held::descriptors, 1);
    return isFlat;
  }
  bool tellRequests() {
    Ledger::Account all;
    int wrong = 0;
    long confirmations = 0;
    for (const auto& [request, account] : ledger_.accounts(service_.path("service.log"))) {
      all.sent += account.sent;
      all.answered += account.answered;
      all.mayBeLost += account.mayBeLost;
      all.logged += account.logged;
      if (request.starts_with("confirm")) confirmations += account.sent;
      const bool isRight = account.answered <= account.logged && account.logged <= account.sent &&
                           account.sent - account.mayBeLost <= account.logged;
      if (!isRight && ++wrong <= 10) {
        std::printf("%s: sent %ld, answered %ld, logged %ld, lost at most %ld\n", request.c_str(),
                    account.sent, account.answered, account.logged, account.mayBeLost);
      }
    }
    const auto& [granted, scheduled] =
        std::pair{phone_->connection.granted.load(), phone_->counted.scheduled.load()};
    std::printf(
        "%d visits, %d faults, %d stays in the background\n"
        "requests: %ld sent, %ld answered, %ld in the service's log, %ld failed while it was away\n"
        "scenarios: %d granted, %d notifications, %d opened, %ld confirmations sent\n",
        visits_, faults_, phone_->counted.loops.load(), all.sent, all.answered, all.logged,
        all.mayBeLost, granted, scheduled, opened_, confirmations);
    const bool isWhole = wrong == 0 && all.sent > 0 && granted > 0 && granted == scheduled &&
                         opened_ > 0 && opened_ == confirmations;
    std::printf("%s\n", isWhole ? "every request is accounted for" : "the accounts do not agree");
    return isWhole;
  }

  const QString kNotifications = QStringLiteral("org.freedesktop.Notifications");

  const qt::PrivateBus bus_;
  const QTemporaryDir folder_;
  Ledger ledger_{folder_.filePath("requests").toStdString()};
  Service service_{folder_.path()};
  std::optional<FakeBluez> bluez_{
      std::in_place, qt::DBusObjects{{QDBusObjectPath(qt::kHci0), FakeBluez::adapter(true)}}};
  qt::FakeServices notifications_;
  QWidget window_;
  std::shared_ptr<CountedPhone> phone_;
  QTimer advertising_, visiting_, failing_, hiding_, looking_, sampling_;
  std::mt19937 random_{7};
  /// Since the last sample: what comes and goes between is not what is kept.
  std::optional<Held> least_;
  std::vector<Held> held_;
  int visits_ = 0;
  uint notified_ = 0;
  int opened_ = 0;
  int faults_ = 0;
  int faultsStanding_ = 0;
};

}  // namespace
}  // namespace korvani::bench

/// The argument: seconds.
int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("no_proxy", "*");
  qputenv("QT_LOGGING_RULES", "*=false");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QCoreApplication::setApplicationName(QStringLiteral("phone-soak"));
  QCoreApplication::setOrganizationName(QStringLiteral("Korvani benchmarks"));
  const std::chrono::seconds duration(argc > 1 ? std::atoi(argv[1]) : 3600);
  auto* const soak = new korvani::bench::Soak(duration);
  const bool isFine = soak->run();
  std::fflush(stdout);
  // The phone is the process's, and its loops never end.
  std::_Exit(isFine ? 0 : 1);
}
