// An application whose notifications go to the measurement.
#pragma once

#include <korvani/platform/forwarding.h>

#include <functional>
#include <utility>

namespace korvani::bench {

class NotifiedApplication final : public platform::ForwardingApplication {
 public:
  using Notified = std::function<void(const platform::LocalNotification&)>;
  NotifiedApplication(platform::Application& whole, Notified notified)
      : ForwardingApplication(whole), notified_(std::move(notified)) {}
  void scheduleLocalNotification(const platform::LocalNotification& notification) override {
    notified_(notification);
  }

 private:
  const Notified notified_;
};

}  // namespace korvani::bench
