// The composition of the simulated phone, and what can happen on it.
#include <korvani/codec/json.h>
#include <korvani/codec/png.h>
#include <korvani/location/beacon_location_manager.h>
#include <korvani/simulator/application.h>
#include <korvani/simulator/device.h>
#include <korvani/simulator/location.h>
#include <korvani/simulator/network.h>
#include <korvani/simulator/queues.h>
#include <korvani/simulator/radio.h>
#include <korvani/simulator/recorder.h>
#include <korvani/simulator/screens.h>
#include <korvani/simulator/simulated_phone.h>

#include <utility>

namespace korvani::simulator {

using platform::LocationManagerDelegate;
using platform::Value;

struct SimulatedPhone::Parts {
  explicit Parts(platform::Date start) : clock(*scheduler, settings, start) {}

  void useRadio() {
    auto service = std::make_unique<location::BeaconLocationService>(
        queues, log, [this] { return location::Moment(scheduler->now()); }, radio, positions);
    radioService = service.get();
    locationService.setSource(std::move(service));
  }
  /// The radio says the first reason that holds.
  void tellAvailability() {
    std::optional<std::string> failure;
    if (!isRadioPowered) failure = "Bluetooth is switched off";
    if (!isAuthorized) failure = "not allowed to use Bluetooth: no authorization for the location";
    radio->setFailure(failure);
  }

  Settings settings;
  const std::shared_ptr<Scheduler> scheduler = std::make_shared<Scheduler>();
  Recorder recorder{*scheduler};
  SimulatedLog log{recorder};
  SimulatedClock clock;
  FixedUuids randomUuids{settings};
  SimulatedUserDefaults userDefaults{recorder};
  SimulatedNotificationCenter notificationCenter;
  SimulatedQueues queues{scheduler};
  SimulatedConnection connection{recorder, settings};
  codec::JSON json;
  codec::PngDecoder images;
  const std::shared_ptr<SimulatedRadio> radio = std::make_shared<SimulatedRadio>();
  const std::shared_ptr<SimulatedPositions> positions =
      std::make_shared<SimulatedPositions>(settings);
  bool isRadioPowered = true;
  bool isAuthorized = true;
  SimulatedLocationService locationService{recorder, settings};
  /// Lives with `locationService`; null without a radio.
  location::BeaconLocationService* radioService = nullptr;
  SimulatedDevice device{recorder, settings};
  SimulatedStage stage{recorder, queues.mainQueue()};
  SimulatedApplication application{recorder, settings, stage};
  SimulatedWebViews webViews{recorder, settings, queues.mainQueue()};
  std::function<void(const Value&)> notificationOpened;
};

SimulatedPhone::SimulatedPhone(platform::Date start, LocationServiceKind locationService)
    : parts_(std::make_unique<Parts>(start)) {
  if (locationService == LocationServiceKind::kRadio) parts_->useRadio();
}
SimulatedPhone::~SimulatedPhone() { parts_->scheduler->stop(); }

Settings& SimulatedPhone::settings() { return parts_->settings; }

void SimulatedPhone::setStored(std::string_view key, const Value& value) {
  parts_->userDefaults.put(key, value);
}

void SimulatedPhone::advance(std::chrono::milliseconds duration) {
  parts_->scheduler->advanceTo(elapsed() + duration);
}

std::chrono::milliseconds SimulatedPhone::elapsed() const { return parts_->scheduler->now(); }

const std::vector<Effect>& SimulatedPhone::effects() const { return parts_->recorder.effects(); }

std::vector<Effect> SimulatedPhone::takeEffects() { return parts_->recorder.takeEffects(); }

std::vector<Value> SimulatedPhone::contents(std::string_view kind) const {
  std::vector<Value> contents;
  for (const Effect& effect : effects()) {
    if (effect.kind == kind) contents.push_back(effect.content);
  }
  return contents;
}

void SimulatedPhone::setEffectHandler(std::function<void(const Effect&)> handler) {
  parts_->recorder.setHandler(std::move(handler));
}

void SimulatedPhone::record(std::string kind, const Value& content) {
  parts_->recorder.record(std::move(kind), withDatesAsText(content));
}

void SimulatedPhone::startMonitoring(const LocationEventSource& source) {
  parts_->locationService.report(
      source, [](LocationManagerDelegate& delegate, const auto& manager, const auto& region) {
        delegate.locationManagerDidStartMonitoringForRegion(manager, region);
      });
}

void SimulatedPhone::enterRegion(const LocationEventSource& source) {
  parts_->locationService.report(
      source, [](LocationManagerDelegate& delegate, const auto& manager, const auto& region) {
        delegate.locationManagerDidEnterRegion(manager, region);
      });
}

void SimulatedPhone::exitRegion(const LocationEventSource& source) {
  parts_->locationService.report(
      source, [](LocationManagerDelegate& delegate, const auto& manager, const auto& region) {
        delegate.locationManagerDidExitRegion(manager, region);
      });
}

void SimulatedPhone::determineState(platform::RegionState state,
                                    const LocationEventSource& source) {
  parts_->locationService.report(
      source, [&](LocationManagerDelegate& delegate, const auto& manager, const auto& region) {
        delegate.locationManagerDidDetermineState(manager, state, region);
      });
}

void SimulatedPhone::rangeBeacons(const std::vector<platform::Beacon>& beacons,
                                  const LocationEventSource& source) {
  parts_->locationService.report(
      source, [&](LocationManagerDelegate& delegate, const auto& manager, const auto& region) {
        delegate.locationManagerDidRangeBeacons(manager, beacons, region);
      });
}

void SimulatedPhone::failMonitoring(const std::string& description,
                                    const LocationEventSource& source) {
  parts_->locationService.report(
      source, [&](LocationManagerDelegate& delegate, const auto& manager, const auto& region) {
        delegate.locationManagerMonitoringDidFailForRegion(manager, region, description);
      });
}

void SimulatedPhone::failLocation(const std::string& description,
                                  const LocationEventSource& source) {
  parts_->locationService.report(
      source, [&](LocationManagerDelegate& delegate, const auto& manager, const auto&) {
        delegate.locationManagerDidFailWithError(manager, description);
      });
}

void SimulatedPhone::advertise(std::span<const std::uint8_t> advertisingData, int rssi) {
  parts_->radio->send(advertisingData, rssi);
}

void SimulatedPhone::setRadioPowered(bool isPowered) {
  parts_->isRadioPowered = isPowered;
  parts_->tellAvailability();
}

void SimulatedPhone::setAuthorized(bool isAuthorized) {
  parts_->isAuthorized = isAuthorized;
  parts_->tellAvailability();
  parts_->positions->setFailure(
      isAuthorized ? std::nullopt : std::optional<std::string>("not allowed to use the location"));
}

void SimulatedPhone::turnOnDisplay() {
  if (parts_->radioService) parts_->radioService->displayTurnedOn();
}

void SimulatedPhone::enterBackground() {
  parts_->notificationCenter.post(platform::kApplicationDidEnterBackgroundNotification);
}

void SimulatedPhone::expireBackgroundTime() { parts_->application.expireBackgroundTime(); }

std::vector<platform::LocalNotification> SimulatedPhone::notifications() const {
  return parts_->application.notifications();
}

void SimulatedPhone::setLocalNotificationOpenedHandler(std::function<void(const Value&)> handler) {
  parts_->notificationOpened = std::move(handler);
}

void SimulatedPhone::openNotification(std::optional<std::size_t> index) {
  const auto opened = parts_->application.notification(index);
  if (opened && parts_->notificationOpened) parts_->notificationOpened(opened->userInfo);
}

void SimulatedPhone::tap(platform::Point point) { parts_->stage.tap(point); }
void SimulatedPhone::dismissAlert() { parts_->application.dismissAlert(); }
void SimulatedPhone::presentHostScreen() { parts_->stage.presentHostScreen(); }

Value SimulatedPhone::shown() const { return parts_->stage.describeFront(); }

Value SimulatedPhone::stored() const {
  return withDatesAsText(parts_->userDefaults.dictionaryRepresentation());
}

platform::Log& SimulatedPhone::log() { return parts_->log; }
platform::Clock& SimulatedPhone::clock() { return parts_->clock; }
platform::RandomUuids& SimulatedPhone::randomUuids() { return parts_->randomUuids; }
platform::UserDefaults& SimulatedPhone::standardUserDefaults() { return parts_->userDefaults; }
platform::NotificationCenter& SimulatedPhone::defaultNotificationCenter() {
  return parts_->notificationCenter;
}
platform::Queues& SimulatedPhone::queues() { return parts_->queues; }
platform::URLConnection& SimulatedPhone::urlConnection() { return parts_->connection; }
platform::JSONSerialization& SimulatedPhone::json() { return parts_->json; }
platform::ImageDecoder& SimulatedPhone::images() { return parts_->images; }
platform::LocationService& SimulatedPhone::locationService() { return parts_->locationService; }
platform::Device& SimulatedPhone::device() { return parts_->device; }
platform::Application& SimulatedPhone::application() { return parts_->application; }
platform::WebViews& SimulatedPhone::webViews() { return parts_->webViews; }

}  // namespace korvani::simulator
