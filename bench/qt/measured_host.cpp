// A host that measures itself: built bare, with libcurl alone, and with the kit. It prints one line
// of numbers, the time until its window was drawn among them, and ends, or stays beside the others.
#include <time.h>

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QSet>
#include <QSocketNotifier>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#ifdef WITH_LIBCURL
#include <curl/curl.h>
#endif
#ifdef WITH_KIT
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#endif

namespace {

/// What a host of its own does in that time is not counted: it waits for the kit to settle.
constexpr int kSettleMilliseconds = 700;

double milliseconds(clockid_t clock = CLOCK_MONOTONIC) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// A line of smaps_rollup, in KiB.
long memory(const QByteArray& name) {
  QFile file("/proc/self/smaps_rollup");
  if (!file.open(QIODevice::ReadOnly)) return 0;
  for (const QByteArray& line : file.readAll().split('\n')) {
    if (line.startsWith(name + ':'))
      return line.mid(name.size() + 1).simplified().split(' ')[0].toLong();
  }
  return 0;
}

qsizetype mappedLibraries() {
  QFile file("/proc/self/maps");
  if (!file.open(QIODevice::ReadOnly)) return 0;
  QSet<QByteArray> libraries;
  for (const QByteArray& line : file.readAll().split('\n')) {
    const QByteArray path = line.mid(line.indexOf('/'));
    if (line.contains('/') && path.contains(".so")) libraries.insert(path);
  }
  return libraries.size();
}

}  // namespace

/// Tells when it has been drawn for the first time.
class Window final : public QLabel {
 public:
  using QLabel::QLabel;
  double drawn = 0;
  /// What the main thread had worked until then.
  double worked = 0;

 protected:
  void paintEvent(QPaintEvent* event) override {
    QLabel::paintEvent(event);
    if (drawn > 0) return;
    drawn = milliseconds();
    worked = milliseconds(CLOCK_THREAD_CPUTIME_ID);
  }
};

/// The arguments: the moment at which this process was asked for, and whether it stays until
/// standard input ends.
int main(int argc, char** argv) {
  const double asked = argc > 1 ? std::atof(argv[1]) : milliseconds();
  const bool stays = argc > 2;
  QApplication application(argc, argv);
  QApplication::setApplicationName("measured-host");
  QApplication::setOrganizationName("Korvani benchmarks");
  Window window("Walk past a beacon.");
  window.resize(390, 700);
  window.show();
#ifdef WITH_LIBCURL
  curl_global_init(CURL_GLOBAL_DEFAULT);
#endif
#ifdef WITH_KIT
  using korvani::Korvani;
  const auto phone = korvani::qt::Phone::create(&window);
  korvani::platform::Platform::install(phone);
  phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
  Korvani::initWithAPIKey("demo-key", nullptr, /*isProd=*/false);
  Korvani::requestLocalizationAndNotificationsAuthorization();
#endif
  QTimer::singleShot(kSettleMilliseconds, [&] {
    std::printf("%.3f %.3f %ld %ld %ld %lld\n", window.drawn - asked, window.worked, memory("Pss"),
                memory("Private_Dirty"), memory("Rss"), mappedLibraries());
    std::fflush(stdout);
    if (!stays) std::_Exit(0);
  });
  QSocketNotifier input(fileno(stdin), QSocketNotifier::Read);
  input.setEnabled(stays);
  QObject::connect(&input, &QSocketNotifier::activated, [] { std::_Exit(0); });
  return QApplication::exec();
}
