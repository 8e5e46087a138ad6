// Exports the object first and asks for the name then: what waits for the name comes with it.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/log.h>
#include <korvani/qt/notifications/host_service.h>
#include <korvani/qt/notifications/service.h>

#include <QCoreApplication>
#include <QFileOpenEvent>
#include <QStringList>
#include <QUrl>
#include <algorithm>

namespace korvani::qt::notifications {

namespace {

/// No flags: while another process of the host has the name, this one waits for it.
constexpr uint kInTurn = 0;
constexpr qsizetype kLongestName = 255;

/// By hand: the first regular expression of a process costs a quarter of a MiB.
bool canBeService(const QString& name) {
  const auto isElement = [](const QString& element) {
    return !element.isEmpty() && !(element[0] >= u'0' && element[0] <= u'9') &&
           std::all_of(element.begin(), element.end(), [](QChar character) {
             return character == u'_' || character == u'-' ||
                    (character.unicode() < 128 && character.isLetterOrNumber());
           });
  };
  const QStringList elements = name.split(u'.');
  return name.size() <= kLongestName && elements.size() > 1 &&
         std::all_of(elements.begin(), elements.end(), isElement);
}

QString pathOf(QString name) {
  name.replace(QLatin1Char('.'), QLatin1Char('/')).replace(QLatin1Char('-'), QLatin1Char('_'));
  return QLatin1Char('/') + name;
}

}  // namespace

HostService::~HostService() {
  if (name_.isEmpty()) return;
  auto bus = QDBusConnection::sessionBus();
  bus.unregisterObject(pathOf(name_));
  bus.send(newBusCall("ReleaseName", {name_}));
}

void HostService::start() {
  const QString name = desktopEntry();
  auto bus = QDBusConnection::sessionBus();
  if (!canBeService(name) || !bus.isConnected()) return listener_.settled();
  if (!bus.registerObject(pathOf(name), this, QDBusConnection::ExportScriptableInvokables)) {
    qCWarning(phoneLog, "%s is the host's own: notifications do not start it",
              qUtf8Printable(pathOf(name)));
    return listener_.settled();
  }
  name_ = name;
  call(QDBusConnection::sessionBus(), newBusCall("RequestName", {name, kInTurn}), this,
       [this](const QDBusMessage& answer) {
         isOnBus_ = !isError(answer);
         if (!isOnBus_) {
           qCWarning(phoneLog, "the name %s is refused (%s): notifications do not start the host",
                     qUtf8Printable(name_), qUtf8Printable(answer.errorName()));
         }
         // The bus hands over what waited for the name before it answers anything else.
         call(QDBusConnection::sessionBus(), newBusCall("GetId"), this,
              [this](const QDBusMessage&) { listener_.settled(); });
       });
}

void HostService::Activate(const QVariantMap& platformData) {
  listener_.activated(activationToken(platformData));
}

void HostService::Open(const QStringList& uris, const QVariantMap& platformData) {
  for (const QString& uri : uris) {
    QCoreApplication::postEvent(qApp, new QFileOpenEvent(QUrl(uri)));
  }
  Activate(platformData);
}

void HostService::ActivateAction(const QString& action, const QVariantList& parameter,
                                 const QVariantMap& platformData) {
  listener_.actionActivated(action, parameter.value(0), activationToken(platformData));
}

QString activationToken(const QVariantMap& platformData) {
  const QString token = platformData.value(QStringLiteral("activation-token")).toString();
  return token.isEmpty() ? platformData.value(QStringLiteral("desktop-startup-id")).toString()
                         : token;
}

}  // namespace korvani::qt::notifications
