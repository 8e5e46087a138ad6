// Local notifications through the desktop's notification service (org.freedesktop.Notifications).
#pragma once

#include <korvani/platform/application.h>

#include <QHash>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <string>
#include <vector>

class QDBusPendingCall;

namespace korvani::qt {

/// Main thread; nothing here waits for the service. Where there is none, or it cannot bring back
/// the user's click, the notification is shown as a banner instead.
class LocalNotifications final : public QObject {
  Q_OBJECT

 public:
  using ShowBanner = std::function<void(const std::string& text, std::function<void()> opened)>;
  using Opened = std::function<void(const platform::Value& userInfo)>;

  explicit LocalNotifications(ShowBanner showBanner) : showBanner_(std::move(showBanner)) {}

  void post(const platform::LocalNotification& notification);
  /// Told once of each notification that is opened; those of before come now.
  void setOpenedHandler(Opened opened);

 private:
  void subscribe();
  void notify(const platform::LocalNotification& notification, const QStringList& capabilities);
  void showAsBanner(const platform::LocalNotification& notification);
  void opened(const platform::Value& userInfo);
  void open(uint identifier);
  /// At once, or when the answers that are on their way have brought their notifications' numbers:
  /// a signal may overtake them.
  void afterAnswers(std::function<void()> work);
  void whenFinished(const QDBusPendingCall& call,
                    std::function<void(const QDBusPendingCall&)> then);

  Q_SLOT void actionInvoked(uint identifier, const QString& action);
  Q_SLOT void notificationClosed(uint identifier, uint reason);

  const ShowBanner showBanner_;
  Opened opened_;
  bool subscribed_ = false;
  /// What is shown by the service now, by the service's number.
  QHash<uint, platform::Value> shown_;
  int unanswered_ = 0;
  std::vector<std::function<void()>> waiting_;
  std::vector<platform::Value> openedBefore_;
};

}  // namespace korvani::qt
