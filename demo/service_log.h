// The service's own log of requests, read while the service still writes it.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QJsonObject>
#include <QString>
#include <vector>

namespace demo {

class ServiceLog {
 public:
  /// The file may come later. Without a name nothing is logged.
  explicit ServiceLog(const QString& file) : file_(file) {}

  /// The requests that were logged since the last call; a line that is still being written waits.
  std::vector<QJsonObject> takeNew();

 private:
  QFile file_;
  QByteArray unfinished_;
};

}  // namespace demo
