// The notifications that the user may still open, kept on disk so that they outlive the process.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/platform/json.h>

#include <QByteArray>
#include <QDir>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace korvani::qt::notifications {

/// No more than so many are kept.
inline constexpr std::size_t kMostKept = 100;

/// A notification with what a file says of it. Making that takes long where the service sent much,
/// so the thread that posts does it, and not the main thread.
struct Prepared {
  Prepared(platform::LocalNotification whole);

  std::shared_ptr<const platform::LocalNotification> notification;
  /// Empty where it is too long for a file.
  QByteArray content;
};

struct Kept {
  Prepared prepared;
  /// Milliseconds since the epoch, and different in each.
  std::int64_t posted = 0;
  /// Where it is shown; empty while it is not.
  QString place;
  bool isWritten = false;
};

/// Main thread, which waits for the disk. A file for each, which only this user can read and which
/// is there whole or not at all; what is too old goes when it is read. Processes of one host may
/// share the folder. What cannot be written is kept in memory alone, and that is said once.
class Store {
 public:
  Store(const QString& folder, const platform::JSONSerialization& json);

  /// By id. What cannot be read has been removed.
  const std::map<QString, Kept>& all() const { return kept_; }
  /// The id of the new one.
  QString add(const Prepared& prepared);
  /// Does nothing for one that has been taken.
  void setPlace(const QString& id, const QString& place);
  /// Removes it. Null for what is not there, or has been taken: each is taken once, whichever
  /// process asks.
  std::shared_ptr<const platform::LocalNotification> take(const QString& id);
  /// In order of posting.
  std::vector<QString> ids() const;

 private:
  QString fileOf(const QString& id) const;
  std::optional<Kept> read(const QString& id) const;
  void write(const QString& id, Kept& kept);

  const QDir folder_;
  const platform::JSONSerialization& json_;
  std::map<QString, Kept> kept_;
  std::int64_t lastPosted_ = 0;
  bool saidFailure_ = false;
};

}  // namespace korvani::qt::notifications
