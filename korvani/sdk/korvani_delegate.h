// What a host may implement to hear of opened notifications.
#pragma once

#include <korvani/platform/value.h>

namespace korvani {

/// Given to `Korvani::setDelegate`, which holds it weakly.
class KorvaniDelegate {
 public:
  virtual ~KorvaniDelegate() = default;
  /// Main thread. The user opened one of the kit's notifications. `notification` is the scenario as
  /// the service sent it, with the marker "KVBeaconNotification" and without "success",
  /// "error_message", "scenario_history_id" and "disabled". Unless the host has set
  /// `setModeCustomView(true)`, the kit shows the content as well.
  virtual void korvaniDidReceiveNotification(platform::Value /*notification*/) {}
};

}  // namespace korvani
