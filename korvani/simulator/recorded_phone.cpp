// Ports that pass everything on and tell a script what the kit asks and hears.
#include <korvani/simulator/recorded_phone.h>
#include <korvani/simulator/script_writer.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace korvani::simulator {

using namespace platform;

namespace {

using Dictionary = Value::Dictionary;

std::string offsetText(std::chrono::minutes offset) {
  const long minutes = std::labs(offset.count());
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%c%02ld%02ld", offset.count() < 0 ? '-' : '+',
                minutes / 60, minutes % 60);
  return text.data();
}

class RecordedClock final : public Clock {
 public:
  RecordedClock(Clock& clock, ScriptWriter& script) : clock_(clock), script_(script) {}

  Date now() const override { return clock_.now(); }
  std::chrono::minutes utcOffset(Date date) const override {
    const auto offset = clock_.utcOffset(date);
    script_.note("utcOffset", offsetText(offset));
    return offset;
  }
  void sleepFor(std::chrono::milliseconds duration) override { clock_.sleepFor(duration); }

 private:
  Clock& clock_;
  ScriptWriter& script_;
};

class RecordedUuids final : public RandomUuids {
 public:
  RecordedUuids(RandomUuids& uuids, ScriptWriter& script) : uuids_(uuids), script_(script) {}

  Uuid newUuid() override {
    const Uuid made = uuids_.newUuid();
    script_.noteUuid(made.UUIDString());
    return made;
  }

 private:
  RandomUuids& uuids_;
  ScriptWriter& script_;
};

class RecordedUserDefaults final : public UserDefaults {
 public:
  RecordedUserDefaults(UserDefaults& store, ScriptWriter& script)
      : store_(store), script_(script) {}

  Value objectForKey(std::string_view key) const override {
    const Value value = store_.objectForKey(key);
    script_.noteStored(key, value);
    return value;
  }
  void setObject(const Value& value, std::string_view key) override {
    script_.setStored(key, value);
    store_.setObject(value, key);
  }
  void synchronize() override { store_.synchronize(); }
  Value dictionaryRepresentation() const override {
    const Value all = store_.dictionaryRepresentation();
    // What the kit looks for in it; the rest is the host's, and nobody else's.
    for (const char* key : {"device_registration_id", "KVNotificationDisable"}) {
      if (all.has(key)) script_.noteStored(key, all.at(key));
    }
    return all;
  }

 private:
  UserDefaults& store_;
  ScriptWriter& script_;
};

class RecordedConnection final : public URLConnection {
 public:
  RecordedConnection(URLConnection& connection, ScriptWriter& script)
      : connection_(connection), script_(script) {}

  void sendAsynchronousRequest(URLRequest request, std::shared_ptr<Queue> queue,
                               CompletionHandler completionHandler) override {
    auto answered = script_.request(request.url);
    connection_.sendAsynchronousRequest(
        std::move(request), std::move(queue),
        [answered = std::move(answered),
         handler = std::move(completionHandler)](const URLResponse& response) {
          answered(response);
          handler(response);
        });
  }
  std::optional<std::string> dataWithContentsOfURL(const URL& url) override {
    const auto downloaded = script_.download(url.absoluteString());
    auto bytes = connection_.dataWithContentsOfURL(url);
    downloaded(bytes);
    return bytes;
  }

 private:
  URLConnection& connection_;
  ScriptWriter& script_;
};

class RecordedDevice final : public Device {
 public:
  RecordedDevice(Device& device, ScriptWriter& script) : device_(device), script_(script) {}

  void setBatteryMonitoringEnabled(bool enabled) override {
    device_.setBatteryMonitoringEnabled(enabled);
  }
  float batteryLevel() const override {
    const float level = device_.batteryLevel();
    const bool isLevel = level >= 0 && level <= 1;
    if (isLevel || level == -1) script_.note("battery", static_cast<double>(level));
    return level;
  }
  std::string localeIdentifier() const override {
    std::string identifier = device_.localeIdentifier();
    script_.note("locale", identifier);
    return identifier;
  }
  Rect mainScreenBounds() const override {
    const Rect bounds = device_.mainScreenBounds();
    if (bounds.width >= 1 && bounds.height >= 1) {
      script_.note("screen", Dictionary{{"width", bounds.width}, {"height", bounds.height}});
    }
    return bounds;
  }

 private:
  Device& device_;
  ScriptWriter& script_;
};

/// Stands between a manager and the kit, which takes it for the manager.
class RecordedManager final : public LocationManager,
                              public LocationManagerDelegate,
                              public std::enable_shared_from_this<RecordedManager> {
 public:
  RecordedManager(std::shared_ptr<LocationManager> manager, int number, ScriptWriter& script)
      : manager_(std::move(manager)), number_(number), script_(script) {}

  void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) override {
    delegate_.store(std::move(delegate));
    manager_->setDelegate(weak_from_this());
  }
  void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) override {
    manager_->startMonitoringForRegion(std::move(region));
  }
  void requestStateForRegion(std::shared_ptr<const Region> region) override {
    manager_->requestStateForRegion(std::move(region));
  }
  void startRangingBeaconsInRegion(std::shared_ptr<const Region> region) override {
    manager_->startRangingBeaconsInRegion(std::move(region));
  }
  void stopRangingBeaconsInRegion(std::shared_ptr<const Region> region) override {
    manager_->stopRangingBeaconsInRegion(std::move(region));
  }
  void startUpdatingLocation() override { manager_->startUpdatingLocation(); }
  void stopUpdatingLocation() override { manager_->stopUpdatingLocation(); }
  void requestAlwaysAuthorization() override { manager_->requestAlwaysAuthorization(); }
  std::optional<Coordinate> location() const override {
    const auto location = manager_->location();
    Value noted;
    if (location) {
      noted = Dictionary{{"latitude", location->latitude}, {"longitude", location->longitude}};
    }
    script_.note("location", noted);
    return location;
  }

  void locationManagerDidStartMonitoringForRegion(
      const std::shared_ptr<LocationManager>&,
      const std::shared_ptr<const Region>& region) override {
    write("didStartMonitoringForRegion", region);
    if (const auto kit = delegate()) {
      kit->locationManagerDidStartMonitoringForRegion(shared_from_this(), region);
    }
  }
  void locationManagerDidEnterRegion(const std::shared_ptr<LocationManager>&,
                                     const std::shared_ptr<const Region>& region) override {
    write("didEnterRegion", region);
    if (const auto kit = delegate()) {
      kit->locationManagerDidEnterRegion(shared_from_this(), region);
    }
  }
  void locationManagerDidExitRegion(const std::shared_ptr<LocationManager>&,
                                    const std::shared_ptr<const Region>& region) override {
    write("didExitRegion", region);
    if (const auto kit = delegate()) kit->locationManagerDidExitRegion(shared_from_this(), region);
  }
  void locationManagerDidDetermineState(const std::shared_ptr<LocationManager>&, RegionState state,
                                        const std::shared_ptr<const Region>& region) override {
    const bool isOfBeacons = dynamic_cast<const BeaconRegion*>(region.get()) != nullptr;
    write("didDetermineState", region,
          {{"state", static_cast<int>(state)}, {"region", isOfBeacons ? "beacon" : "other"}});
    if (const auto kit = delegate()) {
      kit->locationManagerDidDetermineState(shared_from_this(), state, region);
    }
  }
  void locationManagerDidRangeBeacons(const std::shared_ptr<LocationManager>&,
                                      const std::vector<Beacon>& beacons,
                                      const std::shared_ptr<const Region>& region) override {
    Value::Array list;
    for (const Beacon& beacon : beacons) {
      list.push_back(Dictionary{{"uuid", beacon.proximityUUID.UUIDString()},
                                {"major", beacon.major},
                                {"minor", beacon.minor},
                                {"proximity", beacon.proximity}});
    }
    script_.write({{"event", "didRangeBeacons"}, {"beacons", std::move(list)}});
    if (const auto kit = delegate()) {
      kit->locationManagerDidRangeBeacons(shared_from_this(), beacons, region);
    }
  }
  void locationManagerMonitoringDidFailForRegion(const std::shared_ptr<LocationManager>&,
                                                 const std::shared_ptr<const Region>& region,
                                                 const std::string& description) override {
    write("monitoringDidFailForRegion", region, {{"description", description}});
    if (const auto kit = delegate()) {
      kit->locationManagerMonitoringDidFailForRegion(shared_from_this(), region, description);
    }
  }
  void locationManagerDidFailWithError(const std::shared_ptr<LocationManager>&,
                                       const std::string& description) override {
    write("didFailWithError", nullptr, {{"description", description}});
    if (const auto kit = delegate()) {
      kit->locationManagerDidFailWithError(shared_from_this(), description);
    }
  }

 private:
  std::shared_ptr<LocationManagerDelegate> delegate() const { return delegate_.load().lock(); }

  void write(const char* event, const std::shared_ptr<const Region>& region, Dictionary line = {}) {
    line.emplace("event", event);
    line.emplace("manager", number_);
    if (const auto* beacons = dynamic_cast<const BeaconRegion*>(region.get())) {
      line.emplace("uuid", beacons->proximityUUID.UUIDString());
    }
    script_.write(std::move(line));
  }

  const std::shared_ptr<LocationManager> manager_;
  const int number_;
  ScriptWriter& script_;
  Atomic<std::weak_ptr<LocationManagerDelegate>> delegate_;
};

class RecordedLocationService final : public LocationService {
 public:
  RecordedLocationService(LocationService& service, ScriptWriter& script)
      : service_(service), script_(script) {}

  std::shared_ptr<LocationManager> newLocationManager() override {
    return std::make_shared<RecordedManager>(service_.newLocationManager(), ++made_, script_);
  }

 private:
  LocationService& service_;
  ScriptWriter& script_;
  int made_ = 0;
};

/// Keeps itself until the alert's button is pressed.
class RecordedAlert final : public AlertDelegate {
 public:
  using Alerts = std::set<std::shared_ptr<RecordedAlert>>;

  static std::weak_ptr<AlertDelegate> wrap(std::weak_ptr<AlertDelegate> delegate,
                                           const std::shared_ptr<Alerts>& alerts,
                                           ScriptWriter& script) {
    auto wrapped = std::make_shared<RecordedAlert>(std::move(delegate), alerts, script);
    wrapped->self_ = wrapped;
    alerts->insert(wrapped);
    return wrapped;
  }
  RecordedAlert(std::weak_ptr<AlertDelegate> delegate, std::shared_ptr<Alerts> alerts,
                ScriptWriter& script)
      : delegate_(std::move(delegate)), alerts_(std::move(alerts)), script_(script) {}

  void alertClickedButtonAtIndex(int index) override {
    script_.write({{"event", "dismissAlert"}});
    if (const auto delegate = delegate_.lock()) delegate->alertClickedButtonAtIndex(index);
    alerts_->erase(self_.lock());
  }

 private:
  const std::weak_ptr<AlertDelegate> delegate_;
  const std::shared_ptr<Alerts> alerts_;
  ScriptWriter& script_;
  std::weak_ptr<RecordedAlert> self_;
};

class RecordedApplication final : public Application {
 public:
  RecordedApplication(Application& application, ScriptWriter& script)
      : application_(application), script_(script) {}

  std::shared_ptr<ViewController> rootViewController() override {
    return application_.rootViewController();
  }
  BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) override {
    const auto identifier = application_.beginBackgroundTaskWithName(
        name, [this, expired = std::move(expirationHandler)] {
          script_.write({{"event", "backgroundTimeExpired"}});
          expired();
        });
    script_.note("backgroundTasks", identifier != kBackgroundTaskInvalid);
    return identifier;
  }
  void endBackgroundTask(BackgroundTaskIdentifier identifier) override {
    application_.endBackgroundTask(identifier);
  }
  double backgroundTimeRemaining() const override {
    const double seconds = application_.backgroundTimeRemaining();
    if (std::isfinite(seconds)) script_.note("backgroundTimeRemaining", seconds);
    return seconds;
  }
  bool openURL(const std::optional<URL>& url) override {
    const bool opened = application_.openURL(url);
    if (url) script_.noteOpening(url->absoluteString(), opened);
    return opened;
  }
  void registerUserNotificationSettings(unsigned types) override {
    application_.registerUserNotificationSettings(types);
  }
  void scheduleLocalNotification(const LocalNotification& notification) override {
    application_.scheduleLocalNotification(notification);
  }
  void showAlert(const Alert& alert) override {
    Alert watched = alert;
    watched.delegate = RecordedAlert::wrap(alert.delegate, alerts_, script_);
    application_.showAlert(watched);
  }

 private:
  Application& application_;
  ScriptWriter& script_;
  const std::shared_ptr<RecordedAlert::Alerts> alerts_ = std::make_shared<RecordedAlert::Alerts>();
};

/// The middle of a button in the view's own coordinates, if it stands there.
std::optional<Point> middleOf(const Button& button, const View& view) {
  for (const auto& child : view.subviews()) {
    const Rect& frame = child->frame();
    std::optional<Point> inside;
    if (child.get() == &button) {
      inside = Point{frame.width / 2, frame.height / 2};
    } else {
      inside = middleOf(button, *child);
    }
    if (inside) return Point{frame.x + inside->x, frame.y + inside->y};
  }
  return std::nullopt;
}

class RecordedPhone final : public Platform {
 public:
  RecordedPhone(std::shared_ptr<Platform> phone, const std::string& file, RecordingOptions options)
      : phone_(std::move(phone)),
        options_(options),
        script_(phone_->clock(), file,
                [this](std::string_view line) { phone_->log().write(line); }) {
    // Before those of the kit, whose work then follows the line.
    phone_->defaultNotificationCenter().addObserver(
        kApplicationDidEnterBackgroundNotification, [this] {
          script_.write({{"event", "applicationDidEnterBackground"}});
        });
  }

  Log& log() override { return phone_->log(); }
  Clock& clock() override { return clock_; }
  RandomUuids& randomUuids() override { return uuids_; }
  UserDefaults& standardUserDefaults() override { return store_; }
  NotificationCenter& defaultNotificationCenter() override {
    return phone_->defaultNotificationCenter();
  }
  Queues& queues() override { return phone_->queues(); }
  URLConnection& urlConnection() override { return connection_; }
  JSONSerialization& json() override { return phone_->json(); }
  ImageDecoder& images() override { return phone_->images(); }
  LocationService& locationService() override { return locationService_; }
  Device& device() override { return device_; }
  Application& application() override { return application_; }
  WebViews& webViews() override { return phone_->webViews(); }

  void hostCalled(std::string_view operation, const Value& arguments) override {
    Dictionary line = *arguments.dictionary();
    line.emplace("call", operation);
    if (!options_.withIdentity) {
      if (operation == "initWithAPIKey") withhold(line["APIKey"], "key");
      if (operation == "setUserId") withhold(line["value"], "user");
    }
    script_.write(std::move(line));
    phone_->hostCalled(operation, arguments);
  }
  void buttonTouched(const Button& button) override {
    auto front = phone_->application().rootViewController();
    while (front && front->presentedViewController()) front = front->presentedViewController();
    if (const auto* navigation = dynamic_cast<NavigationController*>(front.get())) {
      front = navigation->topViewController();
    }
    const auto middle = front ? middleOf(button, *front->view()) : std::nullopt;
    if (middle) script_.write({{"event", "tap"}, {"x", middle->x}, {"y", middle->y}});
    phone_->buttonTouched(button);
  }

 private:
  /// Whether there is a text, and whether it is empty, counts for the kit.
  static void withhold(Value& value, const char* placeholder) {
    if (value.text() && !value.text()->empty()) value = placeholder;
  }

  const std::shared_ptr<Platform> phone_;
  const RecordingOptions options_;
  ScriptWriter script_;
  RecordedClock clock_{phone_->clock(), script_};
  RecordedUuids uuids_{phone_->randomUuids(), script_};
  RecordedUserDefaults store_{phone_->standardUserDefaults(), script_};
  RecordedConnection connection_{phone_->urlConnection(), script_};
  RecordedLocationService locationService_{phone_->locationService(), script_};
  RecordedDevice device_{phone_->device(), script_};
  RecordedApplication application_{phone_->application(), script_};
};

}  // namespace

std::shared_ptr<Platform> recordedPhone(std::shared_ptr<Platform> phone, const std::string& file,
                                        RecordingOptions options) {
  return std::make_shared<RecordedPhone>(std::move(phone), file, options);
}

}  // namespace korvani::simulator
