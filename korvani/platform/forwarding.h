// A phone that stands on another one: the base of those that replace a port, or watch one.
#pragma once

#include <korvani/platform/platform.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace korvani::platform {

/// Every port is the other phone's, but for those that are overridden.
class ForwardingPlatform : public Platform {
 public:
  explicit ForwardingPlatform(std::shared_ptr<Platform> phone) : phone_(std::move(phone)) {}

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
  Application& application() override { return phone_->application(); }
  WebViews& webViews() override { return phone_->webViews(); }
  void hostCalled(std::string_view operation, const Value& arguments) override {
    phone_->hostCalled(operation, arguments);
  }
  void buttonTouched(const Button& button) override { phone_->buttonTouched(button); }

 protected:
  Platform& phone() const { return *phone_; }

 private:
  const std::shared_ptr<Platform> phone_;
};

/// Passes on what is not overridden to another application port, which outlives it.
class ForwardingApplication : public Application {
 public:
  explicit ForwardingApplication(Application& application) : application_(application) {}

  std::shared_ptr<ViewController> rootViewController() override {
    return application_.rootViewController();
  }
  BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) override {
    return application_.beginBackgroundTaskWithName(name, std::move(expirationHandler));
  }
  void endBackgroundTask(BackgroundTaskIdentifier identifier) override {
    application_.endBackgroundTask(identifier);
  }
  double backgroundTimeRemaining() const override { return application_.backgroundTimeRemaining(); }
  bool openURL(const std::optional<URL>& url) override { return application_.openURL(url); }
  void registerUserNotificationSettings(unsigned types) override {
    application_.registerUserNotificationSettings(types);
  }
  void scheduleLocalNotification(const LocalNotification& notification) override {
    application_.scheduleLocalNotification(notification);
  }
  void showAlert(const Alert& alert) override { application_.showAlert(alert); }

 private:
  Application& application_;
};

}  // namespace korvani::platform
