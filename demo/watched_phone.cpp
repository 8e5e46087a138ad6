// Two thin layers: the application port that tells, and the phone that offers it.
#include "watched_phone.h"

#include <utility>

namespace demo {
namespace {

using namespace korvani::platform;

class WatchedApplication final : public Application {
 public:
  WatchedApplication(Platform& phone, Watcher watcher)
      : phone_(phone), watcher_(std::move(watcher)) {}

  std::shared_ptr<ViewController> rootViewController() override {
    return phone_.application().rootViewController();
  }
  BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) override {
    return phone_.application().beginBackgroundTaskWithName(name, std::move(expirationHandler));
  }
  void endBackgroundTask(BackgroundTaskIdentifier identifier) override {
    phone_.application().endBackgroundTask(identifier);
  }
  double backgroundTimeRemaining() const override {
    return phone_.application().backgroundTimeRemaining();
  }
  bool openURL(const std::optional<URL>& url) override {
    const bool opened = phone_.application().openURL(url);
    if (url) watcher_.uriAsked(*url, opened);
    return opened;
  }
  void registerUserNotificationSettings(unsigned types) override {
    phone_.application().registerUserNotificationSettings(types);
  }
  void scheduleLocalNotification(const LocalNotification& notification) override {
    phone_.queues().mainQueue().async(
        [this, notification] { watcher_.notificationPosted(notification); });
    phone_.application().scheduleLocalNotification(notification);
  }
  void showAlert(const Alert& alert) override {
    watcher_.alertShown(alert);
    phone_.application().showAlert(alert);
  }

 private:
  Platform& phone_;
  const Watcher watcher_;
};

class WatchedPhone final : public Platform {
 public:
  WatchedPhone(std::shared_ptr<Platform> phone, Watcher watcher)
      : phone_(std::move(phone)), application_(*phone_, std::move(watcher)) {}

  Log& log() override { return phone_->log(); }
  Clock& clock() override { return phone_->clock(); }
  RandomUuids& randomUuids() override { return phone_->randomUuids(); }
  UserDefaults& standardUserDefaults() override { return phone_->standardUserDefaults(); }
  NotificationCenter& defaultNotificationCenter() override {
    return phone_->defaultNotificationCenter();
  }
  Queues& queues() override { return phone_->queues(); }
  URLConnection& urlConnection() override { return phone_->urlConnection(); }
  JSONSerialization& json() override { return phone_->json(); }
  ImageDecoder& images() override { return phone_->images(); }
  LocationService& locationService() override { return phone_->locationService(); }
  Device& device() override { return phone_->device(); }
  Application& application() override { return application_; }
  WebViews& webViews() override { return phone_->webViews(); }

 private:
  const std::shared_ptr<Platform> phone_;
  WatchedApplication application_;
};

}  // namespace

std::shared_ptr<Platform> watchedPhone(std::shared_ptr<Platform> phone, Watcher watcher) {
  return std::make_shared<WatchedPhone>(std::move(phone), std::move(watcher));
}

}  // namespace demo
