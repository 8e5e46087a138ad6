// A simulated phone of which one part or another is replaced.
#pragma once

#include <korvani/simulator/simulated_phone.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace korvani {

/// Whoever derives from it replaces what is to be another.
struct ForwardingPhone : platform::Platform {
  platform::Log& log() override { return whole.log(); }
  platform::Clock& clock() override { return whole.clock(); }
  platform::RandomUuids& randomUuids() override { return whole.randomUuids(); }
  platform::UserDefaults& standardUserDefaults() override { return whole.standardUserDefaults(); }
  platform::NotificationCenter& defaultNotificationCenter() override {
    return whole.defaultNotificationCenter();
  }
  platform::Queues& queues() override { return whole.queues(); }
  platform::URLConnection& urlConnection() override { return whole.urlConnection(); }
  platform::JSONSerialization& json() override { return whole.json(); }
  platform::ImageDecoder& images() override { return whole.images(); }
  platform::LocationService& locationService() override { return whole.locationService(); }
  platform::Device& device() override { return whole.device(); }
  platform::Application& application() override { return whole.application(); }
  platform::WebViews& webViews() override { return whole.webViews(); }

  simulator::SimulatedPhone whole;
};

/// An application whose notifications go elsewhere.
class NotifiedApplication final : public platform::Application {
 public:
  using Notified = std::function<void(const platform::LocalNotification&)>;
  NotifiedApplication(platform::Application& whole, Notified notified)
      : whole_(whole), notified_(std::move(notified)) {}

  std::shared_ptr<platform::ViewController> rootViewController() override {
    return whole_.rootViewController();
  }
  platform::BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expired) override {
    return whole_.beginBackgroundTaskWithName(name, std::move(expired));
  }
  void endBackgroundTask(platform::BackgroundTaskIdentifier task) override {
    whole_.endBackgroundTask(task);
  }
  double backgroundTimeRemaining() const override { return whole_.backgroundTimeRemaining(); }
  bool openURL(const std::optional<platform::URL>& url) override { return whole_.openURL(url); }
  void registerUserNotificationSettings(unsigned types) override {
    whole_.registerUserNotificationSettings(types);
  }
  void scheduleLocalNotification(const platform::LocalNotification& notification) override {
    notified_(notification);
  }
  void showAlert(const platform::Alert& alert) override { whole_.showAlert(alert); }

 private:
  platform::Application& whole_;
  const Notified notified_;
};

}  // namespace korvani
