// A file for each, named by the notification's id: a line that may change, and what never does.
#include <korvani/qt/log.h>
#include <korvani/qt/notifications/store.h>
#include <korvani/qt/stored_value.h>

#include <QDateTime>
#include <QFile>
#include <QSaveFile>
#include <QUuid>
#include <algorithm>
#include <utility>

namespace korvani::qt::notifications {

namespace {

using platform::Value;

constexpr std::int64_t kOldest = std::int64_t{30} * 24 * 60 * 60 * 1000;
constexpr qint64 kLargestContent = 1 << 20;
/// Of the state: places are short.
constexpr qint64 kLongestLine = 4096;
const QString kSuffix = QStringLiteral(".notification");

std::int64_t now() { return QDateTime::currentMSecsSinceEpoch(); }

QString newId() { return QUuid::createUuid().toString(QUuid::WithoutBraces); }

bool isId(const QString& text) {
  return QUuid::fromString(text).toString(QUuid::WithoutBraces) == text;
}

std::string textAt(const Value& record, const char* key) {
  const std::string* text = record.at(key).text();
  return text != nullptr ? *text : std::string();
}

}  // namespace

Prepared::Prepared(platform::LocalNotification whole)
    : notification(std::make_shared<const platform::LocalNotification>(std::move(whole))),
      content(toStored(Value::Dictionary{{"text", notification->alertBody},
                                         {"sound", notification->soundName},
                                         {"userInfo", notification->userInfo}})
                  .toString()
                  .toUtf8()) {
  if (content.size() > kLargestContent) content.clear();
}

Store::Store(const QString& folder, const platform::JSONSerialization& json)
    : folder_(folder), json_(json) {
  for (const QString& file : folder_.entryList({QLatin1Char('*') + kSuffix}, QDir::Files)) {
    const QString id = file.chopped(kSuffix.size());
    auto kept = isId(id) ? read(id) : std::nullopt;
    if (kept && kept->posted > now() - kOldest) {
      // What comes now comes later, whatever the clock says.
      lastPosted_ = std::max(lastPosted_, kept->posted);
      kept_.emplace(id, std::move(*kept));
    } else {
      if (!kept) qCWarning(phoneLog, "%s is damaged: removed", qUtf8Printable(fileOf(id)));
      QFile::remove(fileOf(id));
    }
  }
}

QString Store::add(const Prepared& prepared) {
  const QString id = newId();
  lastPosted_ = std::max(now(), lastPosted_ + 1);
  write(id, kept_.emplace(id, Kept{prepared, lastPosted_, QString()}).first->second);
  return id;
}

void Store::setPlace(const QString& id, const QString& place) {
  const auto kept = kept_.find(id);
  if (kept == kept_.end()) return;
  kept->second.place = place;
  // Not where another process has taken it meanwhile.
  if (!kept->second.isWritten || QFile::exists(fileOf(id))) write(id, kept->second);
}

std::shared_ptr<const platform::LocalNotification> Store::take(const QString& id) {
  if (!isId(id)) return nullptr;
  const auto known = kept_.find(id);
  const auto kept = known != kept_.end() ? std::optional(std::move(known->second)) : read(id);
  if (known != kept_.end()) kept_.erase(known);
  if (!kept) return nullptr;
  // Who removes the file has it; what was never written is this process's.
  const bool isMine = QFile::remove(fileOf(id)) || !kept->isWritten;
  return isMine ? kept->prepared.notification : nullptr;
}

std::vector<QString> Store::ids() const {
  std::vector<std::pair<std::int64_t, QString>> byAge;
  for (const auto& [id, kept] : kept_) byAge.emplace_back(kept.posted, id);
  std::sort(byAge.begin(), byAge.end());
  std::vector<QString> ids;
  ids.reserve(byAge.size());
  for (const auto& [posted, id] : byAge) ids.push_back(id);
  return ids;
}

QString Store::fileOf(const QString& id) const { return folder_.filePath(id + kSuffix); }

std::optional<Kept> Store::read(const QString& id) const {
  QFile file(fileOf(id));
  if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
  const auto valueOf = [this](const QByteArray& stored) {
    return fromStored(QString::fromUtf8(stored), json_);
  };
  const Value state = valueOf(file.readLine(kLongestLine).trimmed());
  const Value record = valueOf(file.read(kLargestContent));
  const std::int64_t* posted = state.at("posted").integer();
  if (posted == nullptr || record.at("text").text() == nullptr) return std::nullopt;
  return Kept{platform::LocalNotification{textAt(record, "text"), textAt(record, "sound"),
                                          record.at("userInfo")},
              *posted, QString::fromStdString(textAt(state, "place")), true};
}

void Store::write(const QString& id, Kept& kept) {
  const QByteArray& content = kept.prepared.content;
  const QByteArray state =
      toStored(Value::Dictionary{{"posted", kept.posted}, {"place", kept.place.toStdString()}})
          .toString()
          .toUtf8() +
      '\n';
  QSaveFile file(fileOf(id));
  const auto onlyOwner = QFile::ReadOwner | QFile::WriteOwner;
  kept.isWritten = !content.isEmpty() && folder_.mkpath(QStringLiteral(".")) &&
                   file.open(QIODevice::WriteOnly) && file.setPermissions(onlyOwner) &&
                   file.write(state) == state.size() && file.write(content) == content.size() &&
                   file.commit();
  if (!kept.isWritten && !std::exchange(saidFailure_, true)) {
    qCWarning(phoneLog, "%s cannot be written: the notification will not outlive the process",
              qUtf8Printable(file.fileName()));
  }
}

}  // namespace korvani::qt::notifications
