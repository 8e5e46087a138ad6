// The notification-centre port: a list of observers a name.
#pragma once

#include <korvani/platform/notification_center.h>

#include <map>
#include <string>
#include <vector>

namespace korvani::qt {

class NotificationCenter final : public platform::NotificationCenter {
 public:
  void addObserver(std::string_view name, std::function<void()> observer) override {
    observers_[std::string(name)].push_back(std::move(observer));
  }
  /// Main thread. Observers that are added meanwhile are told the next time.
  void post(std::string_view name) {
    const auto observers = observers_[std::string(name)];
    for (const auto& observer : observers) observer();
  }

 private:
  std::map<std::string, std::vector<std::function<void()>>> observers_;
};

}  // namespace korvani::qt
