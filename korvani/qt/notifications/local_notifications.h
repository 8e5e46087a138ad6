// Local notifications from posting to opening: kept, shown by the service that fits, and given back
// to the host once each, in this process or the next.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/platform/json.h>
#include <korvani/qt/banner.h>
#include <korvani/qt/notifications/host_service.h>
#include <korvani/qt/notifications/service.h>
#include <korvani/qt/notifications/store.h>

#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvani::qt::notifications {

/// What is around the host's window.
struct Surroundings {
  /// Shows over the window what it then asks for, one after another while the window is seen.
  std::function<void(NextBanner next)> showBanners;
  std::function<void()> raiseWindow;
};

/// Main thread; nothing here waits for the bus. Where no service shows a notification that can be
/// opened, it becomes a banner; where there is no window either, it waits for one or the other, in
/// the next process if need be. A service that is there and refuses is asked again: when it takes
/// another, and after a while, twice as long each time.
class LocalNotifications final : public QObject {
 public:
  using Opened = std::function<void(const platform::Value& userInfo)>;
  using Launched = std::function<void(std::shared_ptr<const platform::LocalNotification>)>;

  /// Empty `folder`: one among the host's own data.
  LocalNotifications(Surroundings here, const QString& folder,
                     const platform::JSONSerialization& json,
                     std::chrono::milliseconds firstRetry = std::chrono::seconds(10));

  void post(const Prepared& notification);
  /// A window can be seen again: what waits may be shown over it.
  void windowAppeared();
  /// Told once of each notification that is opened; those of before come now.
  void setOpenedHandler(Opened opened);
  /// Told once, from the event loop, which notification this process was started for, if any; no
  /// other is told to be opened before that.
  void whenLaunched(Launched launched);
  QString serviceName() const { return service_->name(); }

 private:
  void settled();
  void tellLaunch();
  void tellOpened();
  void show(const QString& id);
  void showed(const QString& id, const Service::Outcome& outcome);
  void showWaiting();
  bool isWaiting(const QString& id) const;
  void allAnswered();
  /// Takes the oldest that no service has.
  std::optional<Banner> nextBanner();
  void open(const QString& id, const QString& token);
  void launchOrOpen(const QString& id, const QString& token);
  /// Null when it has been opened before.
  std::shared_ptr<const platform::LocalNotification> take(const QString& id, const QString& token);
  void opened(const platform::Value& userInfo);
  void raiseWindow(const QString& token);

  const Surroundings here_;
  Store store_;
  HostService hostService_;
  const std::unique_ptr<Service> service_;
  /// On their way to the service.
  QSet<QString> onTheirWay_;
  /// That the present service may show.
  QSet<QString> unsure_;
  /// Of those on their way since the last retry, one at least was taken.
  bool tookOne_ = false;
  const std::chrono::milliseconds firstRetry_;
  std::chrono::milliseconds nextRetry_ = firstRetry_;
  QTimer retry_;
  bool isSettled_ = false;
  std::shared_ptr<const platform::LocalNotification> launch_;
  Launched launched_;
  Opened opened_;
  std::vector<platform::Value> openedBefore_;
};

}  // namespace korvani::qt::notifications
