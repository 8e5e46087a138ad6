// Notifications from inside a sandbox, through org.freedesktop.portal.Notification.
#pragma once

#include <korvani/qt/notifications/service.h>

#include <QDBusMessage>
#include <functional>

namespace korvani::qt::notifications {

/// The action that opens a notification, whose id is its target.
inline const QString kOpenAction = QStringLiteral("open-korvani-notification");

/// The portal knows notifications by our own ids, and does not tell of those that are dismissed.
class PortalService final : public Service {
  Q_OBJECT

 public:
  /// `hostIsOnBus`: does org.freedesktop.Application of the host answer to its name? Then the
  /// portal opens notifications there, which starts a host that has ended.
  explicit PortalService(std::function<bool()> hostIsOnBus);

  QString name() const override;
  void show(const Posting& posting, Answered answered) override;
  void withdraw(const QString& id) override;
  void adopt(const QString&, const QString&) override {}

 private:
  void subscribe() override;
  void add(const Posting& posting, bool takesSound, const Answered& answered);

  Q_SLOT void actionInvoked(const QDBusMessage& signal);

  const std::function<bool()> hostIsOnBus_;
};

}  // namespace korvani::qt::notifications
