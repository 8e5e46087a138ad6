// Two thin layers: the application port that tells, and the phone that offers it.
#include "watched_phone.h"

#include <korvani/platform/forwarding.h>

#include <utility>

namespace demo {
namespace {

using namespace korvani::platform;

class WatchedApplication final : public ForwardingApplication {
 public:
  WatchedApplication(Platform& phone, Watcher watcher)
      : ForwardingApplication(phone.application()), phone_(phone), watcher_(std::move(watcher)) {}

  bool openURL(const std::optional<URL>& url) override {
    const bool opened = ForwardingApplication::openURL(url);
    if (url) watcher_.uriAsked(*url, opened);
    return opened;
  }
  void scheduleLocalNotification(const LocalNotification& notification) override {
    phone_.queues().mainQueue().async(
        [this, notification] { watcher_.notificationPosted(notification); });
    ForwardingApplication::scheduleLocalNotification(notification);
  }
  void showAlert(const Alert& alert) override {
    watcher_.alertShown(alert);
    ForwardingApplication::showAlert(alert);
  }

 private:
  Platform& phone_;
  const Watcher watcher_;
};

class WatchedPhone final : public ForwardingPlatform {
 public:
  WatchedPhone(std::shared_ptr<Platform> phone, Watcher watcher)
      : ForwardingPlatform(std::move(phone)), application_(this->phone(), std::move(watcher)) {}

  Application& application() override { return application_; }

 private:
  WatchedApplication application_;
};

}  // namespace

std::shared_ptr<Platform> watchedPhone(std::shared_ptr<Platform> phone, Watcher watcher) {
  return std::make_shared<WatchedPhone>(std::move(phone), std::move(watcher));
}

}  // namespace demo
