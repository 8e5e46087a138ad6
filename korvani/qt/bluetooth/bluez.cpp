// Calls and their errors.
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/log.h>

#include <utility>

namespace korvani::qt::bluetooth {

namespace {

constexpr qsizetype kLongestText = 200;

/// Refused so often at once, a call has been tried for a quarter of a minute: longer than a
/// controller takes to recover by itself, and shorter than the silence after which a region counts
/// as left. A daemon that does not answer at all takes D-Bus's 25 s each time, and more than two
/// minutes.
constexpr int kMostRefusals = 5;

}  // namespace

QDBusConnection ownBus() {
  return QDBusConnection::connectToBus(QDBusConnection::SystemBus,
                                       QStringLiteral("korvani-bluetooth"));
}

void call(const QDBusConnection& bus, const QString& path, const QString& interface,
          const QString& method, const QVariantList& arguments, QObject* receiver,
          Answered answered) {
  // Who stopped the daemon has a reason.
  qt::call(bus, newQuietCall(kService, path, interface, method, arguments), receiver,
           std::move(answered));
}

void tell(const QDBusConnection& bus, const QString& path, const QString& interface,
          const QString& method, const QVariantList& arguments) {
  bus.send(newQuietCall(kService, path, interface, method, arguments));
}

bool isError(const QDBusMessage& answer, const char* name) {
  return isError(answer) && answer.errorName().section(QLatin1Char('.'), -1) == QLatin1String(name);
}

QString Refusals::failureOf(const QDBusMessage& error) {
  // With InProgress something discovers.
  if (!isError(error, "InProgress")) ++count_;
  if (isError(error, "AccessDenied") || isError(error, "NotAuthorized")) {
    return QStringLiteral("not allowed to use Bluetooth: ") + textOf(error);
  }
  if (count_ < kMostRefusals) return {};
  return QStringLiteral("Bluetooth does not work: please switch it off and on");
}

void Complaints::say(const QString& line) {
  if (std::exchange(last_, line) == line) return;
  qCInfo(phoneLog, "Bluetooth: %s", qUtf8Printable(line));
}

QString textOf(const QDBusMessage& error) {
  QString text = error.errorMessage().left(kLongestText);
  if (text.isEmpty()) text = error.errorName();
  for (QChar& character : text) {
    if (!character.isPrint() && !character.isSurrogate()) character = QLatin1Char(' ');
  }
  return text.simplified();
}

}  // namespace korvani::qt::bluetooth
