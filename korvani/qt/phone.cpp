// The composition root of the Linux phone: makes each adapter and hands it what it needs.
#include <korvani/codec/json.h>
#include <korvani/location/beacon_location_manager.h>
#include <korvani/location/walk_radio.h>
#include <korvani/qt/after_start.h>
#include <korvani/qt/application.h>
#include <korvani/qt/background_tasks.h>
#include <korvani/qt/bluetooth/radio.h>
#include <korvani/qt/clock.h>
#include <korvani/qt/device.h>
#include <korvani/qt/display.h>
#include <korvani/qt/image.h>
#include <korvani/qt/lifecycle.h>
#include <korvani/qt/log.h>
#include <korvani/qt/notification_center.h>
#include <korvani/qt/notifications/local_notifications.h>
#include <korvani/qt/phone.h>
#include <korvani/qt/positions.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/screens.h>
#include <korvani/qt/url_connection.h>
#include <korvani/qt/user_defaults.h>

#include <QCoreApplication>
#include <QObject>
#include <QTimer>
#include <QWidget>
#include <optional>

namespace korvani::qt {

namespace {

location::Moment now() {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::steady_clock::now());
}

class LinuxPhone final : public Phone {
 public:
  LinuxPhone(const HostWindow& hostWindow, const PhoneOptions& options)
      : life_(ApplicationLife::ofProcess()),
        log_(life_, [this] { return "notifications go through " + notifications_.serviceName(); }),
        clock_(life_),
        queues_(life_),
        userDefaults_(life_, queues_, json_, options.settingsFile),
        urlConnection_(options.mappedHosts),
        images_(life_, queues_),
        locationService_(queues_, log_, now, newRadio(options), std::make_shared<Positions>(),
                         options.locationSettings),
        screens_(hostWindow, queues_.mainQueue()),
        notifications_(surroundings(), options.notificationsFolder, json_),
        backgroundTasks_(options.backgroundTime),
        device_(screens_),
        application_(screens_, notifications_, backgroundTasks_, queues_.mainQueue()),
        lifecycle_([this] { enteredBackground(); }, [this] { becameActive(); }) {
    QTimer::singleShot(kAfterStart, &started_, [this] {
      display_.emplace([this] { locationService_.displayTurnedOn(); });
    });
    life_.endAtExit(this, [this] {
      urlConnection_.stop();
      userDefaults_.flush();
    });
  }
  ~LinuxPhone() override { life_.dropFarewell(this); }

  platform::Log& log() override { return log_; }
  platform::Clock& clock() override { return clock_; }
  platform::RandomUuids& randomUuids() override { return randomUuids_; }
  platform::UserDefaults& standardUserDefaults() override { return userDefaults_; }
  platform::NotificationCenter& defaultNotificationCenter() override { return center_; }
  platform::Queues& queues() override { return queues_; }
  platform::URLConnection& urlConnection() override { return urlConnection_; }
  platform::JSONSerialization& json() override { return json_; }
  platform::ImageDecoder& images() override { return images_; }
  platform::LocationService& locationService() override { return locationService_; }
  platform::Device& device() override { return device_; }
  platform::Application& application() override { return application_; }
  platform::WebViews& webViews() override { return screens_; }

  void setLocalNotificationOpenedHandler(
      std::function<void(const platform::Value& userInfo)> handler) override {
    notifications_.setOpenedHandler(std::move(handler));
  }
  void whenLaunched(
      std::function<void(std::shared_ptr<const platform::LocalNotification>)> launched) override {
    notifications_.whenLaunched(std::move(launched));
  }
  void forwardLifecycle(std::function<void()> didEnterBackground,
                        std::function<void()> didBecomeActive) override {
    didEnterBackground_ = std::move(didEnterBackground);
    didBecomeActive_ = std::move(didBecomeActive);
  }
  std::shared_ptr<platform::ViewController> presentHostScreen(
      std::unique_ptr<QWidget> screen) override {
    return screens_.presentWidget(std::move(screen));
  }

 private:
  std::shared_ptr<location::AdvertisementSource> newRadio(const PhoneOptions& options) {
    if (options.walkFile.isEmpty()) {
      return std::make_shared<bluetooth::Radio>(options.bluetoothSettings);
    }
    std::string wrong;
    auto walk = location::readWalk(options.walkFile.toStdString(), json_, wrong);
    if (!walk) qCWarning(phoneLog, "%s", wrong.c_str());
    return std::make_shared<location::WalkRadio>(queues_, now, std::move(walk), wrong);
  }

  /// How notifications reach the host's window, which may go at any time.
  notifications::Surroundings surroundings() {
    return {.showBanners =
                [this](const NextBanner& next) {
                  screens_.showBanners(
                      [this, next] { return lifecycle_.isOutOfSight() ? std::nullopt : next(); });
                },
            .raiseWindow = [this] { screens_.raiseWindow(); }};
  }

  // The host hears of it first, then who observes it.
  void enteredBackground() {
    backgroundTasks_.enteredBackground();
    if (didEnterBackground_) didEnterBackground_();
    center_.post(platform::kApplicationDidEnterBackgroundNotification);
  }
  void becameActive() {
    backgroundTasks_.becameActive();
    notifications_.windowAppeared();
    if (didBecomeActive_) didBecomeActive_();
  }

  ApplicationLife& life_;
  Log log_;
  Clock clock_;
  RandomUuids randomUuids_;
  codec::JSON json_;
  Queues queues_;
  UserDefaults userDefaults_;
  NotificationCenter center_;
  URLConnection urlConnection_;
  ImageDecoder images_;
  location::BeaconLocationService locationService_;
  /// Made when the host has started.
  std::optional<Display> display_;
  Screens screens_;
  notifications::LocalNotifications notifications_;
  BackgroundTasks backgroundTasks_;
  Device device_;
  Application application_;
  Lifecycle lifecycle_;
  QObject started_;
  std::function<void()> didEnterBackground_;
  std::function<void()> didBecomeActive_;
};

}  // namespace

void Phone::prepareApplication() {
  // In place of the context that is made just before the web plug-in is loaded.
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

std::shared_ptr<Phone> Phone::create(const HostWindow& hostWindow, PhoneOptions options) {
  // After the application has gone, an end in good order is no longer possible, nor needed.
  return std::shared_ptr<Phone>(new LinuxPhone(hostWindow, options), [](LinuxPhone* phone) {
    if (QCoreApplication::instance() != nullptr) delete phone;
  });
}

}  // namespace korvani::qt
