// The port for the platform's announcements to whoever observes them.
#pragma once

#include <functional>
#include <string_view>

namespace korvani::platform {

/// The application has gone into the background.
inline constexpr std::string_view kApplicationDidEnterBackgroundNotification =
    "applicationDidEnterBackground";

/// Main thread. Observers are told on the main thread, in the order in which they were added, once
/// for each time that they were added; they stay for the life of the process.
class NotificationCenter {
 public:
  virtual ~NotificationCenter() = default;
  virtual void addObserver(std::string_view name, std::function<void()> observer) = 0;
};

}  // namespace korvani::platform
