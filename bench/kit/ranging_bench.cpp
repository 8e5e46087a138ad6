// What a ranging result costs the kit, from the location service's call until it returns, beside a
// plain nested scan over identities packed as closely as can be; and what it allocates.
#include <bench/figure.h>
#include <bench/minima.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <vector>

namespace {

long allocations = 0;

}  // namespace

// Not inlined, or the compiler sees a free() of what came from new.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace korvani::bench {
namespace {

using platform::Beacon;

struct Packed {
  platform::Uuid uuid;
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  int proximity = 0;
};
static_assert(sizeof(Packed) == 24);

/// Where those that are new or have changed go.
[[gnu::noinline]] void handOn(const Packed& beacon) { benchmark::DoNotOptimize(beacon.minor); }

[[gnu::noinline]] void plainScan(const std::vector<Packed>& current,
                                 std::vector<Packed>& previous) {
  for (const Packed& beacon : current) {
    const auto last = std::find_if(previous.begin(), previous.end(), [&](const Packed& earlier) {
      return earlier.minor == beacon.minor && earlier.major == beacon.major &&
             earlier.uuid == beacon.uuid;
    });
    if (last == previous.end() || (beacon.proximity != last->proximity && beacon.proximity != 0)) {
      handOn(beacon);
    }
  }
  previous = current;
}

/// Of the customer's UUID, as all beacons of a region are. They are of unknown proximity, so a new
/// one is chosen but nothing is sent: that is measured elsewhere.
std::vector<Beacon> beacons(std::size_t count, std::uint16_t firstMinor,
                            int proximity = platform::kProximityUnknown) {
  const auto uuid = platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71");
  std::vector<Beacon> made(count, {.proximityUUID = *uuid, .major = 1, .proximity = proximity});
  for (Beacon& beacon : made) beacon.minor = firstMinor++;
  return made;
}

std::vector<Packed> packed(const std::vector<Beacon>& beacons) {
  std::vector<Packed> made;
  for (const Beacon& b : beacons) made.push_back({b.proximityUUID, b.major, b.minor, b.proximity});
  return made;
}

/// What a location service has at hand.
std::shared_ptr<platform::LocationManagerDelegate> kit;
const std::shared_ptr<platform::LocationManager> manager;
const std::shared_ptr<const platform::Region> region;

void range(const std::vector<Beacon>& beacons) {
  kit->locationManagerDidRangeBeacons(manager, beacons, region);
}

/// Two results that take turns.
struct Case {
  std::string name;
  std::array<std::vector<Beacon>, 2> results;
};

std::vector<Case> cases() {
  std::vector<Case> made;
  for (const std::size_t count : {1U, 10U, 100U, 1000U}) {
    const std::vector<Beacon> first = beacons(count, 0);
    const std::vector<Beacon> reversed(first.rbegin(), first.rend());
    const std::string name = "ranging result of " + std::to_string(count);
    made.push_back({name + ", same order", {first, first}});
    if (count > 1) made.push_back({name + ", reversed", {first, reversed}});
    made.push_back({name + ", all new", {first, beacons(count, 1000)}});
  }
  return made;
}

void measureCase(const Case& measured) {
  measure(measured.name, [&results = measured.results, i = 0]() mutable {
    range(results[static_cast<std::size_t>(i ^= 1)]);
    return i;
  });
  const std::array plain{packed(measured.results[0]), packed(measured.results[1])};
  measure(measured.name + " plain", [plain, previous = plain[0], i = 0]() mutable {
    plainScan(plain[static_cast<std::size_t>(i ^= 1)], previous);
    return i;
  });
}

long allocationsOf(const std::vector<Beacon>& beacons) {
  const long before = allocations;
  range(beacons);
  return allocations - before;
}

/// What a result allocates in which so many beacons are known and one of them has changed. What the
/// phone keeps of requests grows now and then: the least of some counts.
long allocationsOfOneReport(std::size_t count) {
  auto result = beacons(count, 0, platform::kProximityNear);
  range(result);
  long least = std::numeric_limits<long>::max();
  for (int i = 0; i < 10; ++i) {
    result.back().proximity = i % 2 == 0 ? platform::kProximityFar : platform::kProximityNear;
    least = std::min(least, allocationsOf(result));
  }
  return least;
}

void printAllocations() {
  constexpr std::size_t kMany = 1000;
  // The memory of the last result grows to the longest one.
  range(beacons(kMany, 0));
  const long unchanged = allocationsOf(beacons(kMany, 0));
  const long of1 = allocationsOfOneReport(1);
  const long ofMany = allocationsOfOneReport(kMany);
  print({"allocations of a result of 1000, nothing to report", std::to_string(unchanged), "", "",
         "0", unchanged == 0});
  print({"allocations of a result of 1000, one to report", std::to_string(ofMany),
         "result of 1, one to report: " + std::to_string(of1), "", "as many", ofMany == of1});
}

int run() {
  const auto phone = std::make_shared<simulator::SimulatedPhone>();
  phone->setEffectHandler([](const simulator::Effect&) {});
  platform::Platform::install(phone);
  Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
  kit = Korvani::sharedInstance();
  const std::vector<Case> all = cases();
  for (const Case& measured : all) measureCase(measured);
  const auto least = runMeasurements();
  for (const Case& measured : all) {
    printRatio(measured.name, least.at(measured.name), "plain scan, packed",
               least.at(measured.name + " plain"), 1.2, "ns");
  }
  printAllocations();
  return 0;
}

}  // namespace
}  // namespace korvani::bench

int main() { return korvani::bench::run(); }
