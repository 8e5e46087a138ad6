// Asks the service what it can do, posts, and waits for the user's click.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/notifications/desktop_service.h>
#include <korvani/qt/notifications/sound.h>

#include <QGuiApplication>
#include <QIcon>
#include <QVariantMap>
#include <utility>

namespace korvani::qt::notifications {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kDefaultAction = QStringLiteral("default");
const QString kNoReply = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
/// Of the parts of a place.
constexpr QLatin1Char kBetween(' ');
constexpr uint kDismissedByUser = 2;
constexpr uint kClosedByCall = 3;

}  // namespace

DesktopService::DesktopService() : Service(kService) {}

QString DesktopService::name() const { return kService; }

void DesktopService::subscribe() {
  // From anyone, as Qt would otherwise wait for the bus to say who the service is; the place tells.
  const auto connect = [this](const char* signal, const char* slot) {
    QDBusConnection::sessionBus().connect(QString(), kPath, kService, QString::fromLatin1(signal),
                                          this, slot);
  };
  connect("ActivationToken", SLOT(tokenGiven(QDBusMessage)));
  connect("ActionInvoked", SLOT(actionInvoked(QDBusMessage)));
  connect("NotificationClosed", SLOT(notificationClosed(QDBusMessage)));
  ++unanswered_;
  call(QDBusConnection::sessionBus(), newBusCall("GetId"), this,
       [this](const QDBusMessage& answer) {
         busId_ = answer.arguments().value(0).toString();
         answerCame();
       });
}

void DesktopService::show(const Posting& posting, Answered answered) {
  // Asked each time: another service may have taken the place of the last one.
  call(QDBusConnection::sessionBus(), newCall(kService, kPath, kService, "GetCapabilities"), this,
       [this, posting, answered = std::move(answered)](const QDBusMessage& answer) {
         const auto capabilities = answer.arguments().value(0).toStringList();
         if (isError(answer) || !capabilities.contains(QStringLiteral("actions"))) {
           return answered({});
         }
         notify(posting, capabilities, answered);
       });
}

void DesktopService::notify(const Posting& posting, const QStringList& capabilities,
                            const Answered& answered) {
  const auto can = [&](const char* what) {
    return capabilities.contains(QString::fromLatin1(what));
  };
  QVariantMap hints;
  if (!desktopEntry().isEmpty()) hints.insert(QStringLiteral("desktop-entry"), desktopEntry());
  const QString sound = can("sound") ? soundOnDisk(posting.soundFile) : QString();
  if (!sound.isEmpty()) {
    hints.insert(QStringLiteral("sound-file"), sound);
  } else {
    hints.insert(QStringLiteral("suppress-sound"), true);
  }
  const QString body = can("body-markup") ? posting.text.toHtmlEscaped() : posting.text;
  const QVariantList arguments{
      hostName(),
      uint{0},
      QGuiApplication::windowIcon().name(),
      can("body") ? hostName() : posting.text,
      body,
      QStringList{kDefaultAction, QString()},
      hints,
      -1,
  };
  ++unanswered_;
  call(QDBusConnection::sessionBus(), newCall(kService, kPath, kService, "Notify", arguments), this,
       [this, id = posting.id, answered](const QDBusMessage& answer) {
         const QString place = isError(answer) ? QString() : placeOf(answer);
         if (!place.isEmpty()) shown_.insert(place, id);
         answered({place, isError(answer) && answer.errorName() == kNoReply});
         answerCame();
       });
}

void DesktopService::withdraw(const QString& id) {
  const QString place = shown_.key(id);
  if (place.isEmpty()) return;
  shown_.remove(place);
  tokens_.remove(place);
  const QStringList parts = place.split(kBetween);
  const auto close = newCall(parts[1], kPath, kService, "CloseNotification", {parts[2].toUInt()});
  QDBusConnection::sessionBus().send(close);
}

// What was posted elsewhere, a portal for instance, is not shown here.
void DesktopService::adopt(const QString& id, const QString& place) {
  if (place.count(kBetween) == 2) shown_.insert(place, id);
}

QString DesktopService::placeOf(const QDBusMessage& fromService) const {
  const QString number = fromService.arguments().value(0).toString();
  return QStringList{busId_, fromService.service(), number}.join(kBetween);
}

void DesktopService::afterAnswers(std::function<void()> work) {
  if (unanswered_ == 0) return work();
  waiting_.push_back(std::move(work));
}

void DesktopService::answerCame() {
  if (--unanswered_ > 0) return;
  for (const auto& work : std::exchange(waiting_, {})) work();
}

void DesktopService::tokenGiven(const QDBusMessage& signal) {
  afterAnswers([this, signal] {
    const QString place = placeOf(signal);
    if (shown_.contains(place)) tokens_.insert(place, signal.arguments().value(1).toString());
  });
}

void DesktopService::actionInvoked(const QDBusMessage& signal) {
  if (signal.arguments().value(1).toString() != kDefaultAction) return;
  afterAnswers([this, signal] {
    const QString place = placeOf(signal);
    const QString id = shown_.value(place);
    if (!id.isEmpty()) listener().opened(id, tokens_.take(place));
  });
}

// One that has only left the screen may still wait in the service's list, to be opened there.
void DesktopService::notificationClosed(const QDBusMessage& signal) {
  const uint reason = signal.arguments().value(1).toUInt();
  if (reason != kDismissedByUser && reason != kClosedByCall) return;
  afterAnswers([this, signal] {
    const QString place = placeOf(signal);
    tokens_.remove(place);
    const QString id = shown_.take(place);
    if (!id.isEmpty()) listener().dismissed(id);
  });
}

}  // namespace korvani::qt::notifications
