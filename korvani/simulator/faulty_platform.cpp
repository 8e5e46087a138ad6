// Ports that pass every call on, once one place has said that it does not fail.
#include <korvani/simulator/faulty_platform.h>

#include <algorithm>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace korvani::simulator {

using namespace platform;

namespace {

constexpr std::chrono::minutes kLateness{1};

/// Decides which call fails, and carries out what fails later.
class Faults {
 public:
  explicit Faults(Platform& phone) : phone_(phone) {}

  void fail(Fault fault, std::size_t call, FaultLength length) {
    const std::lock_guard lock(mutex_);
    fault_ = fault;
    length_ = length;
    left_ = call;
    failures_ = 0;
  }
  void mend() {
    const std::lock_guard lock(mutex_);
    fault_.reset();
  }
  std::size_t failures() const {
    const std::lock_guard lock(mutex_);
    return failures_;
  }
  void release() {
    std::vector<Job> held;
    {
      const std::lock_guard lock(mutex_);
      held.swap(held_);
    }
    for (const Job& job : held) job();
  }

  /// How this call fails, which can fail in these ways.
  std::optional<Fault> next(std::initializer_list<Fault> possible) {
    const std::lock_guard lock(mutex_);
    if (!fault_ || std::find(possible.begin(), possible.end(), *fault_) == possible.end()) {
      return std::nullopt;
    }
    if (left_ > 0) --left_;
    if (left_ > 0 || (failures_ > 0 && length_ == FaultLength::kOnce)) return std::nullopt;
    ++failures_;
    if (fault_ == Fault::kThrows) throw std::runtime_error("the phone is faulty");
    return fault_;
  }
  /// The same of a call that lets something happen later.
  std::optional<Fault> nextOfLater() {
    return next({Fault::kThrows, Fault::kLate, Fault::kTwice, Fault::kNever, Fault::kHeld});
  }

  template <typename Call>
  auto ask(const Call& call, decltype(call()) nothing) {
    return next({Fault::kThrows, Fault::kNothing}) ? nothing : call();
  }
  template <typename Call>
  void tell(const Call& call) {
    if (!next({Fault::kThrows, Fault::kNothing})) call();
  }
  /// Does what was to happen now.
  void happen(std::optional<Fault> fault, Job job) {
    if (fault == Fault::kNever) return;
    if (fault == Fault::kLate) {
      phone_.queues().mainQueueAfter(kLateness, std::move(job));
    } else if (fault == Fault::kHeld) {
      const std::lock_guard lock(mutex_);
      held_.push_back(std::move(job));
    } else {
      job();
      if (fault == Fault::kTwice) job();
    }
  }

 private:
  Platform& phone_;
  mutable std::mutex mutex_;
  std::optional<Fault> fault_;
  FaultLength length_ = FaultLength::kOnce;
  /// Calls until the first one that fails.
  std::size_t left_ = 0;
  std::size_t failures_ = 0;
  std::vector<Job> held_;
};

/// A port of a phone, and what decides on its calls; both outlive it.
template <typename Port>
class Faulty : public Port {
 public:
  Faulty(Port& port, Faults& faults) : port_(port), faults_(faults) {}

 protected:
  Port& port_;
  Faults& faults_;
};

class FaultyLog final : public Faulty<Log> {
 public:
  using Faulty::Faulty;
  void write(std::string_view line) override {
    faults_.tell([&] { port_.write(line); });
  }
  void setDebug(bool debug) override {
    faults_.tell([&] { port_.setDebug(debug); });
  }
};

class FaultyClock final : public Faulty<Clock> {
 public:
  using Faulty::Faulty;
  Date now() const override {
    return faults_.ask([&] { return port_.now(); }, {});
  }
  std::chrono::minutes utcOffset(Date date) const override {
    return faults_.ask([&] { return port_.utcOffset(date); }, {});
  }
  void sleepFor(std::chrono::milliseconds duration) override {
    faults_.next({Fault::kThrows});
    port_.sleepFor(duration);
  }
};

class FaultyUuids final : public Faulty<RandomUuids> {
 public:
  using Faulty::Faulty;
  Uuid newUuid() override {
    return faults_.ask([&] { return port_.newUuid(); }, {});
  }
};

class FaultyUserDefaults final : public Faulty<UserDefaults> {
 public:
  using Faulty::Faulty;
  Value objectForKey(std::string_view key) const override {
    return faults_.ask([&] { return port_.objectForKey(key); }, {});
  }
  void setObject(const Value& value, std::string_view key) override {
    faults_.tell([&] { port_.setObject(value, key); });
  }
  void synchronize() override {
    faults_.tell([&] { port_.synchronize(); });
  }
  Value dictionaryRepresentation() const override {
    return faults_.ask([&] { return port_.dictionaryRepresentation(); }, {});
  }
};

class FaultyNotificationCenter final : public Faulty<NotificationCenter> {
 public:
  using Faulty::Faulty;
  void addObserver(std::string_view name, std::function<void()> observer) override {
    const auto fault = faults_.nextOfLater();
    port_.addObserver(
        name, [this, fault, observer = std::move(observer)] { faults_.happen(fault, observer); });
  }
};

class FaultyQueue final : public Faulty<Queue> {
 public:
  using Faulty::Faulty;
  void async(Job job) override {
    faults_.happen(faults_.nextOfLater(), [this, job = std::move(job)] { port_.async(job); });
  }
};

class FaultyQueues final : public Faulty<Queues> {
 public:
  using Faulty::Faulty;
  Queue& mainQueue() override { return main_; }
  void mainQueueAfter(std::chrono::milliseconds delay, Job job) override {
    faults_.happen(faults_.nextOfLater(),
                   [this, delay, job = std::move(job)] { port_.mainQueueAfter(delay, job); });
  }
  Queue& globalQueue(QueuePriority priority) override {
    return priority == QueuePriority::kHigh ? high_ : default_;
  }
  /// A connection may take only the queues of its own phone.
  std::shared_ptr<Queue> newOperationQueue() override {
    return faults_.ask([&] { return port_.newOperationQueue(); }, {});
  }

 private:
  FaultyQueue main_{port_.mainQueue(), faults_};
  FaultyQueue default_{port_.globalQueue(QueuePriority::kDefault), faults_};
  FaultyQueue high_{port_.globalQueue(QueuePriority::kHigh), faults_};
};

class FaultyConnection final : public Faulty<URLConnection> {
 public:
  FaultyConnection(Platform& phone, Faults& faults)
      : Faulty(phone.urlConnection(), faults), clock_(phone.clock()) {}

  void sendAsynchronousRequest(URLRequest request, std::shared_ptr<Queue> queue,
                               CompletionHandler handler) override {
    const auto fault = faults_.next({Fault::kThrows, Fault::kNothing, Fault::kLate, Fault::kTwice,
                                     Fault::kNever, Fault::kHeld});
    if (!fault) {
      port_.sendAsynchronousRequest(std::move(request), std::move(queue), std::move(handler));
      return;
    }
    port_.sendAsynchronousRequest(
        std::move(request), queue,
        [this, fault, queue, handler = std::move(handler)](const URLResponse& response) {
          faults_.happen(fault, [fault, queue, handler, response] {
            queue->async([=] { handler(fault == Fault::kNothing ? URLResponse() : response); });
          });
        });
  }
  std::optional<std::string> dataWithContentsOfURL(const URL& url) override {
    const auto fault = faults_.next({Fault::kThrows, Fault::kNothing, Fault::kLate});
    if (fault == Fault::kNothing) return std::nullopt;
    if (fault == Fault::kLate) clock_.sleepFor(kLateness);
    return port_.dataWithContentsOfURL(url);
  }

 private:
  Clock& clock_;
};

class FaultyJSON final : public Faulty<JSONSerialization> {
 public:
  using Faulty::Faulty;
  Value JSONObjectWithData(std::string_view data) const override {
    return faults_.ask([&] { return port_.JSONObjectWithData(data); }, {});
  }
};

class FaultyImages final : public Faulty<ImageDecoder> {
 public:
  using Faulty::Faulty;
  std::shared_ptr<const Image> imageWithData(std::string_view data, double scale) override {
    return faults_.ask([&] { return port_.imageWithData(data, scale); }, {});
  }
};

/// Stands between a manager and the kit, which takes it for the manager.
class FaultyManager final : public LocationManager,
                            public LocationManagerDelegate,
                            public std::enable_shared_from_this<FaultyManager> {
 public:
  using Manager = std::shared_ptr<LocationManager>;
  using AnyRegion = std::shared_ptr<const Region>;

  FaultyManager(Manager manager, Faults& faults) : manager_(std::move(manager)), faults_(faults) {}

  void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) override {
    faults_.tell([&] {
      delegate_.store(delegate);
      manager_->setDelegate(weak_from_this());
    });
  }
  void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) override {
    faults_.tell([&] { manager_->startMonitoringForRegion(region); });
  }
  void requestStateForRegion(AnyRegion region) override {
    faults_.tell([&] { manager_->requestStateForRegion(region); });
  }
  void startRangingBeaconsInRegion(AnyRegion region) override {
    faults_.tell([&] { manager_->startRangingBeaconsInRegion(region); });
  }
  void stopRangingBeaconsInRegion(AnyRegion region) override {
    faults_.tell([&] { manager_->stopRangingBeaconsInRegion(region); });
  }
  void startUpdatingLocation() override {
    faults_.tell([&] { manager_->startUpdatingLocation(); });
  }
  void stopUpdatingLocation() override {
    faults_.tell([&] { manager_->stopUpdatingLocation(); });
  }
  void requestAlwaysAuthorization() override {
    faults_.tell([&] { manager_->requestAlwaysAuthorization(); });
  }
  std::optional<Coordinate> location() const override {
    return faults_.ask([&] { return manager_->location(); }, {});
  }

  void locationManagerDidStartMonitoringForRegion(const Manager&,
                                                  const AnyRegion& region) override {
    happened(&LocationManagerDelegate::locationManagerDidStartMonitoringForRegion, region);
  }
  void locationManagerDidEnterRegion(const Manager&, const AnyRegion& region) override {
    happened(&LocationManagerDelegate::locationManagerDidEnterRegion, region);
  }
  void locationManagerDidExitRegion(const Manager&, const AnyRegion& region) override {
    happened(&LocationManagerDelegate::locationManagerDidExitRegion, region);
  }
  void locationManagerDidDetermineState(const Manager&, RegionState state,
                                        const AnyRegion& region) override {
    happened(&LocationManagerDelegate::locationManagerDidDetermineState, state, region);
  }
  void locationManagerDidRangeBeacons(const Manager&, const std::vector<Beacon>& beacons,
                                      const AnyRegion& region) override {
    happened(&LocationManagerDelegate::locationManagerDidRangeBeacons, beacons, region);
  }
  void locationManagerMonitoringDidFailForRegion(const Manager&, const AnyRegion& region,
                                                 const std::string& description) override {
    happened(&LocationManagerDelegate::locationManagerMonitoringDidFailForRegion, region,
             description);
  }
  void locationManagerDidFailWithError(const Manager&, const std::string& description) override {
    happened(&LocationManagerDelegate::locationManagerDidFailWithError, description);
  }

 private:
  template <typename... Parameters, typename... Arguments>
  void happened(void (LocationManagerDelegate::*callback)(const Manager&, Parameters...),
                const Arguments&... arguments) {
    const auto fault = faults_.next({Fault::kLate, Fault::kTwice, Fault::kNever, Fault::kHeld});
    faults_.happen(fault, [self = shared_from_this(), callback, arguments...] {
      const auto kit = self->delegate_.load().lock();
      if (kit) (kit.get()->*callback)(self, arguments...);
    });
  }

  const Manager manager_;
  Faults& faults_;
  Atomic<std::weak_ptr<LocationManagerDelegate>> delegate_;
};

class FaultyLocationService final : public Faulty<LocationService> {
 public:
  using Faulty::Faulty;
  std::shared_ptr<LocationManager> newLocationManager() override {
    return faults_.ask(
        [&]() -> std::shared_ptr<LocationManager> {
          return std::make_shared<FaultyManager>(port_.newLocationManager(), faults_);
        },
        {});
  }
};

class FaultyDevice final : public Faulty<Device> {
 public:
  using Faulty::Faulty;
  void setBatteryMonitoringEnabled(bool enabled) override {
    faults_.tell([&] { port_.setBatteryMonitoringEnabled(enabled); });
  }
  float batteryLevel() const override {
    return faults_.ask([&] { return port_.batteryLevel(); }, {});
  }
  std::string localeIdentifier() const override {
    return faults_.ask([&] { return port_.localeIdentifier(); }, {});
  }
  Rect mainScreenBounds() const override {
    return faults_.ask([&] { return port_.mainScreenBounds(); }, {});
  }
};

class FaultyApplication final : public Faulty<Application> {
 public:
  using Faulty::Faulty;
  std::shared_ptr<ViewController> rootViewController() override {
    return faults_.ask([&] { return port_.rootViewController(); }, {});
  }
  BackgroundTaskIdentifier beginBackgroundTaskWithName(const std::string& name,
                                                       std::function<void()> expired) override {
    const auto fault = faults_.next({Fault::kThrows, Fault::kNothing, Fault::kLate, Fault::kTwice,
                                     Fault::kNever, Fault::kHeld});
    if (fault == Fault::kNothing) return kBackgroundTaskInvalid;
    return port_.beginBackgroundTaskWithName(
        name, [this, fault, expired = std::move(expired)] { faults_.happen(fault, expired); });
  }
  void endBackgroundTask(BackgroundTaskIdentifier identifier) override {
    faults_.tell([&] { port_.endBackgroundTask(identifier); });
  }
  double backgroundTimeRemaining() const override {
    return faults_.ask([&] { return port_.backgroundTimeRemaining(); }, {});
  }
  bool openURL(const std::optional<URL>& url) override {
    return faults_.ask([&] { return port_.openURL(url); }, {});
  }
  void registerUserNotificationSettings(unsigned types) override {
    faults_.tell([&] { port_.registerUserNotificationSettings(types); });
  }
  void scheduleLocalNotification(const LocalNotification& notification) override {
    faults_.tell([&] { port_.scheduleLocalNotification(notification); });
  }
  void showAlert(const Alert& alert) override {
    faults_.tell([&] { port_.showAlert(alert); });
  }
};

class FaultyWebViews final : public Faulty<WebViews> {
 public:
  FaultyWebViews(Platform& phone, Faults& faults)
      : Faulty(phone.webViews(), faults), mainQueue_(phone.queues().mainQueue()) {}

  std::shared_ptr<WebView> newWebView(Rect frame) override {
    const auto fault =
        faults_.next({Fault::kThrows, Fault::kNothing, Fault::kLate, Fault::kTwice, Fault::kHeld});
    if (fault == Fault::kNothing) return nullptr;
    const auto view = port_.newWebView(frame);
    if (fault) {
      faults_.happen(fault, [this, view] {
        mainQueue_.async([view] { view->loadFailed("the phone is faulty"); });
      });
    }
    return view;
  }

 private:
  Queue& mainQueue_;
};

}  // namespace

struct FaultyPlatform::Parts {
  explicit Parts(std::shared_ptr<Platform> whole) : phone(std::move(whole)) {}

  const std::shared_ptr<Platform> phone;
  Faults faults{*phone};
  FaultyLog log{phone->log(), faults};
  FaultyClock clock{phone->clock(), faults};
  FaultyUuids uuids{phone->randomUuids(), faults};
  FaultyUserDefaults store{phone->standardUserDefaults(), faults};
  FaultyNotificationCenter notificationCenter{phone->defaultNotificationCenter(), faults};
  FaultyQueues queues{phone->queues(), faults};
  FaultyConnection connection{*phone, faults};
  FaultyJSON json{phone->json(), faults};
  FaultyImages images{phone->images(), faults};
  FaultyLocationService locationService{phone->locationService(), faults};
  FaultyDevice device{phone->device(), faults};
  FaultyApplication application{phone->application(), faults};
  FaultyWebViews webViews{*phone, faults};
};

FaultyPlatform::FaultyPlatform(std::shared_ptr<Platform> phone)
    : parts_(std::make_unique<Parts>(std::move(phone))) {}
FaultyPlatform::~FaultyPlatform() = default;

void FaultyPlatform::fail(Fault fault, std::size_t call, FaultLength length) {
  parts_->faults.fail(fault, call, length);
}
void FaultyPlatform::mend() { parts_->faults.mend(); }
std::size_t FaultyPlatform::failures() const { return parts_->faults.failures(); }
void FaultyPlatform::release() { parts_->faults.release(); }

Log& FaultyPlatform::log() { return parts_->log; }
Clock& FaultyPlatform::clock() { return parts_->clock; }
RandomUuids& FaultyPlatform::randomUuids() { return parts_->uuids; }
UserDefaults& FaultyPlatform::standardUserDefaults() { return parts_->store; }
NotificationCenter& FaultyPlatform::defaultNotificationCenter() {
  return parts_->notificationCenter;
}
Queues& FaultyPlatform::queues() { return parts_->queues; }
URLConnection& FaultyPlatform::urlConnection() { return parts_->connection; }
JSONSerialization& FaultyPlatform::json() { return parts_->json; }
ImageDecoder& FaultyPlatform::images() { return parts_->images; }
LocationService& FaultyPlatform::locationService() { return parts_->locationService; }
Device& FaultyPlatform::device() { return parts_->device; }
Application& FaultyPlatform::application() { return parts_->application; }
WebViews& FaultyPlatform::webViews() { return parts_->webViews; }
void FaultyPlatform::hostCalled(std::string_view operation, const Value& arguments) {
  parts_->phone->hostCalled(operation, arguments);
}
void FaultyPlatform::buttonTouched(const Button& button) { parts_->phone->buttonTouched(button); }

}  // namespace korvani::simulator
