// The host's passage into and out of the background, permissions, and running in the background.
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

#include <array>
#include <charconv>
#include <chrono>
#include <string>
#include <utility>

namespace korvani {
namespace {

constexpr std::chrono::seconds kReportInterval{1};

/// As the format %8.2f writes it, whatever the locale of the process.
std::string secondsText(double seconds) {
  std::array<char, 400> digits;  // The largest double has 309 digits before the point.
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), seconds,
                                 std::chars_format::fixed, 2);
  const std::string text(digits.data(), end.ptr);
  return text.size() < 8 ? std::string(8 - text.size(), ' ') + text : text;
}

/// Runs for the life of the process, also after the task has expired or the application has come
/// back: developers read from it how long they have.
void reportBackgroundTime() {
  logLine("Background task started");
  for (;;) {
    guarded([] {
      logLine("background time remaining: " +
              secondsText(phone().application().backgroundTimeRemaining()));
    });
    phone().clock().sleepFor(kReportInterval);
  }
}

}  // namespace

void Korvani::requestLocalizationAndNotificationsAuthorization() {
  tellHostCalled("requestLocalizationAndNotificationsAuthorization");
  guarded([] {
    const auto kit = sharedInstance();
    if (!kit) return;
    guarded([&] {
      if (const auto manager = kit->locationManager_.load()) manager->requestAlwaysAuthorization();
    });
    // An instance that was never started has no use for notifications, but asks all the same.
    kit->requestNotificationAuthorization();
  });
}

void Korvani::requestNotificationAuthorization() {
  phone().application().registerUserNotificationSettings(platform::kBadge | platform::kSound |
                                                         platform::kAlert);
}

void Korvani::applicationDidEnterInForeground() {
  if (const auto root = phone().application().rootViewController()) {
    root->dismissViewControllerAnimated(false);
  }
}

void Korvani::didEnterBackground() {
  tellHostCalled("didEnterBackground");
  guarded([] {
    const auto kit = sharedInstance();
    if (!kit) return;
    kit->inBackground_.store(true);
    kit->extendBackgroundRunningTime();
  });
}

void Korvani::didBecomeActive() {
  tellHostCalled("didBecomeActive");
  if (const auto kit = sharedInstance()) kit->inBackground_.store(false);
}

void Korvani::extendBackgroundRunningTime() {
  if (backgroundTask_ != platform::kBackgroundTaskInvalid) return;
  logLine("Attempting to extend background running time");
  backgroundTask_ =
      phone().application().beginBackgroundTaskWithName("DummyTask", [kit = shared_from_this()] {
        guarded([&] {
          logLine("Background task expired by iOS");
          // Over also for a phone that fails to end it, or the next one would never begin.
          phone().application().endBackgroundTask(
              std::exchange(kit->backgroundTask_, platform::kBackgroundTaskInvalid));
        });
      });
  phone().queues().globalQueue(platform::QueuePriority::kDefault).async([] {
    guarded(reportBackgroundTime);
  });
}

}  // namespace korvani
