// What shows local notifications outside the host's window: one of the services of a desktop.
#pragma once

#include <QObject>
#include <QString>
#include <functional>

namespace korvani::qt::notifications {

struct Posting {
  /// Ours, unlike any other's and hard to guess.
  QString id;
  QString text;
  /// A file, or a resource of the program; empty: silent.
  QString soundFile;
};

/// Main thread; nothing here waits for the service, which may come and go.
class Service : public QObject {
 public:
  struct Listener {
    /// With the token by which the host may raise its window, where the service gives one.
    std::function<void(const QString& id, const QString& token)> opened;
    std::function<void(const QString& id)> dismissed;
    /// A service is there that was not.
    std::function<void()> arrived;
  };
  struct Outcome {
    /// Where the service keeps it, for `adopt`; empty when the service is not there, does not
    /// answer or does not take it.
    QString place;
    /// The service got it and did not answer: shown again, it might be there twice.
    bool mayBeShown = false;
  };
  using Answered = std::function<void(const Outcome& outcome)>;

  /// Once, before all else.
  void listen(Listener listener);

  /// For people.
  virtual QString name() const = 0;
  virtual void show(const Posting& posting, Answered answered) = 0;
  /// What is not shown any more is no error.
  virtual void withdraw(const QString& id) = 0;
  /// What an earlier process has posted and may still be shown there.
  virtual void adopt(const QString& id, const QString& place) = 0;

 protected:
  explicit Service(const QString& busName) : busName_(busName) {}
  const Listener& listener() const { return listener_; }

 private:
  /// The bus is there.
  virtual void subscribe() = 0;

  const QString busName_;
  Listener listener_;
};

/// The title of every notification.
QString hostName();
/// The name of the host's desktop entry, without its ending; empty for none.
QString desktopEntry();

}  // namespace korvani::qt::notifications
