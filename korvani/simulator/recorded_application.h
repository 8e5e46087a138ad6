// The application of a phone whose events are written into a script.
#pragma once

#include <korvani/platform/forwarding.h>
#include <korvani/simulator/script_writer.h>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace korvani::simulator {

/// Both outlive it.
class RecordedApplication final : public platform::ForwardingApplication {
 public:
  RecordedApplication(platform::Application& application, ScriptWriter& script)
      : ForwardingApplication(application), script_(script) {}

  platform::BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) override;
  double backgroundTimeRemaining() const override;
  bool openURL(const std::optional<platform::URL>& url) override;
  void showAlert(const platform::Alert& alert) override;

 private:
  class RecordedAlert;

  ScriptWriter& script_;
  /// Those whose button has not been pressed yet.
  std::set<std::shared_ptr<RecordedAlert>> alerts_;
};

}  // namespace korvani::simulator
