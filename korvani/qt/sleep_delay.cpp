// A delay inhibitor of logind: a descriptor that is closed when the machine may sleep.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/log.h>
#include <korvani/qt/sleep_delay.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <utility>

namespace korvani::qt {

namespace {

const QString kLogind = QStringLiteral("org.freedesktop.login1");
const QString kPath = QStringLiteral("/org/freedesktop/login1");
const QString kManager = QStringLiteral("org.freedesktop.login1.Manager");

}  // namespace

void SleepDelay::setWanted(bool wanted) {
  isWanted_ = wanted;
  if (!wanted) {
    delay_ = {};
  } else if (QDBusConnection::systemBus().isConnected()) {
    watchLogind();
    askForDelay();
  }
}

void SleepDelay::watchLogind() {
  if (preparations_) return;
  const auto bus = QDBusConnection::systemBus();
  preparations_.emplace(bus, kPath, kManager, QStringLiteral("PrepareForSleep"), QString(),
                        [this](const QDBusMessage& signal) { prepareForSleep(signal); });
  findService(bus, kLogind, this, [this](const QString& owner) {
    owner_ = owner;
    delay_ = {};
    isFallingAsleep_ = false;
    if (!owner.isEmpty()) askForDelay();
  });
}

void SleepDelay::askForDelay() {
  if (!isWanted_ || isAsking_ || isFallingAsleep_ || delay_.isValid()) return;
  isAsking_ = true;
  const auto question = newQuietCall(
      kLogind, kPath, kManager, QStringLiteral("Inhibit"),
      {QStringLiteral("sleep"), QGuiApplication::applicationDisplayName(),
       QStringLiteral("Work in the background is being ended"), QStringLiteral("delay")});
  call(QDBusConnection::systemBus(), question, this,
       [this](const QDBusMessage& answer) { takeAnswer(answer); });
}

void SleepDelay::takeAnswer(const QDBusMessage& answer) {
  isAsking_ = false;
  const QDBusPendingReply<QDBusUnixFileDescriptor> reply = answer;
  if (!reply.isError()) {
    // Not kept, it is closed here.
    if (isWanted_ && !isFallingAsleep_) delay_ = reply.value();
  } else if (reply.error().type() != QDBusError::ServiceUnknown) {
    qCInfo(phoneLog, "no delay of the machine's sleep: %s", qPrintable(reply.error().message()));
  }
}

void SleepDelay::prepareForSleep(const QDBusMessage& signal) {
  if (signal.service() != owner_ || signal.signature() != QLatin1String("b")) return;
  isFallingAsleep_ = signal.arguments()[0].toBool();
  if (!isFallingAsleep_) return askForDelay();
  // Held to the end of the work, though that may end the wish for it.
  const QDBusUnixFileDescriptor held = std::exchange(delay_, {});
  sleepIsNear_();
}

}  // namespace korvani::qt
