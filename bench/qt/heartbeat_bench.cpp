// How long the main thread of a host is held while the service misbehaves and its answers are
// large: the main thread beats a thousand times a second, and what is longer between two beats was
// somebody's work, save what the thread waited for a processor. A machine that is shared stops as a
// whole now and then: of three series, each of ten answers, the one with the least counts; the
// worst is told beside it.
#include <bench/figure.h>
#include <korvani/platform/forwarding.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <sys/syscall.h>
#include <tests/qt/fake_services.h>
#include <tests/qt/private_bus.h>
#include <tests/qt/raw_server.h>
#include <unistd.h>

#include <QApplication>
#include <QByteArray>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace korvani::bench {
namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;
using qt::RawServer;
using Manner = RawServer::Manner;

constexpr int kRounds = 10;
constexpr std::chrono::milliseconds kBeat{1};
/// For what follows an answer: the notification is kept and handed over, the store is written.
constexpr std::chrono::milliseconds kAfterwards{300};
constexpr std::size_t kLargest = std::size_t{16} << 20U;

/// The main thread's.
class Heart {
 public:
  Heart() {
    beat_.setTimerType(Qt::PreciseTimer);
    beat_.callOnTimeout([this] { beat(); });
    beat_.start(kBeat);
  }
  void forget() { longest_ = Milliseconds(0); }
  Milliseconds longest() const { return longest_; }

 private:
  using Clock = std::chrono::steady_clock;

  void beat() {
    const Clock::time_point now = Clock::now();
    const Milliseconds waited = waitedForProcessor();
    longest_ = std::max(longest_, Milliseconds(now - last_) - (waited - waited_) - kBeat);
    last_ = Clock::now();
    waited_ = waitedForProcessor();
  }
  /// The second number of three, in nanoseconds.
  static Milliseconds waitedForProcessor() {
    std::ifstream file("/proc/self/task/" + std::to_string(::syscall(SYS_gettid)) + "/schedstat");
    long long worked = 0;
    long long waited = 0;
    file >> worked >> waited;
    return std::chrono::nanoseconds(waited);
  }

  QTimer beat_;
  Clock::time_point last_ = Clock::now();
  Milliseconds waited_ = waitedForProcessor();
  Milliseconds longest_{0};
};

/// Tells when the kit has done with an answer.
class WatchedConnection final : public platform::URLConnection {
 public:
  explicit WatchedConnection(platform::URLConnection& connection) : connection_(connection) {}
  /// Requests go to where nobody is.
  void setRefused(bool isRefused) { isRefused_ = isRefused; }
  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler handler) override {
    if (isRefused_) request.url = nobody_;
    connection_.sendAsynchronousRequest(std::move(request), std::move(queue),
                                        [this, handler = std::move(handler)](const auto& response) {
                                          handler(response);
                                          ++done;
                                        });
  }
  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override {
    return connection_.dataWithContentsOfURL(url);
  }
  std::atomic<int> done = 0;

 private:
  platform::URLConnection& connection_;
  const std::string nobody_ = RawServer([](auto...) { return std::string(); }).url("/scenario");
  bool isRefused_ = false;
};

struct WatchedPhone final : platform::ForwardingPlatform {
  explicit WatchedPhone(std::shared_ptr<platform::Platform> phone)
      : ForwardingPlatform(std::move(phone)) {}
  platform::URLConnection& urlConnection() override { return connection; }
  WatchedConnection connection{phone().urlConnection()};
};

struct Case {
  const char* name;
  RawServer::Reply reply;
  /// Nobody is at the port.
  bool isRefused = false;
};

std::vector<Case> cases() {
  const std::string head = "HTTP/1.1 200 OK\r\n";
  const auto scenario = [](const std::string& text) {
    return RawServer::reply(R"({"success":true,"type":"URI","notification_text":")" + text +
                            R"("})");
  };
  const std::string blank(kLargest - 2, ' ');
  const std::string large(std::size_t{15} << 20U, 'x');
  std::string many = "[0";
  while (many.size() < kLargest - 3) many += ",0";
  const auto packed = qCompress(QByteArray::fromStdString("[" + blank + " ]")).mid(4).toStdString();
  const std::string hello = scenario("Hello");
  const auto levels = [](std::size_t count) {
    return RawServer::reply(std::string(count, '[') + std::string(count, ']'));
  };
  return {
      {"a scenario", hello},
      {"two answers", hello + hello},
      {"refused", {""}, true},
      {"nothing", {""}},
      {"less than its length", head + "content-length: 9\r\n\r\n[1,2"},
      {"more than its length", head + "content-length: 5\r\n\r\n[1,2]]]]"},
      {"no content", {"HTTP/1.1 204 No Content\r\n\r\n"}},
      {"not modified", {"HTTP/1.1 304 Not Modified\r\n\r\n"}},
      {"a failure of the service", RawServer::reply("<html>Sorry</html>", "500 Oh no")},
      {"text that is not UTF-8", scenario("\xFF\xC3\x28\xED\xA0\x80")},
      {"UTF-16", RawServer::reply(std::string("\xFF\xFE[\0]\0", 6))},
      {"plain text that calls itself gzip",
       RawServer::reply("[]", "200 OK", "Content-Encoding: gzip\r\n")},
      {"byte by byte", {scenario("Hello"), Manner::kByteByByte}},
      {"reset", {"", Manner::kThenReset}},
      {"an endless body", {head + "\r\n" + std::string(65536, ' '), Manner::kForEver}},
      {"endless heads",
       {"HTTP/1.1 100 Continue\r\nX: " + std::string(65536, 'x') + "\r\n\r\n", Manner::kForEver}},
      {"a redirection to itself", RawServer::reply("", "302 Found", "Location: /scenario\r\n")},
      {"a redirection into the file system",
       RawServer::reply("", "302 Found", "Location: file:///etc/hostname\r\n")},
      {"a bomb", head + "Transfer-Encoding: deflate\r\n\r\n" + packed},
      {"512 levels", levels(512)},
      {"513 levels", levels(513)},
      {"16 MiB of blanks", RawServer::reply("[" + blank + "]")},
      {"a byte more than 16 MiB", RawServer::reply("[" + blank + " ]")},
      {"16 MiB of numbers", RawServer::reply(many + "]")},
      {"a scenario with a text of 15 MiB", scenario(large)},
      {"a scenario with 15 MiB that nobody reads",
       RawServer::reply(R"({"success":true,"notification_text":"Hello","more":")" + large +
                        R"("})")},
      {"an error message", RawServer::reply(R"({"error_message":"No"})")},
      {"an error message of 15 MiB", RawServer::reply(R"({"error_message":")" + large + R"("})")},
      {"no answer, until the kit gives up", {"", Manner::kThenSilence}},
  };
}

class Bench {
 public:
  Bench() {
    notifications_.answers["GetCapabilities"] = [](const QDBusMessage&) {
      return QStringList{"body", "actions"};
    };
    notifications_.answers["Notify"] = [](const QDBusMessage&) { return 1U; };
    notifications_.enter("org.freedesktop.Notifications");
    // A host shows text of its own: the first of a process costs Qt some 4 ms, whoever shows it.
    new QLabel(QStringLiteral("The host"), &window_);
    window_.resize(360, 640);
    window_.show();
    qt::PhoneOptions options;
    options.settingsFile = folder_.filePath("store.ini");
    options.notificationsFolder = folder_.filePath("notifications");
    options.mappedHosts = {{"127.0.0.1:8780", "127.0.0.1:" + std::to_string(server_.port())}};
    phone_ = std::make_shared<WatchedPhone>(qt::Phone::create(&window_, options));
    platform::Platform::install(phone_);
    Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
    await(1);
  }

  void run() {
    // The heart starts late, and the first notification loads what Qt needs for it.
    measure(cases_[0]);
    Milliseconds longest{0};
    Milliseconds worst{0};
    std::printf("  %-42s %5s %5s  each series\n", "", "least", "worst");
    for (const Case& one : cases_) {
      std::array<Milliseconds, 3> held;
      for (Milliseconds& series : held) series = measure(one);
      const auto [least, most] = std::minmax_element(held.begin(), held.end());
      std::printf("  %-42s %5.2f %5.2f  %.2f, %.2f, %.2f ms\n", one.name, least->count(),
                  most->count(), held[0].count(), held[1].count(), held[2].count());
      std::fflush(stdout);
      longest = std::max(longest, *least);
      worst = std::max(worst, *most);
    }
    std::printf("  %-42s %5.2f %5.2f ms\n", "any of them", longest.count(), worst.count());
    printUnder("the main thread is held at most", longest.count(), 5, "ms");
  }

 private:
  Milliseconds measure(const Case& one) {
    current_ = &one;
    phone_->connection.setRefused(one.isRefused);
    // They wait together: each takes as long as the kit is patient.
    const bool isSilent = one.reply.manner == Manner::kThenSilence;
    const int before = phone_->connection.done;
    heart_.forget();
    const std::shared_ptr<platform::LocationManagerDelegate> kit = Korvani::sharedInstance();
    for (int round = 0; round < kRounds; ++round) {
      const platform::Beacon beacon{
          .proximityUUID = {}, .major = 1, .minor = ++minor_, .proximity = 2};
      const int done = phone_->connection.done;
      kit->locationManagerDidRangeBeacons(nullptr, {beacon}, nullptr);
      if (isSilent) {
        // Ten in one turn of the loop would be this loop's doing.
        QCoreApplication::processEvents();
        continue;
      }
      await(done + 1);
      // An alert waits until the one before has been answered.
      for (auto* button : window_.findChildren<QPushButton*>()) button->click();
    }
    await(before + kRounds);
    bool isOver = false;
    QTimer::singleShot(kAfterwards, [&] { isOver = true; });
    qt::runUntil([&] { return isOver; });
    return heart_.longest();
  }
  void await(int done) {
    qt::runUntil([&] { return phone_->connection.done >= done; });
  }

  const qt::PrivateBus bus_;
  const QTemporaryDir folder_;
  const std::vector<Case> cases_ = cases();
  std::atomic<const Case*> current_ = &cases_[0];
  RawServer server_{[this](auto...) { return current_.load()->reply; }};
  qt::FakeServices notifications_;
  QWidget window_;
  std::shared_ptr<WatchedPhone> phone_;
  Heart heart_;
  std::uint16_t minor_ = 0;
};

}  // namespace
}  // namespace korvani::bench

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("no_proxy", "*");
  qputenv("QT_LOGGING_RULES", "*=false");
  QApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("heartbeat-bench"));
  QCoreApplication::setOrganizationName(QStringLiteral("Korvani benchmarks"));
  (new korvani::bench::Bench)->run();
  std::fflush(stdout);
  // The phone is the process's, and its threads may still be at work.
  std::_Exit(0);
}
