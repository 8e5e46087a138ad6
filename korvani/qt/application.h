// The application port: a thin front over the phone's windows, notifications and desktop.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/platform/queues.h>
#include <korvani/qt/background_tasks.h>
#include <korvani/qt/notifications/local_notifications.h>
#include <korvani/qt/screens.h>

namespace korvani::qt {

class Application final : public platform::Application {
 public:
  Application(Screens& screens, notifications::LocalNotifications& notifications,
              BackgroundTasks& tasks, platform::Queue& mainQueue)
      : screens_(screens), notifications_(notifications), tasks_(tasks), mainQueue_(mainQueue) {}

  std::shared_ptr<platform::ViewController> rootViewController() override {
    return screens_.rootViewController();
  }
  platform::BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string&, std::function<void()> expirationHandler) override {
    return tasks_.begin(std::move(expirationHandler));
  }
  void endBackgroundTask(platform::BackgroundTaskIdentifier identifier) override {
    tasks_.end(identifier);
  }
  double backgroundTimeRemaining() const override { return tasks_.timeRemaining(); }
  bool openURL(const std::optional<platform::URL>& url) override;
  /// A desktop asks its user nothing here.
  void registerUserNotificationSettings(unsigned) override {}
  void scheduleLocalNotification(const platform::LocalNotification& notification) override;
  void showAlert(const platform::Alert& alert) override { screens_.showAlert(alert); }

 private:
  Screens& screens_;
  notifications::LocalNotifications& notifications_;
  BackgroundTasks& tasks_;
  platform::Queue& mainQueue_;
};

}  // namespace korvani::qt
