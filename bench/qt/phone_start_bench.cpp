// The start call on the Linux phone, each time in a process of its own, beside what Qt itself takes
// to start in that process.
#include <bench/child.h>
#include <bench/figure.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <tests/qt/private_bus.h>

#include <QApplication>
#include <QTemporaryDir>
#include <QWidget>
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace korvani::bench {
namespace {

constexpr int kRuns = 40;

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// As an earlier run of the same day left it, so nothing is asked of the service.
void warm(platform::Platform& phone) {
  platform::UserDefaults& store = phone.standardUserDefaults();
  store.setObject("0F8A2C64-51D7-4B9E-A3C0-7E2D94B1F658", "device_registration_id");
  store.setObject(false, "KVNotificationDisable");
  store.setObject(phone.clock().now(), "KVLastRequest");
  store.setObject(phone.clock().now(), "lastRequestConfig");
  store.setObject("E2C56DB5-DFFB-48D2-B060-D0F5A71096E0", "KorvaniUUID");
  store.synchronize();
}

/// Prints the milliseconds of Qt's start, of the phone's, and of the start call.
int startOnce(int argc, char** argv) {
  const auto begin = Clock::now();
  // Not destroyed: nothing of the phone is.
  auto* const application = new QApplication(argc, argv);
  application->setApplicationName(QStringLiteral("start-bench"));
  auto* const window = new QWidget;
  window->show();
  const double ofQt = millisecondsSince(begin);

  QTemporaryDir folder;
  qt::PhoneOptions options;
  options.settingsFile = folder.filePath(QStringLiteral("store.ini"));
  options.notificationsFolder = folder.path();
  const auto create = Clock::now();
  const auto phone = qt::Phone::create(window, options);
  const double ofPhone = millisecondsSince(create);
  warm(*phone);
  platform::Platform::install(phone);
  const auto call = Clock::now();
  Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
  std::printf("%f %f %f\n", ofQt, ofPhone, millisecondsSince(call));
  std::fflush(stdout);
  folder.remove();
  std::_Exit(Korvani::sharedInstance() ? 0 : 1);
}

int run(const std::string& self) {
  const qt::PrivateBus bus;
  std::array<std::vector<double>, 3> times;
  for (int i = 0; i < kRuns; ++i) {
    std::array<double, 3> run{};
    const std::string output = outputOf("'" + self + "' --once");
    if (std::sscanf(output.c_str(), "%lf %lf %lf", &run[0], &run[1], &run[2]) != 3) {
      throw std::runtime_error("no start: " + output);
    }
    for (std::size_t k = 0; k < run.size(); ++k) times[k].push_back(run[k]);
  }
  for (auto& each : times) std::sort(each.begin(), each.end());
  const auto& [ofQt, ofPhone, ofCall] = times;
  const std::string beside =
      "Qt's own start: " + text(ofQt[0], "ms") + "; the phone's making: " + text(ofPhone[0], "ms");
  print({"start call, Linux phone, least of 40", text(ofCall[0], "ms", 2), beside,
         text(ofCall[0] / ofQt[0], "", 2), "under 1 ms", ofCall[0] < 1});
  print({"start call, Linux phone, median of 40", text(ofCall[kRuns / 2], "ms", 2), "", "",
         "under 1 ms", ofCall[kRuns / 2] < 1});
  return 0;
}

}  // namespace
}  // namespace korvani::bench

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  if (argc > 1) return korvani::bench::startOnce(argc, argv);
  const QCoreApplication application(argc, argv);
  return korvani::bench::run(argv[0]);
}
