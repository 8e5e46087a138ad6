// A day of ranging results, one a second with 20 beacons each, and 200 scenarios in it: through the
// interface of the simulated phone, and as a script through korvani-replay.
#include <bench/child.h>
#include <bench/figure.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace korvani::bench {
namespace {

using platform::Beacon;
using namespace std::chrono_literals;

constexpr int kSeconds = 86400;
constexpr int kBeacons = 20;
constexpr int kScenarios = 200;
constexpr const char* kAnswer =
    R"({"success":true,"notification_text":"Half price on pears until noon","type":"image",)"
    R"("scenario_history_id":"4711","url":"http://127.0.0.1:8780/pears.png"})";
const std::string kUuid = "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71";

/// All come into view unknown, which sends nothing; then one beacon at a time changes its zone.
std::vector<Beacon> beaconsAt(int second) {
  const auto uuid = platform::Uuid::fromString(kUuid);
  constexpr int kBetween = kSeconds / kScenarios;
  const int changes = (second + kBetween / 2) / kBetween;
  std::vector<Beacon> beacons;
  for (int i = 0; i < kBeacons; ++i) {
    Beacon beacon{.proximityUUID = *uuid, .major = 1, .minor = static_cast<std::uint16_t>(i)};
    const int changed = (changes + kBeacons - 1 - i) / kBeacons;
    beacon.proximity = changed == 0 ? platform::kProximityUnknown : 1 + changed % 3;
    beacons.push_back(beacon);
  }
  return beacons;
}

/// Processor time of all threads, of this process or of those that it ran.
double processorTime(int whose = RUSAGE_SELF) {
  rusage used{};
  ::getrusage(whose, &used);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

void requireScenarios(std::size_t count) {
  if (count != kScenarios)
    throw std::runtime_error(std::to_string(count) + " scenarios in the day");
}

void printDay() {
  const auto phone = std::make_shared<simulator::SimulatedPhone>();
  std::size_t notifications = 0;
  phone->setEffectHandler([&](const simulator::Effect& effect) {
    if (effect.kind == "notification") ++notifications;
  });
  phone->settings().answers["scenario"] = {simulator::Answer::text(kAnswer)};
  platform::Platform::install(phone);
  Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
  std::vector<std::vector<Beacon>> results;
  for (int second = 0; second < kSeconds; ++second) results.push_back(beaconsAt(second));
  const double before = processorTime();
  for (const auto& beacons : results) {
    phone->rangeBeacons(beacons);
    phone->advance(1s);
  }
  const double took = processorTime() - before;
  requireScenarios(notifications);
  printUnder("a day on the simulated phone", took, 1, "s");
}

void writeScript(const std::string& name) {
  std::ofstream script(name);
  script << R"({"phone":{"answers":{"scenario":[{"json":)" << kAnswer << "}]}}}\n"
         << R"({"call":"initWithAPIKey","APIKey":"bench","isProd":false})" << '\n';
  for (int second = 0; second < kSeconds; ++second) {
    script << R"({"at": )" << second << R"(, "event": "didRangeBeacons", "beacons": [)";
    const char* between = "";
    for (const Beacon& beacon : beaconsAt(second)) {
      script << between << R"({"uuid": ")" << kUuid << R"(", "major": )" << beacon.major
             << R"(, "minor": )" << beacon.minor << R"(, "proximity": )" << beacon.proximity << '}';
      between = ", ";
    }
    script << "]}\n";
  }
  if (!script.flush()) throw std::runtime_error("the script cannot be written");
}

/// What it takes to read the lines of the script into nlohmann-json's own values.
double timeToParse(const std::string& name) {
  const double before = processorTime();
  std::ifstream script(name);
  std::size_t lines = 0;
  for (std::string line; std::getline(script, line);) lines += nlohmann::json::parse(line).size();
  if (lines == 0) throw std::runtime_error("the script is empty");
  return processorTime() - before;
}

void printReplay() {
  const std::filesystem::path folder = std::filesystem::temp_directory_path();
  const std::string name = (folder / ("korvani-day-" + std::to_string(::getpid()))).string();
  writeScript(name);
  const double before = processorTime(RUSAGE_CHILDREN);
  const std::string count =
      outputOf("'" KORVANI_REPLAY "' '" + name + R"(' | grep --count '"notification":')");
  const double took = processorTime(RUSAGE_CHILDREN) - before;
  const double parsed = timeToParse(name);
  const auto size = static_cast<double>(std::filesystem::file_size(name)) / 1e6;
  std::filesystem::remove(name);
  requireScenarios(std::stoul(count));
  print({"a day through korvani-replay, " + text(size, "MB", 0), text(took, "s", 2),
         "nlohmann parse of its lines: " + text(parsed, "s", 2), text(took / parsed, "", 2),
         "under 4 s", took < 4});
}

}  // namespace
}  // namespace korvani::bench

int main() {
  korvani::bench::printDay();
  korvani::bench::printReplay();
  return 0;
}
