// The application of a phone whose events are written into a script.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/simulator/script_writer.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace korvani::simulator {

/// Both outlive it.
class RecordedApplication final : public platform::Application {
 public:
  RecordedApplication(platform::Application& application, ScriptWriter& script)
      : application_(application), script_(script) {}

  std::shared_ptr<platform::ViewController> rootViewController() override;
  platform::BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) override;
  void endBackgroundTask(platform::BackgroundTaskIdentifier identifier) override;
  double backgroundTimeRemaining() const override;
  bool openURL(const std::optional<platform::URL>& url) override;
  void registerUserNotificationSettings(unsigned types) override;
  void scheduleLocalNotification(const platform::LocalNotification& notification) override;
  void showAlert(const platform::Alert& alert) override;

 private:
  class RecordedAlert;

  platform::Application& application_;
  ScriptWriter& script_;
  /// Those whose button has not been pressed yet.
  std::set<std::shared_ptr<RecordedAlert>> alerts_;
};

}  // namespace korvani::simulator
