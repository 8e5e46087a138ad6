// The kit where memory is short: no thread can be made, no large picture held.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string>

namespace korvani {
namespace {

using namespace std::chrono_literals;
using platform::Value;
using simulator::Answer;
using simulator::SimulatedPhone;

using Dictionary = Value::Dictionary;

constexpr rlim_t kMiB = 1U << 20U;
const char* const kPicture = "http://a.example/picture.png";

rlim_t addressesInUse() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<rlim_t>(::getpagesize());
}

/// Whether that much of a visit came about; for a process of its own.
enum Outcome : int { kNothing = 50, kNotified, kShown, kBrokenForEver };

Outcome visit(SimulatedPhone& phone, std::uint16_t minor) {
  const std::size_t before = phone.notifications().size();
  phone.rangeBeacons({{.proximityUUID = {}, .major = 1, .minor = minor, .proximity = 2}});
  phone.advance(1s);
  const bool isNotified = phone.notifications().size() > before;
  Korvani::didReceiveLocalNotification(
      Dictionary{{"type", "IMG"}, {"image", Dictionary{{"url", kPicture}}}});
  phone.advance(1s);
  if (!phone.shown().isNull()) return kShown;
  return isNotified ? kNotified : kNothing;
}

Outcome visitWithLittleMemory(rlim_t left) {
  const auto phone = std::make_shared<SimulatedPhone>();
  platform::Platform::install(phone);
  phone->settings().answers["scenario"] = {
      Answer::json(Dictionary{{"success", true}, {"notification_text", "Hello"}})};
  std::ifstream file(KORVANI_PNG, std::ios::binary);
  std::string& picture = phone->settings().files[kPicture];
  picture.assign(std::istreambuf_iterator<char>(file), {});
  // What follows the picture's end takes room alone.
  picture.resize(40 * kMiB);

  rlimit usual{};
  ::getrlimit(RLIMIT_AS, &usual);
  const rlimit little{addressesInUse() + left, usual.rlim_max};
  ::setrlimit(RLIMIT_AS, &little);
  Korvani::initWithAPIKey("key", nullptr, false);
  phone->advance(1s);
  const Outcome outcome = visit(*phone, 1);
  ::setrlimit(RLIMIT_AS, &usual);
  constexpr platform::Point kCross{22, 42};
  phone->tap(kCross);
  phone->advance(1s);
  if (!phone->shown().isNull()) return kBrokenForEver;
  const std::size_t before = phone->notifications().size();
  const bool isWell = visit(*phone, 2) == kShown && phone->notifications().size() > before;
  return isWell ? outcome : kBrokenForEver;
}

TEST(LittleMemory, CostsTheVisitAndNotTheNext) {
  if (addressesInUse() > 1024 * 1024 * kMiB) GTEST_SKIP() << "A sanitizer takes terabytes.";
  std::set<int> outcomes;
  for (const rlim_t left : {0U, 4U, 8U, 12U, 16U, 32U, 48U, 256U}) {
    SCOPED_TRACE(left);
    const pid_t child = ::fork();
    if (child == 0) ::_exit(visitWithLittleMemory(left * kMiB));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    outcomes.insert(WEXITSTATUS(status));
  }
  EXPECT_THAT(outcomes, testing::ElementsAre(kNothing, kNotified, kShown));
}

}  // namespace
}  // namespace korvani
