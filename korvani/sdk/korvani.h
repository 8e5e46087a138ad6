// The kit's one public class. A host installs a phone, starts the kit once, forwards its lifecycle
// and opened notifications, and the kit does the rest:
//
//   platform::Platform::install(phone);
//   Korvani::initWithAPIKey("key", nullptr, /*isProd=*/true);
//   Korvani::requestLocalizationAndNotificationsAuthorization();
#pragma once

#include <korvani/platform/platform.h>
#include <korvani/sdk/korvani_delegate.h>
#include <korvani/sdk/version.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvani {

namespace ui {
class PopUp;
}

/// Text parameters of a request, in the order in which they were made; a key stands once.
using Record = std::vector<std::pair<std::string, std::string>>;

/// What the kit remembers of a ranged beacon. It is small, as all of the last result are looked
/// through for each beacon of the next one.
struct RangedBeacon {
  RangedBeacon(const platform::Beacon& beacon)
      : proximityUUID(beacon.proximityUUID),
        major(beacon.major),
        minor(beacon.minor),
        proximity(beacon.proximity) {}

  platform::Uuid proximityUUID;
  std::uint16_t major;
  std::uint16_t minor;
  int proximity;
};

/// The shared kit object. All operations but `sharedInstance` belong on the main thread, and none
/// throws. Before the first start call the class-level operations have no effect, and nothing
/// remembers a setting made then. There is no stop: the shared instance lives until the process
/// ends.
class KORVANI_EXPORT Korvani final : public platform::LocationManagerDelegate,
                                     public platform::AlertDelegate,
                                     public std::enable_shared_from_this<Korvani> {
 public:
  /// Starts the kit, or starts it again with other arguments. `APIKey` identifies the customer to
  /// the service; without one an error line is logged and nothing starts. `localNotification` is
  /// the one that launched the application, if any: it is handled 1 second later. `isProd` chooses
  /// the production service, else the qualification service.
  static void initWithAPIKey(std::optional<std::string> APIKey,
                             std::shared_ptr<const platform::LocalNotification> localNotification,
                             bool isProd);

  /// Held weakly.
  static void setDelegate(std::weak_ptr<KorvaniDelegate> delegate);
  /// The style that the pop-ups ask for: 0 dark, 1 light (at first 1).
  static void setStatusBarStyle(int statusBarStyle);
  /// The pop-ups' background; black without one.
  static void setColorBackground(std::optional<platform::Color> colorBackground);
  /// The image of the pop-ups' close button, which is 40 × 40 points: one from the phone's
  /// `images()`, scaled down where it is larger. A white disc with a cross in it without one.
  static void setCloseButtonImage(std::shared_ptr<const platform::Image> buttonCloseImage);
  /// Log lines for developers.
  static void setDebugLogEnabled(bool debug);
  /// True: the kit shows no content, the delegate does.
  static void setModeCustomView(bool modeCustomView);
  /// Sent with each report, as "user_id".
  static void setUserId(std::optional<std::string> userID);

  /// Asks the user for location at all times and for notifications. Call it once after the start.
  static void requestLocalizationAndNotificationsAuthorization();
  /// The host has gone into the background: the kit asks for time to run there.
  static void didEnterBackground();
  /// The host is in front again.
  static void didBecomeActive();
  /// The user opened a local notification with this user information. Content is shown, and the
  /// opening is confirmed to the service. Anything but a dictionary is ignored.
  static void didReceiveLocalNotification(const platform::Value& userInfo);

  /// Any thread. Null before the first start call.
  static std::shared_ptr<Korvani> sharedInstance();

  // Offered to hosts; the kit itself never calls these three.

  /// The record that reports a beacon to the service, with the given proximity word as its event;
  /// nothing for the word "UNKNOWN". The date is not used.
  std::optional<Record> formParamForRequestAPIwithBeacon(const platform::Beacon& beacon,
                                                         const std::string& proximity,
                                                         platform::Date date) const;
  /// A short record: "uuid" without hyphens, "major", "minor", "event". Nothing for an unknown
  /// proximity, a minor of 0 or a major of 0.
  std::optional<Record> formParamForServicesWithBeacon(const platform::Beacon& beacon) const;
  /// Posts a notification with this text and the kit's sound, without user information.
  void sendLocalNotification(const std::string& text) const;

 private:
  using SuccessContinuation = std::function<void(const platform::Value& answer)>;
  using FailureContinuation = std::function<void(const std::string& error)>;

  Korvani() = default;

  // sdk: start-up, lifecycle and background running.
  void initialize();
  void prepareStoredKeys();
  void requestNotificationAuthorization();
  void applicationDidEnterInForeground();
  void extendBackgroundRunningTime();
  bool debug() const { return debug_.load(); }

  // beacons: the region, and which of its beacons to report.
  void initLocationManager();
  void initBeacon();
  std::optional<platform::Uuid> configuredProximityUUID() const;
  void locationManagerDidStartMonitoringForRegion(
      const std::shared_ptr<platform::LocationManager>& manager,
      const std::shared_ptr<const platform::Region>& region) override;
  void locationManagerDidEnterRegion(
      const std::shared_ptr<platform::LocationManager>& manager,
      const std::shared_ptr<const platform::Region>& region) override;
  void locationManagerDidExitRegion(const std::shared_ptr<platform::LocationManager>& manager,
                                    const std::shared_ptr<const platform::Region>& region) override;
  void locationManagerDidDetermineState(
      const std::shared_ptr<platform::LocationManager>& manager, platform::RegionState state,
      const std::shared_ptr<const platform::Region>& region) override;
  void locationManagerDidRangeBeacons(
      const std::shared_ptr<platform::LocationManager>& manager,
      const std::vector<platform::Beacon>& beacons,
      const std::shared_ptr<const platform::Region>& region) override;
  void locationManagerMonitoringDidFailForRegion(
      const std::shared_ptr<platform::LocationManager>& manager,
      const std::shared_ptr<const platform::Region>& region,
      const std::string& localizedDescription) override;
  void locationManagerDidFailWithError(const std::shared_ptr<platform::LocationManager>& manager,
                                       const std::string& localizedDescription) override;

  // net: the request layer, and the exchanges that use it.
  void requestPostWithUrl(const std::string& endpoint, const std::optional<Record>& parameters,
                          SuccessContinuation success, FailureContinuation failure);
  bool isBlockedByDisabledMode() const;
  void requestCompleted(const std::string& endpoint, const platform::URLResponse& response,
                        const SuccessContinuation& success, const FailureContinuation& failure);
  void showErrorMessage(const platform::Value& message);
  void requestConfiguration();
  void configurationReceived(const platform::Value& answer);
  void requestAPIForBeacon(const platform::Beacon& beacon) {
    if (beacon.proximity != platform::kProximityUnknown) requestScenario(beacon);
  }
  void requestScenario(const platform::Beacon& beacon);
  void scenarioReceived(const platform::Value& answer);
  Record scenarioRecord(const platform::Beacon& beacon, std::string event) const;

  // notifications: telling the user, and what follows when a notification is opened.
  static void localNotificationOpened(const platform::Value& userInfo);
  void sendLocalNotificationWithUserInfo(const platform::Value& scenario) const;
  void showContent(const platform::Value& scenario);
  void confirm(const platform::Value& scenarioHistoryId);

  // ui: showing content over the host's screens.
  void launchViewWithInfos(const platform::Value& scenario);
  void launchWebViewWithInfos(const platform::Value& scenario);
  void openURI(const platform::Value& uri);
  /// Gives the pop-up the host's settings, and loads its view.
  void dress(ui::PopUp& popUp) const;

  // The state. What request queues touch as well as the main thread is atomic.
  platform::Atomic<bool> debug_;
  platform::Atomic<std::optional<std::string>> korvaniUUID_;
  platform::Atomic<std::shared_ptr<platform::LocationManager>> locationManager_;
  std::vector<RangedBeacon> arraylastBeacons_;
  std::string urlServer_;
  std::string APIKey_;
  platform::Atomic<std::string> deviceUDID_;
  std::weak_ptr<KorvaniDelegate> delegate_;
  bool modeCustomView_ = false;
  platform::Atomic<std::shared_ptr<platform::BeaconRegion>> beaconRegion_;
  std::optional<platform::DateFormatter> dateFormatterYYYYMMDD_;
  std::optional<platform::DateFormatter> dateFormatterGMT_;
  platform::Atomic<platform::UserDefaults*> standardUserDefaults_;
  int statusBarStyle_ = 1;
  std::optional<platform::Color> colorBackground_;
  std::shared_ptr<const platform::Image> buttonCloseImage_;
  std::optional<std::string> userID_;
  platform::Atomic<bool> inBackground_;
  platform::BackgroundTaskIdentifier backgroundTask_ = platform::kBackgroundTaskInvalid;
};

}  // namespace korvani
