// Every call that the kit makes of a phone fails once, or from there on, in every way that it can.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/faulty_platform.h>
#include <korvani/simulator/simulated_phone.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <vector>

#ifdef __SANITIZE_THREAD__
// Or it waits at the end of each process, of which there are many here.
extern "C" KORVANI_EXPORT const char* __tsan_default_options() { return "atexit_sleep_ms=0"; }
#endif

namespace korvani::simulator {
namespace {

using namespace std::chrono_literals;
using platform::Value;

using Dictionary = Value::Dictionary;

constexpr platform::Point kCross{22, 42}, kMiddle{100, 300};

/// A host, whose kit has not started, on a phone that may fail.
struct World {
  World() {
    platform::Platform::install(faulty);
    phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
    std::ifstream file(KORVANI_PNG, std::ios::binary);
    phone->settings().files["http://a/pears.png"] = {std::istreambuf_iterator<char>(file), {}};
    phone->settings().openableUris = {"shop:"};
    phone->settings().answers["configuration"] = {
        Answer::json(Dictionary{{"success", true}, {"korvani_uuid", std::string(32, 'a')}})};
  }

  void start() const {
    auto launch = std::make_shared<platform::LocalNotification>();
    launch->userInfo = Dictionary{{"type", "URI"}, {"uri", "shop:"}, {"scenario_history_id", 7}};
    Korvani::initWithAPIKey("key", launch, false);
    Korvani::setDebugLogEnabled(true);
    Korvani::requestLocalizationAndNotificationsAuthorization();
    phone->startMonitoring();
    phone->determineState(platform::RegionState::kInside);
    phone->advance(2s);
  }
  /// The beacon of that minor comes and goes, and the service answers with this content, once.
  void visit(std::uint16_t minor, Dictionary content) const {
    content.insert({{"success", true},
                    {"notification_text", "Hello"},
                    {"disabled", false},
                    {"scenario_history_id", minor}});
    phone->settings().answers["scenario"] = {Answer::json(std::move(content)), Answer()};
    phone->enterRegion();
    phone->rangeBeacons({{.proximityUUID = {}, .major = 1, .minor = minor, .proximity = 2}});
    phone->failMonitoring("too many regions");
    phone->failLocation("no satellites");
    phone->exitRegion();
    phone->advance(1s);
  }
  void open() const {
    phone->openNotification();
    phone->advance(1s);
    tap(kMiddle);
    tap(kCross);
  }
  void tap(platform::Point point) const {
    phone->tap(point);
    phone->advance(1s);
  }
  auto notificationsOf(std::uint16_t minor) const {
    const auto posted = phone->notifications();
    return std::count_if(posted.begin(), posted.end(), [&](const auto& notification) {
      return notification.userInfo.at("scenario_history_id") == Value(minor);
    });
  }
  /// A visit, its content and the way back from it, with nothing amiss.
  void expectTheNextVisitWorks() const {
    phone->takeEffects();
    visit(99, {{"type", "WVW"}, {"url", "http://a/"}});
    EXPECT_EQ(notificationsOf(99), 1);
    std::vector<std::string> operations;
    for (const Value& effect : phone->contents("location")) {
      operations.push_back(effect.at("operation").plainText());
    }
    EXPECT_THAT(operations,
                testing::ElementsAre("startRangingBeaconsInRegion", "startUpdatingLocation",
                                     "stopRangingBeaconsInRegion", "stopUpdatingLocation"));
    phone->openNotification();
    phone->advance(1s);
    EXPECT_EQ(phone->shown().at("controller"), "KorvaniWebView");
    tap(kCross);
    EXPECT_TRUE(phone->shown().isNull()) << phone->shown().jsonText();
  }

  const std::shared_ptr<SimulatedPhone> phone = std::make_shared<SimulatedPhone>();
  const std::shared_ptr<FaultyPlatform> faulty = std::make_shared<FaultyPlatform>(phone);
};

const Dictionary kImage{
    {"type", "IMG"},
    {"image", Dictionary{{"url", "http://a/pears.png"},
                         {"action", Dictionary{{"type", "WVW"}, {"url", "http://a/"}}}}}};
const Dictionary kPage{{"type", "WVW"}, {"url", "http://a/"}};
const Dictionary kError{{"error_message", "No"}};
const Dictionary kUri{{"type", "URI"},
                      {"uri", Dictionary{{"default", "other:"}, {"fallback", "shop:"}}}};

struct Scenario {
  const char* name;
  void (*before)(const World&);
  /// While the phone may fail.
  void (*during)(const World&);
  /// Until the next visit.
  void (*after)(const World&, Fault) = [](const World&, Fault) {};

  friend void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }
};

void startAndVisit(const World& world, const Dictionary& content) {
  world.start();
  world.visit(1, content);
}

void fillStore(const World& world, bool disabled) {
  const auto now = SimulatedPhone::kDefaultStart;
  world.phone->setStored("device_registration_id", std::string(36, 'd'));
  world.phone->setStored("KVNotificationDisable", disabled);
  world.phone->setStored("KVLastRequest", now - 1h);
  world.phone->setStored("lastRequestConfig", now - 24h);
  world.phone->setStored("KorvaniUUID", "AAAAAAAA-AAAA-AAAA-AAAA-AAAAAAAAAAAA");
}

const Scenario kScenarios[] = {
    // What fails in a start costs what it is for until the next one.
    {"FirstStart", [](const World&) {}, [](const World& world) { world.start(); },
     [](const World& world, Fault) { world.start(); }},
    {"StartOnAFullStore", [](const World& world) { fillStore(world, false); },
     [](const World& world) { world.start(); }, [](const World& world, Fault) { world.start(); }},
    {"Visit", [](const World& world) { world.start(); },
     [](const World& world) { world.visit(1, kPage); }},
    {"OpenImage", [](const World& world) { startAndVisit(world, kImage); },
     [](const World& world) { world.open(); }},
    {"OpenPage", [](const World& world) { startAndVisit(world, kPage); },
     [](const World& world) { world.open(); }},
    {"OpenUri", [](const World& world) { startAndVisit(world, kUri); },
     [](const World& world) { world.open(); }},
    {"OpenOverAnother",
     [](const World& world) {
       startAndVisit(world, kImage);
       world.phone->openNotification();
       world.phone->advance(1s);
       world.visit(2, kPage);
     },
     [](const World& world) {
       world.open();
       world.open();
     }},
    {"OpenUriOverAnother",
     [](const World& world) {
       startAndVisit(world, kPage);
       world.phone->openNotification();
       world.phone->advance(1s);
       world.visit(2, kUri);
     },
     [](const World& world) { world.open(); }},
    {"Error", [](const World& world) { world.start(); },
     [](const World& world) {
       world.visit(1, kError);
       world.phone->dismissAlert();
     },
     [](const World& world, Fault) {
       const auto alerts = [&] { return world.phone->contents("alert").size(); };
       const std::size_t before = alerts();
       world.visit(2, kError);
       EXPECT_EQ(alerts() - before, 1U) << "the next error is shown";
       EXPECT_EQ(world.notificationsOf(1) + world.notificationsOf(2), 0);
     }},
    {"DisabledMode",
     [](const World& world) {
       fillStore(world, true);
       world.start();
     },
     [](const World& world) {
       world.visit(1, kPage);
       world.phone->advance(25h);
       world.visit(2, kPage);
     },
     [](const World& world, Fault) { world.phone->advance(25h); }},
    {"Background", [](const World& world) { world.start(); },
     [](const World& world) {
       world.phone->enterBackground();
       Korvani::didEnterBackground();
       world.phone->determineState(platform::RegionState::kInside);
       world.phone->advance(2s);
       world.phone->expireBackgroundTime();
       Korvani::didBecomeActive();
     },
     [](const World& world, Fault fault) {
       const auto tasks = [&] { return world.phone->contents("backgroundTask").size(); };
       const std::size_t before = tasks();
       Korvani::didEnterBackground();
       EXPECT_TRUE(tasks() > before || fault == Fault::kNever)
           << "the task that has expired is over";
       world.phone->expireBackgroundTime();
     }},
};

void checkStore(const Value& stored) {
  const auto lacksOr = [&](const char* key, auto holds) {
    EXPECT_TRUE(!stored.has(key) || holds(stored.at(key))) << stored.jsonText();
  };
  const auto isId = [](const Value& value) { return value.text() && value.text()->size() == 36; };
  lacksOr("device_registration_id", isId);
  lacksOr("KorvaniUUID", isId);
  lacksOr("KVNotificationDisable", [](const Value& value) { return value.boolean() != nullptr; });
  for (const char* key : {"KVLastRequest", "lastRequestConfig"}) {
    lacksOr(key, [](const Value& value) { return value.has("date"); });
  }
}

/// None of a sanitizer's own.
enum Outcome : int { kFine, kBroken = 50, kNothingFailed = 51 };

Outcome live(const Scenario& scenario, Fault fault, std::size_t call, FaultLength length) {
  const World world;
  scenario.before(world);
  world.faulty->fail(fault, call, length);
  scenario.during(world);
  const bool hasFailed = world.faulty->failures() > 0;
  world.faulty->mend();
  world.faulty->release();
  world.phone->advance(2min);
  scenario.after(world, fault);
  world.expectTheNextVisitWorks();
  for (const std::uint16_t minor : std::to_array<std::uint16_t>({1, 2, 99}))
    EXPECT_LE(world.notificationsOf(minor), 1);
  checkStore(world.phone->stored());
  const auto& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
  for (int i = 0; i < result.total_part_count(); ++i) {
    std::fprintf(stderr, "%s\n", result.GetTestPartResult(i).message());
  }
  if (result.Failed()) return kBroken;
  return hasFailed ? kFine : kNothingFailed;
}

[[noreturn]] void end(Outcome outcome) {
#ifdef KORVANI_COVERAGE
  // Each library writes there what it has counted.
  std::exit(outcome);
#else
  _exit(outcome);
#endif
}

class FaultyPhone : public testing::TestWithParam<Scenario> {};

TEST_P(FaultyPhone, CostsOnlyWhatFails) {
  for (const Fault fault : {Fault::kThrows, Fault::kNothing, Fault::kLate, Fault::kTwice,
                            Fault::kNever, Fault::kHeld}) {
    for (const FaultLength length : {FaultLength::kOnce, FaultLength::kForGood}) {
      bool hasFailed = true;
      for (std::size_t call = 1; hasFailed; ++call) {
        // The kit starts once in a process.
        ASSERT_EXIT(
            end(live(GetParam(), fault, call, length)),
            [&](int status) {
              hasFailed = status != W_EXITCODE(kNothingFailed, 0);
              return !hasFailed || status == W_EXITCODE(kFine, 0);
            },
            "")
            << "fault " << static_cast<int>(fault) << " of call " << call << ", length "
            << static_cast<int>(length);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, FaultyPhone, testing::ValuesIn(kScenarios),
                         [](const auto& scenario) { return scenario.param.name; });

}  // namespace
}  // namespace korvani::simulator
