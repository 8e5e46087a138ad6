// A phone that passes everything on to another, and tells what the kit asks the application for. So
// a host, and its own tests, can watch the kit with any phone.
#pragma once

#include <korvani/platform/platform.h>

#include <functional>
#include <memory>

namespace demo {

/// Each is called on the main thread.
struct Watcher {
  std::function<void(const korvani::platform::LocalNotification&)> notificationPosted;
  std::function<void(const korvani::platform::URL&, bool opened)> uriAsked;
  std::function<void(const korvani::platform::Alert&)> alertShown;
};

std::shared_ptr<korvani::platform::Platform> watchedPhone(
    std::shared_ptr<korvani::platform::Platform> phone, Watcher watcher);

}  // namespace demo
