// Ports that pass everything on and tell a script what the kit asks and hears.
#include <korvani/platform/forwarding.h>
#include <korvani/simulator/recorded_application.h>
#include <korvani/simulator/recorded_location.h>
#include <korvani/simulator/recorded_phone.h>
#include <korvani/simulator/script_writer.h>

#include <optional>
#include <string_view>
#include <utility>

namespace korvani::simulator {

using namespace platform;

namespace {

using Dictionary = Value::Dictionary;

class RecordedClock final : public Clock {
 public:
  RecordedClock(Clock& clock, ScriptWriter& script) : clock_(clock), script_(script) {}

  Date now() const override { return clock_.now(); }
  std::chrono::minutes utcOffset(Date date) const override {
    script_.note("utcOffset", offset_.stringFromDate(date));
    return clock_.utcOffset(date);
  }
  void sleepFor(std::chrono::milliseconds duration) override { clock_.sleepFor(duration); }

 private:
  Clock& clock_;
  ScriptWriter& script_;
  const DateFormatter offset_{clock_, "Z"};
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

/// Of jobs that end.
class RecordedQueue final : public Queue {
 public:
  RecordedQueue(Queue& queue, ScriptWriter& script) : queue_(queue), script_(script) {}

  void async(Job job) override { queue_.async(script_.work(std::move(job))); }

 private:
  Queue& queue_;
  ScriptWriter& script_;
};

class RecordedQueues final : public Queues {
 public:
  RecordedQueues(Queues& queues, ScriptWriter& script) : queues_(queues), script_(script) {}

  Queue& mainQueue() override { return queues_.mainQueue(); }
  void mainQueueAfter(std::chrono::milliseconds delay, Job job) override {
    queues_.mainQueueAfter(delay, std::move(job));
  }
  /// The reports on the time in the background, which never end, have the default one.
  Queue& globalQueue(QueuePriority priority) override {
    if (priority == QueuePriority::kHigh) return high_;
    return queues_.globalQueue(priority);
  }
  std::shared_ptr<Queue> newOperationQueue() override { return queues_.newOperationQueue(); }

 private:
  Queues& queues_;
  ScriptWriter& script_;
  RecordedQueue high_{queues_.globalQueue(QueuePriority::kHigh), script_};
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

class RecordedPhone final : public ForwardingPlatform {
 public:
  RecordedPhone(std::shared_ptr<Platform> phone, const std::string& file, RecordingOptions options)
      : ForwardingPlatform(std::move(phone)),
        options_(options),
        script_(this->phone().clock(), file,
                [this](std::string_view line) { this->phone().log().write(line); }) {
    // Before those of the kit, whose work then follows the line.
    this->phone().defaultNotificationCenter().addObserver(
        kApplicationDidEnterBackgroundNotification, [this] {
          script_.write({{"event", "applicationDidEnterBackground"}});
        });
  }

  Clock& clock() override { return clock_; }
  RandomUuids& randomUuids() override { return uuids_; }
  UserDefaults& standardUserDefaults() override { return store_; }
  Queues& queues() override { return queues_; }
  URLConnection& urlConnection() override { return connection_; }
  LocationService& locationService() override { return locationService_; }
  Device& device() override { return device_; }
  Application& application() override { return application_; }

  void hostCalled(std::string_view operation, const Value& arguments) override {
    Dictionary line = *arguments.dictionary();
    line.emplace("call", operation);
    if (!options_.withIdentity) {
      if (operation == "initWithAPIKey") withhold(line["APIKey"], "key");
      if (operation == "setUserId") withhold(line["value"], "user");
    }
    script_.write(std::move(line));
    ForwardingPlatform::hostCalled(operation, arguments);
  }
  void buttonTouched(const Button& button) override {
    auto front = phone().application().rootViewController();
    while (front && front->presentedViewController()) front = front->presentedViewController();
    if (const auto* navigation = dynamic_cast<NavigationController*>(front.get())) {
      front = navigation->topViewController();
    }
    const auto middle = front ? middleOf(button, *front->view()) : std::nullopt;
    if (middle) script_.write({{"event", "tap"}, {"x", middle->x}, {"y", middle->y}});
    ForwardingPlatform::buttonTouched(button);
  }

 private:
  /// Whether there is a text, and whether it is empty, counts for the kit.
  static void withhold(Value& value, const char* placeholder) {
    if (value.text() && !value.text()->empty()) value = placeholder;
  }

  const RecordingOptions options_;
  ScriptWriter script_;
  RecordedClock clock_{phone().clock(), script_};
  RecordedUuids uuids_{phone().randomUuids(), script_};
  RecordedUserDefaults store_{phone().standardUserDefaults(), script_};
  RecordedQueues queues_{phone().queues(), script_};
  RecordedConnection connection_{phone().urlConnection(), script_};
  RecordedLocationService locationService_{phone().locationService(), script_};
  RecordedDevice device_{phone().device(), script_};
  RecordedApplication application_{phone().application(), script_};
};

}  // namespace

std::shared_ptr<Platform> recordedPhone(std::shared_ptr<Platform> phone, const std::string& file,
                                        RecordingOptions options) {
  return std::make_shared<RecordedPhone>(std::move(phone), file, options);
}

}  // namespace korvani::simulator
