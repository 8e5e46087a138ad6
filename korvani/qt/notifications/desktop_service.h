// Notifications through the desktop's service, org.freedesktop.Notifications.
#pragma once

#include <korvani/qt/notifications/service.h>

#include <QDBusMessage>
#include <QHash>
#include <QStringList>
#include <functional>
#include <vector>

namespace korvani::qt::notifications {

/// Takes only what can be brought back: a service without actions is as good as none.
class DesktopService final : public Service {
  Q_OBJECT

 public:
  DesktopService();

  QString name() const override;
  void show(const Posting& posting, Answered answered) override;
  void withdraw(const QString& id) override;
  void adopt(const QString& id, const QString& place) override;

 private:
  void subscribe() override;
  void notify(const Posting& posting, const QStringList& capabilities, const Answered& answered);
  /// "bus owner number": numbers are only good with the one that gave them.
  QString placeOf(const QDBusMessage& fromService) const;
  /// At once, or when all answers that are on their way have come: a signal may overtake them.
  void afterAnswers(std::function<void()> work);
  void answerCame();

  Q_SLOT void tokenGiven(const QDBusMessage& signal);
  Q_SLOT void actionInvoked(const QDBusMessage& signal);
  Q_SLOT void notificationClosed(const QDBusMessage& signal);

  QString busId_;
  /// Our ids, by place.
  QHash<QString, QString> shown_;
  QHash<QString, QString> tokens_;
  int unanswered_ = 0;
  std::vector<std::function<void()>> waiting_;
};

}  // namespace korvani::qt::notifications
