// The host as a service of the session bus, org.freedesktop.Application under the name of its
// desktop entry: so the desktop brings it to the front, or back when it has ended.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <functional>

namespace korvani::qt::notifications {

/// Main thread.
class HostService final : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

 public:
  struct Listener {
    std::function<void(const QString& token)> activated;
    std::function<void(const QString& action, const QVariant& target, const QString& token)>
        actionActivated;
    /// The bus has answered, and whatever it started this process for has been told before.
    std::function<void()> settled;
  };

  explicit HostService(Listener listener) : listener_(std::move(listener)) {}
  ~HostService() override;

  /// Takes the name of the desktop entry that the application has set. Without one that can be the
  /// name of a service, or without a bus, it settles at once.
  void start();
  /// Does the name lead here, or to another process of this host?
  bool isOnBus() const { return isOnBus_; }

  // As the desktop calls them.
  Q_SCRIPTABLE void Activate(const QVariantMap& platformData);
  /// The application gets each as a QFileOpenEvent.
  Q_SCRIPTABLE void Open(const QStringList& uris, const QVariantMap& platformData);
  Q_SCRIPTABLE void ActivateAction(const QString& action, const QVariantList& parameter,
                                   const QVariantMap& platformData);

 private:
  const Listener listener_;
  QString name_;
  bool isOnBus_ = false;
};

/// The token in what the platform says beside an activation; empty for none.
QString activationToken(const QVariantMap& platformData);

}  // namespace korvani::qt::notifications
