// Follows a file that grows, line by line.
#include "service_log.h"

#include <QJsonDocument>

namespace demo {

std::vector<QJsonObject> ServiceLog::takeNew() {
  if (file_.fileName().isEmpty()) return {};
  if (!file_.isOpen() && !file_.open(QIODevice::ReadOnly)) return {};
  unfinished_ += file_.readAll();

  std::vector<QJsonObject> requests;
  for (qsizetype end = unfinished_.indexOf('\n'); end >= 0; end = unfinished_.indexOf('\n')) {
    const QJsonDocument line = QJsonDocument::fromJson(unfinished_.first(end));
    unfinished_.remove(0, end + 1);
    if (line.isObject()) requests.push_back(line.object());
  }
  return requests;
}

}  // namespace demo
