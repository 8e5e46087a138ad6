// What this process logs.
#pragma once

#include <QMessageLogContext>
#include <QString>
#include <string>
#include <vector>

namespace korvani::qt {

/// The lines since it was made, those of the category alone if one is named; one at a time.
class LogLines {
 public:
  explicit LogLines(const char* category = "") {
    lines().clear();
    category_ = category;
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext& from, const QString& line) {
      if (category_.empty() || category_ == from.category) lines().push_back(line.toStdString());
    });
  }
  ~LogLines() { qInstallMessageHandler(nullptr); }
  static std::vector<std::string>& lines() {
    static std::vector<std::string> lines;
    return lines;
  }

 private:
  inline static std::string category_;
};

}  // namespace korvani::qt
