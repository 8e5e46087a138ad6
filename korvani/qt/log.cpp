// Lines of the kit as information messages of a Qt logging category.
#include <korvani/platform/utf8.h>
#include <korvani/qt/log.h>

#include <cstddef>
#include <string>
#include <utility>

namespace korvani::qt {

Q_LOGGING_CATEGORY(phoneLog, "korvani.phone")

namespace {

Q_LOGGING_CATEGORY(kitLog, "korvani")

/// In characters.
constexpr std::size_t kLongestLine = 4096;

}  // namespace

// Makes both categories now, before any thread writes.
Log::Log(ApplicationLife& life, std::function<QString()> describePhone)
    : life_(life), describePhone_(std::move(describePhone)) {
  static_cast<void>(kitLog());
  static_cast<void>(phoneLog());
}

void Log::write(std::string_view line) {
  const ApplicationLife::Stay stay(life_);
  if (!stay) return;
  const std::string shown(line.substr(0, platform::utf8Offset(line, kLongestLine)));
  qCInfo(kitLog, "%s", shown.c_str());
}

void Log::setDebug(bool debug) {
  if (debug && describePhone_) qCInfo(phoneLog, "%s", qUtf8Printable(describePhone_()));
}

}  // namespace korvani::qt
