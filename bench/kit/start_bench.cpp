// The start call by itself on the simulated phone, each time in a process of its own: how long the
// caller waits, what the kit then holds of the heap; and how large the library is.
#include <bench/child.h>
#include <bench/figure.h>
#include <bench/heap.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>

namespace korvani::bench {
namespace {

constexpr int kRuns = 40;

/// As an earlier run of the same day left it, so nothing is asked of the service.
void warm(simulator::SimulatedPhone& phone) {
  phone.setStored("device_registration_id", "0F8A2C64-51D7-4B9E-A3C0-7E2D94B1F658");
  phone.setStored("KVNotificationDisable", false);
  phone.setStored("KVLastRequest", phone.clock().now());
  phone.setStored("lastRequestConfig", phone.clock().now());
  phone.setStored("KorvaniUUID", "E2C56DB5-DFFB-48D2-B060-D0F5A71096E0");
}

/// Prints the milliseconds of the start call and the bytes that it left on the heap.
int startOnce() {
  const auto phone = std::make_shared<simulator::SimulatedPhone>();
  phone->setEffectHandler([](const simulator::Effect&) {});
  warm(*phone);
  platform::Platform::install(phone);
  const std::size_t before = heapInUse();
  const auto begin = std::chrono::steady_clock::now();
  Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
  std::printf("%f %zu\n", took.count(), heapInUse() - before);
  return Korvani::sharedInstance() ? 0 : 1;
}

void printStart(const std::string& self) {
  double least = std::numeric_limits<double>::max();
  double most = 0;
  double heap = 0;
  for (int i = 0; i < kRuns; ++i) {
    double took = 0;
    double left = 0;
    const std::string output = outputOf("'" + self + "' --once");
    if (std::sscanf(output.c_str(), "%lf %lf", &took, &left) != 2) {
      throw std::runtime_error("no start: " + output);
    }
    least = std::min(least, took);
    most = std::max(most, took);
    heap = std::max(heap, left);
  }
  printUnder("start call, simulated phone, least of 40", least, 1, "ms");
  printUnder("start call, simulated phone, most of 40", most, 1, "ms");
  printUnder("heap of the kit after the start", heap / 1024, 256, "KiB");
}

void printSize() {
  const auto stripped =
      std::filesystem::temp_directory_path() / ("korvani-stripped-" + std::to_string(::getpid()));
  outputOf(std::string(STRIP) + " -o '" + stripped.string() + "' '" KORVANI_LIBRARY "'");
  const auto size = static_cast<double>(std::filesystem::file_size(stripped));
  std::filesystem::remove(stripped);
  printUnder("libkorvani.so, stripped", size / 1024, 400, "KiB");
}

}  // namespace
}  // namespace korvani::bench

int main(int argc, char** argv) {
  using namespace korvani::bench;
  if (argc > 1) return startOnce();
  printStart(argv[0]);
  printSize();
  return 0;
}
