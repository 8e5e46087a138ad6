// A message handler of Qt. Lines come from any thread, so they wait here under a mutex.
#include "kit_log.h"

#include <QLoggingCategory>
#include <QTime>
#include <mutex>
#include <string_view>
#include <utility>

namespace demo {
namespace {

// Never destroyed: threads may log until the process has ended.
std::mutex& mutex = *new std::mutex;
QStringList& lines = *new QStringList;
QtMessageHandler passOn = nullptr;

void handle(QtMsgType type, const QMessageLogContext& context, const QString& text) {
  const std::string_view category = context.category ? context.category : "";
  if (category != "korvani" && category != "korvani.phone") return passOn(type, context, text);
  const std::lock_guard lock(mutex);
  lines << QTime::currentTime().toString("HH:mm:ss") + ' ' + text;
}

}  // namespace

void keepKitLog() { passOn = qInstallMessageHandler(handle); }

QStringList takeKitLog() {
  const std::lock_guard lock(mutex);
  return std::exchange(lines, {});
}

}  // namespace demo
