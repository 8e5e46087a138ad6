// Reads a walk line by line, and says of the first bad one what is wrong with it.
#include <korvani/location/walk.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <sstream>
#include <string_view>

namespace korvani::location {

namespace {

using platform::Value;

struct Flaw {
  std::string text;
};

std::string quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

/// Far enough for any shop, far below where milliseconds overflow.
constexpr double kMostMetres = 100'000;
constexpr double kMostSeconds = 365 * 86'400.0;
constexpr double kSlowestPace = 0.01;
/// The longest and the shortest that Bluetooth allows to advertise.
constexpr double kShortestPeriod = 0.02;
constexpr double kLongestPeriod = 10.24;

/// The keys of one object, each asked for by its name.
class Keys {
 public:
  explicit Keys(const Value& object) : object_(object) {
    if (!object.isDictionary()) throw Flaw{"no object"};
  }

  double number(std::string_view key, double least, double most,
                double otherwise = std::numeric_limits<double>::quiet_NaN()) {
    return numberIn(find(key), key, least, most, otherwise);
  }
  template <typename Integer>
  Integer integer(std::string_view key, double least, double most,
                  double otherwise = std::numeric_limits<double>::quiet_NaN()) {
    const double found = number(key, least, most, otherwise);
    if (found != std::floor(found)) throw Flaw{quoted(key) + " is no integer"};
    return static_cast<Integer>(found);
  }
  platform::Uuid uuid(std::string_view key) {
    const Value& value = find(key);
    const auto uuid = value.text() ? platform::Uuid::fromString(*value.text()) : std::nullopt;
    if (!uuid) throw Flaw{quoted(key) + " is no UUID"};
    return *uuid;
  }
  void finish() const {
    for (const auto& [key, value] : *object_.dictionary()) {
      if (asked_.find(quoted(key)) == std::string::npos) throw Flaw{"unknown key " + quoted(key)};
    }
  }

  static double numberIn(const Value& value, std::string_view key, double least, double most,
                         double otherwise) {
    const double number = value.real()      ? *value.real()
                          : value.integer() ? static_cast<double>(*value.integer())
                          : value.isNull()  ? otherwise
                                            : std::numeric_limits<double>::quiet_NaN();
    if (number >= least && number <= most) return number;
    std::ostringstream text;
    text << quoted(key) << " is no number from " << least << " to " << most;
    throw Flaw{text.str()};
  }

 private:
  const Value& find(std::string_view key) {
    asked_ += quoted(key);
    return object_.at(key);
  }

  const Value& object_;
  std::string asked_;
};

Place placeIn(Keys& keys) {
  return {keys.number("x", -kMostMetres, kMostMetres), keys.number("y", -kMostMetres, kMostMetres)};
}

std::chrono::milliseconds millisecondsOf(double seconds) {
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

void addRadio(Walk& walk, const Value& value) {
  Keys keys(value);
  walk.noise = keys.number("noise", 0, 30, walk.noise);
  walk.sensitivity = keys.integer<int>("sensitivity", -126, -1, walk.sensitivity);
  walk.seed = keys.integer<std::uint64_t>("seed", 0, 9'007'199'254'740'992, 1);
  keys.finish();
}

void addBeacon(Walk& walk, const Value& value) {
  Keys keys(value);
  WalkBeacon added;
  added.beacon.proximityUUID = keys.uuid("uuid");
  added.beacon.major = keys.integer<std::uint16_t>("major", 0, 65'535);
  added.beacon.minor = keys.integer<std::uint16_t>("minor", 0, 65'535);
  added.beacon.measuredPower = keys.integer<std::int8_t>("power", -128, 127, -59);
  added.place = placeIn(keys);
  added.period = millisecondsOf(keys.number("period", kShortestPeriod, kLongestPeriod, 0.1));
  keys.finish();
  walk.beacons.push_back(added);
}

void start(Walk& walk, const Value& value) {
  if (walk.path.size() > 1) throw Flaw{"the walk has begun"};
  Keys keys(value);
  walk.path.back().place = placeIn(keys);
  keys.finish();
}

void goOn(Walk& walk, double seconds, const Place& place) {
  if (static_cast<double>(walk.duration().count()) / 1000 + seconds > kMostSeconds) {
    throw Flaw{"the walk takes longer than a year"};
  }
  walk.path.push_back({walk.duration() + millisecondsOf(seconds), place});
}

void goTo(Walk& walk, const Value& value) {
  Keys keys(value);
  const Place from = walk.path.back().place;
  const Place to = placeIn(keys);
  // What people make in a shop where they look around.
  const double pace = keys.number("pace", kSlowestPace, 100, 1);
  keys.finish();
  goOn(walk, std::hypot(to.x - from.x, to.y - from.y) / pace, to);
}

void stay(Walk& walk, const Value& value) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  goOn(walk, Keys::numberIn(value, "wait", 0, kMostSeconds, kNone), walk.path.back().place);
}

void addLine(Walk& walk, const Value& line) {
  constexpr struct {
    std::string_view word;
    void (*add)(Walk&, const Value&);
  } kWords[] = {
      {"radio", addRadio}, {"beacon", addBeacon}, {"start", start}, {"walk", goTo}, {"wait", stay}};
  if (!line.isDictionary()) throw Flaw{"no JSON object"};
  for (const auto& [word, add] : kWords) {
    if (line.has(word) && line.dictionary()->size() == 1) return add(walk, line.at(word));
  }
  throw Flaw{"a line has one of \"radio\", \"beacon\", \"start\", \"walk\" and \"wait\""};
}

/// Children of the process do not inherit the descriptor.
std::optional<std::string> contentsOf(const std::string& file) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> input(std::fopen(file.c_str(), "re"),
                                                              &std::fclose);
  if (!input) return std::nullopt;
  std::string contents;
  std::array<char, 4096> piece;
  while (const auto size = std::fread(piece.data(), 1, piece.size(), input.get())) {
    contents.append(piece.data(), size);
  }
  if (std::ferror(input.get()) != 0) return std::nullopt;
  return contents;
}

}  // namespace

std::optional<Walk> readWalk(const std::string& file, const platform::JSONSerialization& json,
                             std::string& wrong) {
  const auto contents = contentsOf(file);
  if (!contents) {
    wrong = file + ": cannot be read";
    return std::nullopt;
  }
  Walk walk;
  std::istringstream input(*contents);
  std::string line;
  for (int number = 1; std::getline(input, line); ++number) {
    const auto first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    try {
      addLine(walk, json.JSONObjectWithData(line));
    } catch (const Flaw& flaw) {
      wrong = file + ":" + std::to_string(number) + ": " + flaw.text;
      return std::nullopt;
    }
  }
  if (!walk.beacons.empty()) return walk;
  wrong = file + ": no beacon";
  return std::nullopt;
}

}  // namespace korvani::location
