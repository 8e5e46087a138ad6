// How often a host wakes up on the Linux phone in the background with no beacon in range, thread by
// thread: each time that a thread waits for something is a voluntary switch, which Linux counts.
#include <bench/figure.h>
#include <bench/qt/sender.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <tests/qt/private_bus.h>

#include <QApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace korvani::bench {
namespace {

using namespace std::chrono_literals;

/// If nothing else is asked for: long enough for what wakes up once a minute.
constexpr std::chrono::seconds kWatched{65};
/// Sooner than a phone's own, so that all has come to rest: the region is left, the background time
/// is over, idle threads have ended.
constexpr std::chrono::seconds kSoon{3};
constexpr std::chrono::seconds kUntilOutside{10};
constexpr std::chrono::seconds kUntilAtRest{15};

struct Switches {
  std::string name;
  long count = 0;
};

/// Of each thread, by its number.
std::map<std::string, Switches> switchesNow() {
  std::map<std::string, Switches> found;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    Switches& thread = found[task.path().filename()];
    std::ifstream status(task.path() / "status");
    for (std::string key; status >> key;) {
      if (key == "Name:") status >> thread.name;
      if (key == "voluntary_ctxt_switches:") status >> thread.count;
    }
  }
  return found;
}

void runFor(std::chrono::milliseconds duration) {
  QTimer::singleShot(duration, qApp, &QCoreApplication::quit);
  QCoreApplication::exec();
}

std::shared_ptr<qt::Phone> newPhone(QWidget& window, const QString& folder) {
  qt::PhoneOptions options;
  options.settingsFile = folder + QStringLiteral("/store.ini");
  options.notificationsFolder = folder;
  options.backgroundTime = kSoon;
  options.locationSettings.exitDelay = kSoon;
  options.bluetoothSettings.followedFor = kSoon;
  options.bluetoothSettings.stallAfter = kSoon;
  return qt::Phone::create(&window, options);
}

void printIdle(std::chrono::seconds watched) {
  const auto before = switchesNow();
  runFor(watched);
  const auto after = switchesNow();
  const double hours = std::chrono::duration<double>(watched) / 1h;
  const std::string self = std::to_string(::getpid());
  long loop = 0;
  long others = 0;
  for (const auto& [number, thread] : after) {
    const auto earlier = before.find(number);
    long woken = thread.count - (earlier == before.end() ? 0 : earlier->second.count);
    std::printf("  %-16s %4ld in %ld s\n", thread.name.c_str(), woken, long{watched.count()});
    if (number == self) {
      others += woken - 1;  // the end of this measurement
      continue;
    }
    others += std::min(loop, woken);
    loop = std::max(loop, woken);
  }
  const auto seconds = static_cast<double>(watched.count());
  if (static_cast<double>(loop) < 0.9 * seconds) throw std::runtime_error("no reporting loop");
  print({"wake-ups in the background, but the reporting loop's",
         text(static_cast<double>(others) / hours, "an hour", 0), "", "", "0", others == 0});
  // One may fall in at either end.
  const double aSecond = static_cast<double>(loop) / seconds;
  print({"wake-ups of the reporting loop", text(aSecond, "a second", 2), "", "", "1",
         static_cast<double>(loop) <= seconds + 1});
}

int run(std::chrono::seconds watched) {
  const qt::PrivateBus bus;
  const QTemporaryDir folder;
  // A Bluetooth daemon that hears nothing, and watches for beacons by itself.
  QProcess daemon;
  daemon.start(QCoreApplication::applicationFilePath(),
               {QStringLiteral("--send"), QStringLiteral("--monitors")});
  if (!daemon.waitForReadyRead(-1)) throw std::runtime_error("no Bluetooth daemon");

  QWidget window;
  window.show();
  const auto phone = newPhone(window, folder.path());
  platform::Platform::install(phone);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
  Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
  runFor(kUntilOutside);
  window.hide();
  runFor(kUntilAtRest);
  printIdle(watched);
  daemon.closeWriteChannel();
  daemon.waitForFinished(-1);
  return 0;
}

}  // namespace
}  // namespace korvani::bench

/// The argument: the seconds that are watched.
int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("no_proxy", "*");
  // What the kit says in the background is of no interest here.
  qputenv("QT_LOGGING_RULES", "*.info=false");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QCoreApplication::setApplicationName(QStringLiteral("idle-bench"));
  QCoreApplication::setOrganizationName(QStringLiteral("Korvani benchmarks"));
  const QStringList arguments = QCoreApplication::arguments();
  if (arguments.contains(QStringLiteral("--send"))) return korvani::bench::runSender();
  std::chrono::seconds watched = korvani::bench::kWatched;
  if (arguments.size() > 1) watched = std::chrono::seconds(arguments[1].toInt());
  if (watched.count() <= 0) throw std::runtime_error("that is no number of seconds");
  return korvani::bench::run(watched);
}
