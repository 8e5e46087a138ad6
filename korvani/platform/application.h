// The port for the host application as the platform sees it: its window, background running, local
// notifications, alerts and the opening of URIs.
#pragma once

#include <korvani/platform/screens/view_controller.h>
#include <korvani/platform/url.h>
#include <korvani/platform/value.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace korvani::platform {

struct LocalNotification {
  std::string alertBody;
  std::string soundName;
  /// A dictionary, or null for none.
  Value userInfo;
};

using BackgroundTaskIdentifier = std::uint64_t;
inline constexpr BackgroundTaskIdentifier kBackgroundTaskInvalid = 0;

/// The types of `registerUserNotificationSettings` are a sum of these.
enum UserNotificationType : unsigned { kBadge = 1, kSound = 2, kAlert = 4 };

/// Told on the main thread; the one button is 0.
class AlertDelegate {
 public:
  virtual ~AlertDelegate() = default;
  virtual void alertClickedButtonAtIndex(int) {}
};

struct Alert {
  std::optional<std::string> title;
  std::string message;
  std::weak_ptr<AlertDelegate> delegate;
  std::string cancelButtonTitle;
};

/// Main thread, but for what says otherwise. Nothing here throws at the kit; what a platform cannot
/// do it answers as stated and says in its own log.
class Application {
 public:
  virtual ~Application() = default;
  /// The root controller of the host's window, null when there is none. Any thread.
  virtual std::shared_ptr<ViewController> rootViewController() = 0;
  /// kBackgroundTaskInvalid when refused. The handler runs at most once, on the main thread, never
  /// from inside this call.
  virtual BackgroundTaskIdentifier beginBackgroundTaskWithName(
      const std::string& name, std::function<void()> expirationHandler) = 0;
  virtual void endBackgroundTask(BackgroundTaskIdentifier identifier) = 0;
  /// Any thread. Seconds; a very large value when there is no limit.
  virtual double backgroundTimeRemaining() const = 0;
  /// Did the system take the URI? False for none.
  virtual bool openURL(const std::optional<URL>& url) = 0;
  virtual void registerUserNotificationSettings(unsigned types) = 0;
  /// Any thread. Posted at once.
  virtual void scheduleLocalNotification(const LocalNotification& notification) = 0;
  /// Returns at once; the alert stays until its one button is pressed. Several are shown in turn.
  virtual void showAlert(const Alert& alert) = 0;
};

}  // namespace korvani::platform
