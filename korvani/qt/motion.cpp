// The three settings for which desktops are known: the common one, GNOME's and KDE's.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/motion.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QMap>
#include <QStyle>

namespace korvani::qt {

namespace {

constexpr int kSlideMilliseconds = 300;

using Groups = QMap<QString, QVariantMap>;

const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kSettings = QStringLiteral("org.freedesktop.portal.Settings");

struct Setting {
  QString group;
  QString key;
  bool (*asksForLess)(const QVariant& value);
};
const Setting kKnown[] = {
    {QStringLiteral("org.freedesktop.appearance"), QStringLiteral("reduced-motion"),
     [](const QVariant& value) { return value.toUInt() == 1; }},
    {QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("enable-animations"),
     [](const QVariant& value) {
       return value.metaType().id() == QMetaType::Bool && !value.toBool();
     }},
    {QStringLiteral("org.kde.kdeglobals.KDE"), QStringLiteral("AnimationDurationFactor"),
     [](const QVariant& value) {
       bool isNumber = false;
       return value.toDouble(&isNumber) <= 0 && isNumber;
     }},
};

}  // namespace

void Motion::follow() {
  const auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  qDBusRegisterMetaType<Groups>();
  changes_.emplace(bus, kPath, kSettings, QStringLiteral("SettingChanged"), QString(),
                   [this](const QDBusMessage& signal) { settingChanged(signal); });
  findService(bus, kPortal, this, [this](const QString& owner) {
    owner_ = owner;
    reasons_.clear();
    if (!owner.isEmpty()) read();
  });
}

int Motion::slideMilliseconds() const {
  const QStyle* const style = QApplication::style();
  const bool moves =
      reasons_.isEmpty() && style->styleHint(QStyle::SH_Widget_Animation_Duration) > 0;
  return moves ? kSlideMilliseconds : 0;
}

void Motion::read() {
  QStringList groups;
  for (const Setting& setting : kKnown) groups.push_back(setting.group);
  const auto question =
      newQuietCall(kPortal, kPath, kSettings, QStringLiteral("ReadAll"), {groups});
  call(QDBusConnection::sessionBus(), question, this,
       [this](const QDBusPendingReply<Groups>& reply) {
         if (reply.isError()) return;
         const Groups answer = reply.value();
         for (const Setting& setting : kKnown) {
           const auto group = answer.value(setting.group);
           if (group.contains(setting.key))
             take(setting.group, setting.key, group.value(setting.key));
         }
       });
}

void Motion::settingChanged(const QDBusMessage& signal) {
  if (signal.service() != owner_) return;
  const QVariantList arguments = signal.arguments();
  const auto value = arguments.value(2).value<QDBusVariant>();
  take(arguments.value(0).toString(), arguments.value(1).toString(), value.variant());
}

void Motion::take(const QString& group, const QString& key, const QVariant& value) {
  for (const Setting& setting : kKnown) {
    if (group != setting.group || key != setting.key) continue;
    setting.asksForLess(value) ? (void)reasons_.insert(group) : (void)reasons_.remove(group);
  }
}

}  // namespace korvani::qt
