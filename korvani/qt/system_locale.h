// The locale that the user has chosen, in the form that services expect.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <optional>
#include <string>

namespace korvani::qt {

/// Main thread; nothing here waits for a service. Programs get their locale from the environment
/// when they start. A change in the system's settings is followed here all the same.
class SystemLocale final : public QObject {
  Q_OBJECT

 public:
  SystemLocale();

  /// That of texts, as it is now: "fr_FR"; "en_US" where none is set.
  std::string identifier() const;

 private:
  QByteArray setting(const char* variable) const;
  void readSettings();

  Q_SLOT void propertiesChanged(const QString& interface, const QVariantMap& changed,
                                const QStringList& invalidated);

  /// What the settings say since they have changed, by variable.
  std::optional<QHash<QByteArray, QByteArray>> settings_;
};

}  // namespace korvani::qt
