// The port for the host application: notifications, background tasks, alerts and URIs, recorded and
// kept until the script or test acts on them.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/simulator/recorder.h>
#include <korvani/simulator/screens.h>
#include <korvani/simulator/settings.h>

#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

namespace korvani::simulator {

class SimulatedApplication : public platform::Application {
 public:
  SimulatedApplication(Recorder& recorder, const Settings& settings, SimulatedStage& stage)
      : recorder_(recorder), settings_(settings), stage_(stage) {}

  /// In order of posting.
  std::vector<platform::LocalNotification> notifications() const;
  /// The one of that place; without a place the latest. Nothing when there is none.
  std::optional<platform::LocalNotification> notification(std::optional<std::size_t> index) const;
  /// Expires the oldest open background task, if any.
  void expireBackgroundTime();
  /// Presses the button of the alert in front, if any.
  void dismissAlert();

  std::shared_ptr<platform::ViewController> rootViewController() override { return stage_.root(); }
  platform::BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) override;
  void endBackgroundTask(platform::BackgroundTaskIdentifier identifier) override;
  double backgroundTimeRemaining() const override { return settings_.backgroundTimeRemaining; }
  bool openURL(const std::optional<platform::URL>& url) override;
  void registerUserNotificationSettings(unsigned types) override;
  void scheduleLocalNotification(const platform::LocalNotification& notification) override;
  void showAlert(const platform::Alert& alert) override;

 private:
  Recorder& recorder_;
  const Settings& settings_;
  SimulatedStage& stage_;
  mutable std::mutex notificationsMutex_;
  std::vector<platform::LocalNotification> notifications_;
  std::deque<platform::Alert> alerts_;
  platform::BackgroundTaskIdentifier lastTask_ = platform::kBackgroundTaskInvalid;
  /// Open tasks with their expiration handlers, empty once called.
  std::map<platform::BackgroundTaskIdentifier, std::function<void()>> tasks_;
};

}  // namespace korvani::simulator
