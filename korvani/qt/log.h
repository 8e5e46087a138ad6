// The log port on Qt's logging categories: "korvani" for the kit, "korvani.phone" for the phone.
#pragma once

#include <korvani/platform/log.h>
#include <korvani/qt/application_life.h>

#include <QLoggingCategory>
#include <QString>
#include <functional>

namespace korvani::qt {

/// What the phone itself has to say. Off the main thread only under an ApplicationLife::Stay.
Q_DECLARE_LOGGING_CATEGORY(phoneLog)

/// A line is cut after 4,096 characters. After the end of the application nothing is written.
class Log final : public platform::Log {
 public:
  /// `describePhone`: for developers, what the phone has chosen; one line.
  explicit Log(ApplicationLife& life, std::function<QString()> describePhone = {});
  void write(std::string_view line) override;
  void setDebug(bool debug) override;

 private:
  ApplicationLife& life_;
  const std::function<QString()> describePhone_;
};

}  // namespace korvani::qt
