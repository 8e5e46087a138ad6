// Follows the hints that logind keeps of the session, and the screen savers of the desktop.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/display.h>
#include <korvani/qt/log.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingReply>
#include <utility>

namespace korvani::qt {

namespace {

const QString kLogind = QStringLiteral("org.freedesktop.login1");
const QString kManagerPath = QStringLiteral("/org/freedesktop/login1");
const QString kManager = QStringLiteral("org.freedesktop.login1.Manager");
const QString kSession = QStringLiteral("org.freedesktop.login1.Session");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kPropertiesChanged = QStringLiteral("PropertiesChanged");
const QStringList kHints{QStringLiteral("LockedHint"), QStringLiteral("IdleHint")};

/// Services, each named like its interface, and where their objects are.
const std::pair<QString, QString> kSavers[] = {
    {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("/org/freedesktop/ScreenSaver")},
    {QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("/org/gnome/ScreenSaver")},
};

/// Without an answer of that type nothing happens.
template <typename Answer>
void ask(const QDBusConnection& bus, const QDBusMessage& question, QObject* receiver,
         std::function<void(const Answer&)> then) {
  call(bus, question, receiver, [then = std::move(then)](const QDBusPendingReply<Answer>& reply) {
    if (!reply.isError()) then(reply.value());
  });
}

}  // namespace

Display::Display(std::function<void()> turnedOn) : turnedOn_(std::move(turnedOn)) {
  const auto system = QDBusConnection::systemBus();
  if (system.isConnected()) follow(system, kLogind, kHints, [this] { findSession(); });
  const auto user = QDBusConnection::sessionBus();
  if (!user.isConnected()) return;
  for (const auto& [service, path] : kSavers) {
    // Some signal from another path than the one that is read.
    savers_.push_back(std::make_unique<BusSignal>(
        user, QString(), service, QStringLiteral("ActiveChanged"), QString(),
        [this](const QDBusMessage& signal) { saverChanged(signal); }));
    follow(user, service, {service},
           [this, service = service, path = path] { readSaver(service, path); });
  }
}

void Display::follow(const QDBusConnection& bus, const QString& service, const QStringList& reasons,
                     std::function<void()> read) {
  findService(bus, service, this, [this, service, reasons, read](const QString& owner) {
    owners_[service] = owner;
    for (const QString& reason : reasons) reasons_.remove(reason);
    if (!owner.isEmpty()) read();
  });
}

/// The session of this process, or the one that its user looks at. Signals name its true path.
void Display::findSession() {
  const auto question = newQuietCall(kLogind, kManagerPath, kManager, QStringLiteral("GetSession"),
                                     {QStringLiteral("auto")});
  ask<QDBusObjectPath>(QDBusConnection::systemBus(), question, this,
                       [this](const QDBusObjectPath& session) {
                         watchSession(session.path());
                         readSession();
                       });
}

void Display::watchSession(const QString& path) {
  if (path == session_) return;
  session_ = path;
  hints_.emplace(QDBusConnection::systemBus(), session_, kProperties, kPropertiesChanged, kSession,
                 [this](const QDBusMessage& signal) { sessionChanged(signal); });
}

void Display::readSession() {
  const auto question =
      newQuietCall(kLogind, session_, kProperties, QStringLiteral("GetAll"), {kSession});
  ask<QVariantMap>(QDBusConnection::systemBus(), question, this,
                   [this](const QVariantMap& properties) { takeHints(properties); });
}

void Display::readSaver(const QString& service, const QString& path) {
  const auto question = newQuietCall(service, path, service, QStringLiteral("GetActive"));
  ask<bool>(QDBusConnection::sessionBus(), question, this, [this, service](bool active) {
    take({{service, active}});
  });
}

void Display::sessionChanged(const QDBusMessage& signal) {
  if (signal.service() != owners_.value(kLogind)) return;
  if (signal.signature() != QLatin1String("sa{sv}as")) return;
  const QVariantList arguments = signal.arguments();
  takeHints(qdbus_cast<QVariantMap>(arguments[1]));
  const QStringList invalidated = arguments[2].toStringList();
  if (invalidated.contains(kHints[0]) || invalidated.contains(kHints[1])) readSession();
}

void Display::saverChanged(const QDBusMessage& signal) {
  if (signal.service() != owners_.value(signal.interface())) return;
  take({{signal.interface(), signal.arguments().value(0)}});
}

void Display::takeHints(const QVariantMap& properties) {
  QVariantMap states;
  for (const QString& hint : kHints) {
    if (properties.contains(hint)) states.insert(hint, properties.value(hint));
  }
  take(states);
}

void Display::take(const QVariantMap& states) {
  const bool wasOff = !reasons_.isEmpty();
  for (auto state = states.begin(); state != states.end(); ++state) {
    if (state->metaType() != QMetaType::fromType<bool>()) {
      qCWarning(phoneLog, "%s is no boolean", qPrintable(state.key()));
    } else if (state->toBool()) {
      reasons_.insert(state.key());
    } else {
      reasons_.remove(state.key());
    }
  }
  if (wasOff && reasons_.isEmpty()) turnedOn_();
}

}  // namespace korvani::qt
