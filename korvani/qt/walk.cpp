// Reads a walk line by line, and says of the first bad one what is wrong with it.
#include <korvani/qt/walk.h>

#include <QFile>
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <string_view>

namespace korvani::qt {

namespace {

using platform::Value;

struct Flaw {
  std::string text;
};

void allowOnly(const Value& value, std::initializer_list<std::string_view> keys) {
  for (const auto& [key, entry] : *value.dictionary()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      throw Flaw{"unknown key \"" + key + "\""};
    }
  }
}

int integerAt(const Value& value, std::string_view key, int least, int most) {
  const std::int64_t* number = value.at(key).integer();
  if (number == nullptr || *number < least || *number > most) {
    throw Flaw{"\"" + std::string(key) + "\" is no integer from " + std::to_string(least) + " to " +
               std::to_string(most)};
  }
  return static_cast<int>(*number);
}

std::chrono::milliseconds timeAt(const Value& value) {
  const Value& at = value.at("at");
  const double seconds = at.real()      ? *at.real()
                         : at.integer() ? static_cast<double>(*at.integer())
                                        : std::numeric_limits<double>::quiet_NaN();
  // A year: more is a slip, and would leave the range of a timer.
  if (!(seconds >= 0 && seconds <= 365 * 86'400.0)) {
    throw Flaw{"\"at\" is no number of seconds from 0 to a year"};
  }
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

WalkBeacon beaconFrom(const Value& value) {
  if (!value.isDictionary()) throw Flaw{"a beacon is no object"};
  allowOnly(value, {"major", "minor", "proximity", "uuid"});
  WalkBeacon beacon;
  beacon.major = static_cast<std::uint16_t>(integerAt(value, "major", 0, 65'535));
  beacon.minor = static_cast<std::uint16_t>(integerAt(value, "minor", 0, 65'535));
  constexpr auto kLimits = std::numeric_limits<int>();
  beacon.proximity = integerAt(value, "proximity", kLimits.min(), kLimits.max());
  if (!value.has("uuid")) return beacon;
  if (const std::string* text = value.at("uuid").text()) {
    beacon.uuid = platform::Uuid::fromString(*text);
  }
  if (!beacon.uuid) throw Flaw{"\"uuid\" is no UUID"};
  return beacon;
}

WalkStep stepFrom(const Value& line, std::chrono::milliseconds last) {
  if (!line.isDictionary()) throw Flaw{"the line is no JSON object"};
  allowOnly(line, {"at", "beacons"});
  WalkStep step;
  step.at = timeAt(line);
  if (step.at < last) throw Flaw{"\"at\" goes back"};
  const auto* beacons = line.at("beacons").array();
  if (beacons == nullptr) throw Flaw{"\"beacons\" is no list"};
  for (const Value& beacon : *beacons) step.beacons.push_back(beaconFrom(beacon));
  return step;
}

}  // namespace

Walk readWalk(const QString& path, const platform::JSONSerialization& json) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) {
    return {{}, path.toStdString() + ": " + file.errorString().toStdString()};
  }
  Walk walk;
  for (int number = 1; !file.atEnd(); ++number) {
    const QByteArray line = file.readLine().trimmed();
    if (line.isEmpty() || line.startsWith('#')) continue;
    try {
      const auto last = walk.steps.empty() ? std::chrono::milliseconds(0) : walk.steps.back().at;
      walk.steps.push_back(stepFrom(json.JSONObjectWithData(line.toStdString()), last));
    } catch (const Flaw& flaw) {
      return {{}, path.toStdString() + ":" + std::to_string(number) + ": " + flaw.text};
    }
  }
  return walk;
}

}  // namespace korvani::qt
