// Lines of the kit as information messages of a Qt logging category.
#include <korvani/qt/log.h>

#include <cstddef>
#include <string>
#include <utility>

namespace korvani::qt {

Q_LOGGING_CATEGORY(phoneLog, "korvani.phone")

namespace {

Q_LOGGING_CATEGORY(kitLog, "korvani")

constexpr std::size_t kLongestLine = 4096;

bool startsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

/// The first characters of UTF-8 text, as many as a line may have.
std::string_view cut(std::string_view line) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (startsCharacter(line[i]) && ++characters > kLongestLine) return line.substr(0, i);
  }
  return line;
}

}  // namespace

// Makes both categories now, before any thread writes.
Log::Log(ApplicationLife& life, std::function<QString()> describePhone)
    : life_(life), describePhone_(std::move(describePhone)) {
  static_cast<void>(kitLog());
  static_cast<void>(phoneLog());
}

void Log::write(std::string_view line) {
  const ApplicationLife::Stay stay(life_);
  if (stay) qCInfo(kitLog, "%s", std::string(cut(line)).c_str());
}

void Log::setDebug(bool debug) {
  if (debug && describePhone_) qCInfo(phoneLog, "%s", qUtf8Printable(describePhone_()));
}

}  // namespace korvani::qt
