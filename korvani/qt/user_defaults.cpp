// A small write-behind store over the settings file.
#include <korvani/qt/log.h>
#include <korvani/qt/stored_value.h>
#include <korvani/qt/user_defaults.h>

#include <QFile>
#include <QLockFile>
#include <new>
#include <utility>

namespace korvani::qt {

namespace {

constexpr std::chrono::milliseconds kFlushDelay{100};
constexpr std::chrono::milliseconds kLockPatience{500};

QString toQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace

UserDefaults::UserDefaults(ApplicationLife& life, platform::Queues& queues,
                           const platform::JSONSerialization& json, const QString& file)
    : life_(life), queues_(queues), json_(json), file_(file) {
  if (file_.isEmpty()) {
    const QSettings hosts;
    file_ = hosts.fileName();
    format_ = hosts.format();
  }
  // Read once here, so that what Qt keeps of settings exists before any thread asks for them.
  QSettings opened = settings();
  opened.sync();
  if (opened.status() == QSettings::FormatError) {
    qCWarning(phoneLog, "%s is damaged: what cannot be read counts as not set",
              qUtf8Printable(file_));
  }
}

QSettings UserDefaults::settings() const { return QSettings(file_, format_); }

platform::Value UserDefaults::objectForKey(std::string_view key) const {
  const ApplicationLife::Stay stay(life_);
  if (!stay) return {};
  const std::lock_guard lock(mutex_);
  const auto unwritten = unwritten_.find(key);
  if (unwritten != unwritten_.end()) return unwritten->second;
  return fromStored(settings().value(toQString(key)), json_);
}

void UserDefaults::setObject(const platform::Value& value, std::string_view key) {
  const ApplicationLife::Stay stay(life_);
  if (!stay) return;
  const std::lock_guard lock(mutex_);
  unwritten_.insert_or_assign(std::string(key), value);
  if (flushIsDue_) return;
  // Where there is no memory for this, what is set next asks for the flush.
  queues_.mainQueueAfter(kFlushDelay, [this] { flushElsewhere(); });
  flushIsDue_ = true;
}

void UserDefaults::flushElsewhere() {
  {
    // Should this flush find no thread, what is set next asks for another.
    const std::lock_guard lock(mutex_);
    flushIsDue_ = false;
  }
  // The life is there when the store has gone.
  queues_.globalQueue(platform::QueuePriority::kDefault).async([this, &life = life_] {
    const ApplicationLife::Stay stay(life);
    try {
      if (stay) flush();
    } catch (const std::bad_alloc&) {
      // All is still in memory, and what is set next asks for another flush.
    }
  });
}

void UserDefaults::synchronize() {
  const ApplicationLife::Stay stay(life_);
  if (stay) flush();
}

platform::Value UserDefaults::dictionaryRepresentation() const {
  const ApplicationLife::Stay stay(life_);
  if (!stay) return platform::Value::Dictionary{};
  const std::lock_guard lock(mutex_);
  platform::Value::Dictionary all;
  QSettings file = settings();
  for (const QString& key : file.allKeys()) {
    all.insert_or_assign(key.toStdString(), fromStored(file.value(key), json_));
  }
  for (const auto& [key, value] : unwritten_) {
    if (value.isNull()) {
      all.erase(key);
    } else {
      all.insert_or_assign(key, value);
    }
  }
  return all;
}

bool UserDefaults::canBeLocked() const {
  const QString name = file_ + QStringLiteral(".lock");
  return !QFile::exists(name) || QLockFile(name).tryLock(kLockPatience);
}

void UserDefaults::flush() {
  const std::lock_guard writing(fileMutex_);
  Values written;
  {
    const std::lock_guard lock(mutex_);
    written = unwritten_;
  }
  if (!canBeLocked()) return sayFailure();
  QSettings file = settings();
  for (const auto& [key, value] : written) {
    if (value.isNull()) {
      file.remove(toQString(key));
    } else {
      file.setValue(toQString(key), toStored(value));
    }
  }
  // Also reads what other programs have written meanwhile.
  file.sync();
  if (file.status() != QSettings::NoError) return sayFailure();
  saidFailure_ = false;
  const std::lock_guard lock(mutex_);
  // What has been set anew meanwhile is still to be written.
  std::erase_if(unwritten_, [&](const auto& entry) {
    const auto found = written.find(entry.first);
    return found != written.end() && found->second == entry.second;
  });
}

void UserDefaults::sayFailure() {
  if (std::exchange(saidFailure_, true)) return;
  qCWarning(phoneLog, "%s cannot be written: settings are kept in memory", qUtf8Printable(file_));
}

}  // namespace korvani::qt
