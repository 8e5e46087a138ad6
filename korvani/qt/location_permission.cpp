// A location session is opened, started, which asks the user, and closed with the answer.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/location_permission.h>
#include <korvani/qt/log.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <QVariantMap>
#include <utility>

namespace korvani::qt {

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kLocation = QStringLiteral("org.freedesktop.portal.Location");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");
constexpr uint kGranted = 0;

}  // namespace

void LocationPermission::ask() {
  if (!QDBusConnection::sessionBus().isConnected() || std::exchange(isOpen_, true)) return;
  watchPortal();
  const QString token = QStringLiteral("korvani%1").arg(++questions_);
  const QVariantMap options{{QStringLiteral("session_handle_token"), token}};
  call(QDBusConnection::sessionBus(),
       newCall(kService, kPath, kLocation, QStringLiteral("CreateSession"), {options}), this,
       [this](const QDBusPendingReply<QDBusObjectPath>& reply) {
         if (reply.isError()) return end();
         portal_ = reply.reply().service();
         start(reply.value().path());
       });
}

/// The answer of a portal that has gone would be waited for in vain.
void LocationPermission::watchPortal() {
  if (responses_) return;
  const auto bus = QDBusConnection::sessionBus();
  responses_.emplace(bus, QString(), kRequest, QStringLiteral("Response"), QString(),
                     [this](const QDBusMessage& response) { answered(response); });
  followService(bus, kService, this, [this](const QString& owner) {
    if (owner.isEmpty()) end();
  });
}

void LocationPermission::start(const QString& session) {
  session_ = session;
  // The answer may overtake the reply, so its path, which follows from the token, comes first.
  const auto bus = QDBusConnection::sessionBus();
  const QString token = QStringLiteral("korvani%1").arg(questions_);
  const QString sender = bus.baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
  request_ = kPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;
  const QVariantMap options{{QStringLiteral("handle_token"), token}};
  const QVariantList arguments{QVariant::fromValue(QDBusObjectPath(session)), QString(), options};
  call(bus, newCall(kService, kPath, kLocation, QStringLiteral("Start"), arguments), this,
       [this](const QDBusPendingReply<QDBusObjectPath>& reply) {
         if (reply.isError()) end();
       });
}

void LocationPermission::answered(const QDBusMessage& response) {
  if (response.service() != portal_ || response.path() != request_) return;
  if (response.arguments().value(0).toUInt() != kGranted) {
    qCWarning(phoneLog, "the user does not allow the position");
  }
  end();
}

void LocationPermission::end() {
  isOpen_ = false;
  request_.clear();
  if (session_.isEmpty()) return;
  // A portal that has gone took the session along, and is not to be started to hear that.
  QDBusConnection::sessionBus().send(newQuietCall(kService, std::exchange(session_, QString()),
                                                  QStringLiteral("org.freedesktop.portal.Session"),
                                                  QStringLiteral("Close")));
}

}  // namespace korvani::qt
