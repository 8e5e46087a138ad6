// A whole phone in memory, on a clock of its own: for the tests of a host, and for scripts. A day
// takes a moment, and runs the same way each time.
//
//   auto phone = std::make_shared<simulator::SimulatedPhone>();
//   platform::Platform::install(phone);
//   phone->settings().answers["scenario"] = {simulator::Answer::json(scenario)};
//   phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
//   Korvani::initWithAPIKey("key", nullptr, /*isProd=*/false);
//   phone->rangeBeacons({{.proximityUUID = uuid, .major = 1, .minor = 171, .proximity = 2}});
//   phone->advance(1s);
//   EXPECT_EQ(phone->contents("notification").at(0).at("alertBody"), "Hello");
//   phone->openNotification();
//   phone->advance(1s);
//   EXPECT_EQ(phone->shown().at("controller"), "KorvaniWebView");
//
// A phone made with LocationServiceKind::kRadio is told of advertisements in place of results.
#pragma once

#include <korvani/platform/platform.h>
#include <korvani/simulator/effect.h>
#include <korvani/simulator/location_event_source.h>
#include <korvani/simulator/settings.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace korvani::simulator {

enum class LocationServiceKind {
  /// It reports what the test says, when it says it.
  kScripted,
  /// It hears advertisements, and reports what follows from them.
  kRadio,
};

/// Everything belongs on one thread, the main one, and outside of jobs, unless said otherwise.
///
/// Time stands still except in `advance`. There, due jobs run one at a time: those of the main
/// queue on the calling thread, all others on threads of their own, where they may sleep. Within
/// one moment they run in order of submission, whatever their queue. What happens on the phone
/// (ranging, a tap) calls the kit at once and leaves the work that follows to the next `advance`.
/// Animations, downloads, image decoding and page loads take no time.
class KORVANI_EXPORT SimulatedPhone final : public platform::Platform {
 public:
  /// 2026-01-01T12:00:00Z.
  static constexpr platform::Date kDefaultStart{std::chrono::seconds{1767268800}};

  explicit SimulatedPhone(platform::Date start = kDefaultStart,
                          LocationServiceKind locationService = LocationServiceKind::kScripted);
  /// Jobs that still wait are dropped; one that sleeps never wakes.
  ~SimulatedPhone() override;

  /// Read each time that something is asked of the phone; change them as you like.
  Settings& settings();
  /// Puts a value into the user-defaults store as an earlier run would have left it.
  void setStored(std::string_view key, const platform::Value& value);

  /// Runs all that falls due in that time, its very end included. 0 runs what is due now.
  void advance(std::chrono::milliseconds duration);
  /// The time since the phone was made.
  std::chrono::milliseconds elapsed() const;

  // What came out, in order. A handler gets each effect as it happens, on its thread, in place of
  // the list; it may not call the phone.
  const std::vector<Effect>& effects() const;
  std::vector<Effect> takeEffects();
  /// The contents of all effects of one kind.
  std::vector<platform::Value> contents(std::string_view kind) const;
  void setEffectHandler(std::function<void(const Effect&)> handler);
  /// Adds an effect of the host's own. Any thread.
  void record(std::string kind, const platform::Value& content);

  // What the location service reports, if it is scripted. Without a region ever started nothing
  // happens.
  void startMonitoring(const LocationEventSource& source = {});
  void enterRegion(const LocationEventSource& source = {});
  void exitRegion(const LocationEventSource& source = {});
  void determineState(platform::RegionState state, const LocationEventSource& source = {});
  void rangeBeacons(const std::vector<platform::Beacon>& beacons,
                    const LocationEventSource& source = {});
  void failMonitoring(const std::string& description, const LocationEventSource& source = {});
  void failLocation(const std::string& description, const LocationEventSource& source = {});

  // What the location service meets, if it has a radio. Its reports are recorded as "callback".
  /// Advertising data is in the air. `rssi` in dBm, 0 or 127 where it is not known.
  void advertise(std::span<const std::uint8_t> advertisingData, int rssi = -59);
  void setRadioPowered(bool isPowered);
  /// Whether the application may use the location service; at first it may.
  void setAuthorized(bool isAuthorized);
  void turnOnDisplay();

  // What the platform does with the application. What is not there does nothing.
  /// Tells the observers that the application has gone into the background.
  void enterBackground();
  /// Expires the open background task.
  void expireBackgroundTime();

  // What the user does.
  /// In order of posting.
  std::vector<platform::LocalNotification> notifications() const;
  /// Called with the user information of each notification that the user opens.
  void setLocalNotificationOpenedHandler(std::function<void(const platform::Value&)> handler);
  /// The latest one, or the one of that place in the order of posting.
  void openNotification(std::optional<std::size_t> index = {});
  /// Touches the front screen, in points.
  void tap(platform::Point point);
  /// Presses the button of the alert.
  void dismissAlert();
  /// The host presents a screen of its own over its root screen, if that presents nothing.
  void presentHostScreen();

  /// What is on the front screen; null when nothing is presented over the host's root screen.
  platform::Value shown() const;
  /// All that the user-defaults store holds, dates as dictionaries {"date": text}.
  platform::Value stored() const;

  platform::Log& log() override;
  platform::Clock& clock() override;
  platform::RandomUuids& randomUuids() override;
  platform::UserDefaults& standardUserDefaults() override;
  platform::NotificationCenter& defaultNotificationCenter() override;
  platform::Queues& queues() override;
  platform::URLConnection& urlConnection() override;
  platform::JSONSerialization& json() override;
  platform::ImageDecoder& images() override;
  platform::LocationService& locationService() override;
  platform::Device& device() override;
  platform::Application& application() override;
  platform::WebViews& webViews() override;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace korvani::simulator
