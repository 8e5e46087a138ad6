// Reads the environment anew at each question, as QLocale::system() keeps what it has read first;
// follows systemd's localed, which desktops have change the system's settings.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/system_locale.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QLocale>

namespace korvani::qt {

namespace {

const QString kLocaled = QStringLiteral("org.freedesktop.locale1");
const QString kPath = QStringLiteral("/org/freedesktop/locale1");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kLocale = QStringLiteral("Locale");

}  // namespace

SystemLocale::SystemLocale() {
  auto bus = QDBusConnection::systemBus();
  if (!bus.isConnected()) return;
  // Localed starts only to make a change: of a service that has just come, Qt would miss the
  // signal. Whoever else sends it just has the settings read.
  bus.connect(QString(), kPath, kProperties, QStringLiteral("PropertiesChanged"), this,
              SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
}

std::string SystemLocale::identifier() const {
  QByteArray chosen = qgetenv("LC_ALL");
  if (chosen.isEmpty()) chosen = setting("LC_MESSAGES");
  if (chosen.isEmpty()) chosen = setting("LANG");
  const QLocale locale(QString::fromUtf8(chosen));
  return locale.language() == QLocale::C ? "en_US" : locale.name().toStdString();
}

QByteArray SystemLocale::setting(const char* variable) const {
  return settings_ ? settings_->value(variable) : qgetenv(variable);
}

void SystemLocale::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                     const QStringList& invalidated) {
  const bool isLocale = changed.contains(kLocale) || invalidated.contains(kLocale);
  if (interface == kLocaled && isLocale) readSettings();
}

void SystemLocale::readSettings() {
  call(QDBusConnection::systemBus(),
       newCall(kLocaled, kPath, kProperties, QStringLiteral("Get"), {kLocaled, kLocale}), this,
       [this](const QDBusPendingReply<QDBusVariant>& reply) {
         if (reply.isError()) return;
         settings_.emplace();
         // "LANG=fr_FR.UTF-8"
         for (const QString& line : reply.value().variant().toStringList()) {
           const QByteArray text = line.toUtf8();
           const qsizetype middle = text.indexOf('=');
           if (middle > 0) settings_->insert(text.left(middle), text.mid(middle + 1));
         }
       });
}

}  // namespace korvani::qt
