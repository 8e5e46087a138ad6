// The user-defaults port on QSettings: the kit's values stand beside the host's own.
#pragma once

#include <korvani/platform/json.h>
#include <korvani/platform/queues.h>
#include <korvani/platform/user_defaults.h>
#include <korvani/qt/application_life.h>

#include <QSettings>
#include <QString>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace korvani::qt {

/// What is set gathers in memory and goes to the file together: soon, on a thread of its own, as
/// the disk may be slow, or at once with `synchronize`. A file that cannot be written is said once;
/// its values stay in memory.
class UserDefaults final : public platform::UserDefaults {
 public:
  /// Main thread. With no file, the host's own settings.
  UserDefaults(ApplicationLife& life, platform::Queues& queues,
               const platform::JSONSerialization& json, const QString& file);

  platform::Value objectForKey(std::string_view key) const override;
  void setObject(const platform::Value& value, std::string_view key) override;
  void synchronize() override;
  platform::Value dictionaryRepresentation() const override;

  /// What `synchronize` does, when the application has just ended.
  void flush();

 private:
  using Values = std::map<std::string, platform::Value, std::less<>>;

  /// A settings object of the moment: one that lives on would get events on the main thread, there
  /// without our mutex.
  QSettings settings() const;
  void flushElsewhere();
  /// QSettings itself would wait half a minute for a lock that nobody holds any more, as it is left
  /// by a process that was killed, or whose machine stopped, before it wrote its number there.
  bool canBeLocked() const;
  void sayFailure();

  ApplicationLife& life_;
  platform::Queues& queues_;
  const platform::JSONSerialization& json_;
  QString file_;
  QSettings::Format format_ = QSettings::IniFormat;

  mutable std::mutex mutex_;
  /// Set and not yet in the file; null is removed.
  Values unwritten_;
  bool flushIsDue_ = false;

  /// Of who writes the file; taken before the other one.
  std::mutex fileMutex_;
  bool saidFailure_ = false;
};

}  // namespace korvani::qt
