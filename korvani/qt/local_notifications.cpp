// Asks the service what it can do, posts, and waits for the user's click.
#include <korvani/qt/local_notifications.h>
#include <korvani/qt/log.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QVariantMap>
#include <utility>

namespace korvani::qt {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kDefaultAction = QStringLiteral("default");

QDBusPendingCall call(const QString& method, const QVariantList& arguments = {}) {
  auto message = QDBusMessage::createMethodCall(kService, kPath, kService, method);
  message.setArguments(arguments);
  return QDBusConnection::sessionBus().asyncCall(message);
}

}  // namespace

void LocalNotifications::post(const platform::LocalNotification& notification) {
  if (!QDBusConnection::sessionBus().isConnected()) return showAsBanner(notification);
  subscribe();
  // Asked each time: another service may have taken the place of the last one.
  whenFinished(call(QStringLiteral("GetCapabilities")),
               [this, notification](const QDBusPendingCall& call) {
                 const QDBusPendingReply<QStringList> reply = call;
                 if (reply.isError() || !reply.value().contains(QStringLiteral("actions"))) {
                   return showAsBanner(notification);
                 }
                 notify(notification, reply.value());
               });
}

void LocalNotifications::notify(const platform::LocalNotification& notification,
                                const QStringList& capabilities) {
  const QString text = QString::fromStdString(notification.alertBody);
  const bool readsMarkup = capabilities.contains(QStringLiteral("body-markup"));
  QVariantMap hints;
  if (!QGuiApplication::desktopFileName().isEmpty()) {
    hints.insert(QStringLiteral("desktop-entry"), QGuiApplication::desktopFileName());
  }
  if (!notification.soundName.empty()) {
    hints.insert(QStringLiteral("sound-name"), QStringLiteral("message-new-instant"));
  }
  const QVariantList arguments{QGuiApplication::applicationDisplayName(),
                               uint{0},
                               QString(),
                               QGuiApplication::applicationDisplayName(),
                               readsMarkup ? text.toHtmlEscaped() : text,
                               QStringList{kDefaultAction, QString()},
                               hints,
                               -1};
  ++unanswered_;
  whenFinished(call(QStringLiteral("Notify"), arguments),
               [this, notification](const QDBusPendingCall& call) {
                 --unanswered_;
                 const QDBusPendingReply<uint> reply = call;
                 if (reply.isError()) {
                   showAsBanner(notification);
                 } else {
                   shown_.insert(reply.value(), notification.userInfo);
                 }
                 if (unanswered_ > 0) return;
                 for (const auto& work : std::exchange(waiting_, {})) work();
               });
}

void LocalNotifications::showAsBanner(const platform::LocalNotification& notification) {
  showBanner_(notification.alertBody,
              [this, userInfo = notification.userInfo] { opened(userInfo); });
}

void LocalNotifications::setOpenedHandler(Opened opened) {
  opened_ = std::move(opened);
  if (!opened_) return;
  for (const auto& userInfo : std::exchange(openedBefore_, {})) opened_(userInfo);
}

void LocalNotifications::opened(const platform::Value& userInfo) {
  if (opened_) return opened_(userInfo);
  openedBefore_.push_back(userInfo);
}

void LocalNotifications::subscribe() {
  if (std::exchange(subscribed_, true)) return;
  auto bus = QDBusConnection::sessionBus();
  bus.connect(kService, kPath, kService, QStringLiteral("ActionInvoked"), this,
              SLOT(actionInvoked(uint, QString)));
  bus.connect(kService, kPath, kService, QStringLiteral("NotificationClosed"), this,
              SLOT(notificationClosed(uint, uint)));
  // A new service counts its notifications anew: its numbers are not those that we know.
  auto* watcher =
      new QDBusServiceWatcher(kService, bus, QDBusServiceWatcher::WatchForUnregistration, this);
  connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { shown_.clear(); });
}

void LocalNotifications::whenFinished(const QDBusPendingCall& call,
                                      std::function<void(const QDBusPendingCall&)> then) {
  auto* watcher = new QDBusPendingCallWatcher(call, this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this,
          [then = std::move(then)](QDBusPendingCallWatcher* finished) {
            then(*finished);
            finished->deleteLater();
          });
}

void LocalNotifications::afterAnswers(std::function<void()> work) {
  if (unanswered_ == 0) return work();
  waiting_.push_back(std::move(work));
}

void LocalNotifications::actionInvoked(uint identifier, const QString& action) {
  if (action == kDefaultAction) afterAnswers([this, identifier] { open(identifier); });
}

void LocalNotifications::notificationClosed(uint identifier, uint) {
  afterAnswers([this, identifier] { shown_.remove(identifier); });
}

void LocalNotifications::open(uint identifier) {
  if (!shown_.contains(identifier)) return;
  const platform::Value userInfo = shown_.take(identifier);
  call(QStringLiteral("CloseNotification"), {identifier});
  opened(userInfo);
}

}  // namespace korvani::qt
