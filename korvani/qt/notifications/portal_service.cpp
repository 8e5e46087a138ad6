// Adds notifications to the portal's and waits for the user's click.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/notifications/host_service.h>
#include <korvani/qt/notifications/portal_service.h>
#include <korvani/qt/notifications/sound.h>

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QVariantMap>
#include <utility>

namespace korvani::qt::notifications {

namespace {

const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kNotification = QStringLiteral("org.freedesktop.portal.Notification");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
/// The first version of the portal that knows sounds.
constexpr uint kVersionWithSound = 2;

/// In Qt's terms, as descriptors are not taken into a QDBusArgument of our own making.
struct SoundFile {
  QString kind = QStringLiteral("file-descriptor");
  QDBusVariant descriptor;
};

QDBusArgument& operator<<(QDBusArgument& argument, const SoundFile& sound) {
  argument.beginStructure();
  argument << sound.kind << sound.descriptor;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, SoundFile& sound) {
  argument.beginStructure();
  argument >> sound.kind >> sound.descriptor;
  argument.endStructure();
  return argument;
}

QVariant portalSound(const QString& file) {
  const auto descriptor = soundInMemory(file);
  if (!descriptor.isValid()) return QStringLiteral("silent");
  SoundFile sound;
  sound.descriptor.setVariant(QVariant::fromValue(descriptor));
  return QVariant::fromValue(sound);
}

}  // namespace

PortalService::PortalService(std::function<bool()> hostIsOnBus)
    : Service(kPortal), hostIsOnBus_(std::move(hostIsOnBus)) {
  qDBusRegisterMetaType<SoundFile>();
}

QString PortalService::name() const { return kNotification; }

void PortalService::subscribe() {
  QDBusConnection::sessionBus().connect(QString(), kPath, kNotification,
                                        QStringLiteral("ActionInvoked"), this,
                                        SLOT(actionInvoked(QDBusMessage)));
}

void PortalService::show(const Posting& posting, Answered answered) {
  call(QDBusConnection::sessionBus(),
       newCall(kPortal, kPath, kProperties, "Get", {kNotification, QStringLiteral("version")}),
       this, [this, posting, answered = std::move(answered)](const QDBusMessage& answer) {
         const auto version = answer.arguments().value(0).value<QDBusVariant>().variant().toUInt();
         add(posting, version >= kVersionWithSound, answered);
       });
}

void PortalService::add(const Posting& posting, bool takesSound, const Answered& answered) {
  const QString prefix = hostIsOnBus_() ? QStringLiteral("app.") : QString();
  QVariantMap notification{
      {QStringLiteral("title"), hostName()},
      {QStringLiteral("body"), posting.text},
      {QStringLiteral("default-action"), prefix + kOpenAction},
      {QStringLiteral("default-action-target"), posting.id},
  };
  if (takesSound) notification.insert(QStringLiteral("sound"), portalSound(posting.soundFile));
  call(QDBusConnection::sessionBus(),
       newCall(kPortal, kPath, kNotification, "AddNotification", {posting.id, notification}), this,
       [=, this](const QDBusMessage& answer) {
         if (!isError(answer)) return answered({kPortal});
         if (!takesSound || posting.soundFile.isEmpty()) return answered({});
         // Perhaps the sound is of a kind that the portal does not play.
         add({posting.id, posting.text, QString()}, takesSound, answered);
       });
}

void PortalService::withdraw(const QString& id) {
  QDBusConnection::sessionBus().send(
      newQuietCall(kPortal, kPath, kNotification, "RemoveNotification", {id}));
}

// Ids cannot be guessed, so it does not matter who says it.
void PortalService::actionInvoked(const QDBusMessage& signal) {
  const QVariantList arguments = signal.arguments();
  if (arguments.size() != 3 || arguments[1].toString() != kOpenAction) return;
  // The target, and from later portals what the platform has to say.
  const auto parameters = qdbus_cast<QVariantList>(arguments[2]);
  listener().opened(arguments[0].toString(),
                    activationToken(qdbus_cast<QVariantMap>(parameters.value(1))));
}

}  // namespace korvani::qt::notifications
