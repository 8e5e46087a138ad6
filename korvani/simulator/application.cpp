// The simulated phone's side of the host application.
#include <korvani/simulator/application.h>

#include <algorithm>
#include <utility>

namespace korvani::simulator {

using platform::Value;

std::vector<platform::LocalNotification> SimulatedApplication::notifications() const {
  const std::lock_guard lock(notificationsMutex_);
  return notifications_;
}

std::optional<platform::LocalNotification> SimulatedApplication::notification(
    std::optional<std::size_t> index) const {
  const std::lock_guard lock(notificationsMutex_);
  if (notifications_.empty()) return std::nullopt;
  const std::size_t place = index.value_or(notifications_.size() - 1);
  if (place >= notifications_.size()) return std::nullopt;
  return notifications_[place];
}

void SimulatedApplication::expireBackgroundTime() {
  const auto open = std::find_if(tasks_.begin(), tasks_.end(),
                                 [](const auto& task) { return task.second != nullptr; });
  if (open == tasks_.end()) return;
  const std::function<void()> handler = std::exchange(open->second, nullptr);
  handler();
}

void SimulatedApplication::dismissAlert() {
  if (alerts_.empty()) return;
  const platform::Alert alert = std::move(alerts_.front());
  alerts_.pop_front();
  if (const auto delegate = alert.delegate.lock()) delegate->alertClickedButtonAtIndex(0);
}

platform::BackgroundTaskIdentifier SimulatedApplication::beginBackgroundTaskWithName(
    const std::string& name, std::function<void()> expirationHandler) {
  platform::BackgroundTaskIdentifier identifier = platform::kBackgroundTaskInvalid;
  if (settings_.allowsBackgroundTasks) {
    identifier = ++lastTask_;
    tasks_.emplace(identifier, std::move(expirationHandler));
  }
  recorder_.record("backgroundTask",
                   Value::Dictionary{{"begin", name}, {"identifier", identifier}});
  return identifier;
}

void SimulatedApplication::endBackgroundTask(platform::BackgroundTaskIdentifier identifier) {
  recorder_.record("backgroundTask", Value::Dictionary{{"end", identifier}});
  tasks_.erase(identifier);
}

bool SimulatedApplication::openURL(const std::optional<platform::URL>& url) {
  const auto& openable = settings_.openableUris;
  const bool opened =
      url && std::any_of(openable.begin(), openable.end(), [&](const std::string& beginning) {
        return url->absoluteString().starts_with(beginning);
      });
  recorder_.record(
      "openURL",
      Value::Dictionary{{"url", url ? Value(url->absoluteString()) : Value()}, {"opened", opened}});
  return opened;
}

void SimulatedApplication::registerUserNotificationSettings(unsigned types) {
  recorder_.record("notificationSettings", Value::Dictionary{{"types", types}});
}

void SimulatedApplication::scheduleLocalNotification(
    const platform::LocalNotification& notification) {
  recorder_.record("notification", Value::Dictionary{{"alertBody", notification.alertBody},
                                                     {"soundName", notification.soundName},
                                                     {"userInfo", notification.userInfo}});
  const std::lock_guard lock(notificationsMutex_);
  notifications_.push_back(notification);
}

void SimulatedApplication::showAlert(const platform::Alert& alert) {
  recorder_.record("alert",
                   Value::Dictionary{{"title", alert.title ? Value(*alert.title) : Value()},
                                     {"message", alert.message},
                                     {"buttons", Value::Array{alert.cancelButtonTitle}}});
  alerts_.push_back(alert);
}

}  // namespace korvani::simulator
