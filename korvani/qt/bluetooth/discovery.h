// Discovery on one adapter: kept running while it is wanted, whatever comes between.
#pragma once

#include <korvani/qt/bluetooth/backoff.h>
#include <korvani/qt/bluetooth/bluez.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QTimer>
#include <functional>
#include <optional>

namespace korvani::qt::bluetooth {

/// Main thread. The daemon keeps one filter and one session a connection; one call is under way at
/// a time, and what is wanted is looked at again with each answer.
class Discovery final : public QObject {
 public:
  /// Told why nothing can be discovered, and nothing when it turns out that it can.
  using Failed = std::function<void(const std::optional<QString>& failure)>;

  Discovery(const QDBusConnection& bus, const Settings& settings, Failed failed);
  /// Lets go of the session.
  ~Discovery() override;

  /// A powered adapter, or none. What began in an earlier session, as the adapters count them, has
  /// gone.
  void use(const QString& adapter, int session);
  void setWanted(bool isWanted);
  /// What the adapter says of itself: others may end what we have begun.
  void setDiscovering(bool isDiscovering);
  /// Ends the session and begins another one.
  void restart(const char* why);

 private:
  void advance();
  void setFilter();
  void start();
  void stop();
  void ask(const char* method, const QVariantList& arguments,
           void (Discovery::*answered)(const QDBusMessage& answer));
  void filterAnswered(const QDBusMessage& answer);
  void startAnswered(const QDBusMessage& answer);
  void stopAnswered(const QDBusMessage& answer);
  void refused(const char* method, const QDBusMessage& answer);

  QDBusConnection bus_;
  const Failed failed_;
  QString adapter_;
  bool isWanted_ = false;
  bool isRunning_ = false;
  bool isToRestart_ = false;
  bool isBusy_ = false;
  bool isDiscovering_ = false;
  /// How many of the filter's keys have been refused.
  int refusedKeys_ = 0;
  int session_ = 0;
  Backoff backoff_;
  Refusals refusals_;
  QTimer retry_;
  QTimer ended_;
  Complaints complaints_;
};

}  // namespace korvani::qt::bluetooth
