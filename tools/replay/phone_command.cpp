// The line that sets up the phone. What it does not name keeps what it was.
#include <deque>
#include <limits>
#include <vector>

#include "commands.h"
#include "read.h"

namespace korvani::replay {

using platform::Value;
using simulator::Answer;
using simulator::LocationServiceKind;
using simulator::Settings;
using simulator::SimulatedPhone;

namespace {

/// The keys of one line, and the changes that they make.
class PhoneReader {
 public:
  explicit PhoneReader(const Value& phone) : fields_(phone) {}

  void read(bool isFirstLine, Beginning& beginning) {
    readBeginning(isFirstLine, beginning);
    readDevice();
    readSurroundings();
    readApplication();
    fields_.finish();
  }

  Action action() && {
    return [changes = std::move(changes_)](Player& player) {
      for (const Change& change : changes) change(player.phone());
    };
  }

 private:
  using Change = std::function<void(SimulatedPhone&)>;

  /// Reads the key, where it is there, with its name in front of what is wrong.
  void on(std::string_view key, const std::function<void(const Value&)>& read) {
    if (const Value* value = fields_.find(key)) within(quoted(key), [&] { read(*value); });
  }

  template <typename Setting>
  void set(Setting Settings::*setting, Setting value) {
    changes_.push_back([=](SimulatedPhone& phone) { phone.settings().*setting = value; });
  }

  void readBeginning(bool isFirstLine, Beginning& beginning) {
    const auto requireFirstLine = [&] {
      if (!isFirstLine) throw ScriptError("belongs in the first line only");
    };
    on("now", [&](const Value& value) {
      requireFirstLine();
      beginning.start = readDate(value);
    });
    on("locationService", [&](const Value& value) {
      requireFirstLine();
      const std::string kind = asText(value);
      if (kind == "radio") {
        beginning.locationService = LocationServiceKind::kRadio;
      } else if (kind != "scripted") {
        throw ScriptError("must be \"scripted\" or \"radio\"");
      }
    });
    on("authorized", [&](const Value& value) {
      requireLocationService("it", LocationServiceKind::kRadio, beginning.locationService);
      const bool isAuthorized = asBoolean(value);
      changes_.push_back([=](SimulatedPhone& phone) { phone.setAuthorized(isAuthorized); });
    });
  }

  void readDevice() {
    on("utcOffset", [&](const Value& value) { set(&Settings::utcOffset, readUtcOffset(value)); });
    on("locale", [&](const Value& value) { set(&Settings::localeIdentifier, asText(value)); });
    on("battery", [&](const Value& value) {
      const double level = asNumber(value, -1, 1);
      if (level < 0 && level != -1) throw ScriptError("must be 0.0 to 1.0, or -1");
      set(&Settings::batteryLevel, static_cast<float>(level));
    });
    on("location", [&](const Value& value) { readLocation(value); });
    on("screen", [&](const Value& value) {
      constexpr double kMostPoints = 100000;
      Fields size(value);
      const double width = size.number("width", 1, kMostPoints);
      const double height = size.number("height", 1, kMostPoints);
      size.finish();
      set(&Settings::screen, platform::Size{width, height});
    });
    on("uuids", [&](const Value& value) {
      std::deque<platform::Uuid> uuids;
      for (const Value& uuid : asList(value)) uuids.push_back(readUuid(uuid));
      set(&Settings::uuids, uuids);
    });
    on("store", [&](const Value& value) {
      for (const auto& [key, stored] : asObject(value)) {
        within(quoted(key), [&, &entry = key] {
          changes_.push_back([entry, held = readStored(value.at(entry))](SimulatedPhone& phone) {
            phone.setStored(entry, held);
          });
        });
      }
    });
  }

  void readLocation(const Value& value) {
    std::optional<platform::Coordinate> location;
    if (!value.isNull()) {
      Fields coordinate(value);
      const double latitude = coordinate.number("latitude", -90, 90);
      location = {latitude, coordinate.number("longitude", -180, 180)};
      coordinate.finish();
    }
    set(&Settings::location, location);
  }

  static Value readStored(const Value& value) {
    if (!value.has("date") || value.dictionary()->size() != 1) return value;
    return readDate(value.at("date"));
  }

  void readSurroundings() {
    on("answers", [&](const Value& value) {
      merge(value, &Settings::answers, [](std::string_view endpoint, const Value& answers) {
        if (endpoint != "configuration" && endpoint != "scenario" && endpoint != "confirm") {
          throw ScriptError("is no endpoint");
        }
        return readAnswers(answers);
      });
    });
    on("files", [&](const Value& value) {
      merge(value, &Settings::files,
            [](std::string_view, const Value& path) { return readFile(path); });
    });
    on("pages", [&](const Value& value) {
      merge(value, &Settings::failingPages, [](std::string_view, const Value& page) {
        Fields failure(page);
        std::string description = failure.text("error");
        failure.finish();
        return description;
      });
    });
    on("opens", [&](const Value& value) {
      std::vector<std::string> beginnings;
      for (const Value& beginning : asList(value)) beginnings.push_back(asText(beginning));
      set(&Settings::openableUris, beginnings);
    });
  }

  /// A setting that is a map is merged key by key.
  template <typename Map, typename Read>
  void merge(const Value& value, Map Settings::*setting, Read read) {
    for (const auto& entry : asObject(value)) {
      within(quoted(entry.first), [&] {
        changes_.push_back([setting, key = entry.first,
                            held = read(entry.first, entry.second)](SimulatedPhone& phone) {
          (phone.settings().*setting).insert_or_assign(key, held);
        });
      });
    }
  }

  static std::deque<Answer> readAnswers(const Value& value) {
    if (!value.array()) return {readAnswer(value)};
    if (value.array()->empty()) throw ScriptError("must not be an empty list");
    std::deque<Answer> answers;
    for (const Value& answer : *value.array()) answers.push_back(readAnswer(answer));
    return answers;
  }

  static Answer readAnswer(const Value& value) {
    Fields fields(value);
    const bool json = value.has("json");
    const bool text = value.has("text");
    if (json + text + value.has("error") != 1) {
      throw ScriptError("an answer has one of \"json\", \"text\" and \"error\"");
    }
    Answer answer = json   ? Answer::json(fields.get("json"))
                    : text ? Answer::text(fields.text("text"))
                           : Answer::failure(fields.text("error"));
    if (value.has("status")) answer.status = static_cast<int>(fields.integer("status", 100, 999));
    if (value.has("after")) {
      answer.after = millisecondsOf(fields.number("after", 0, kMostSeconds));
    }
    fields.finish();
    return answer;
  }

  void readApplication() {
    on("backgroundTasks",
       [&](const Value& value) { set(&Settings::allowsBackgroundTasks, asBoolean(value)); });
    on("backgroundTimeRemaining", [&](const Value& value) {
      constexpr double kMost = std::numeric_limits<double>::max();
      set(&Settings::backgroundTimeRemaining, asNumber(value, -kMost, kMost));
    });
  }

  Fields fields_;
  std::vector<Change> changes_;
};

}  // namespace

Action readPhone(const Value& phone, bool isFirstLine, Beginning& beginning) {
  PhoneReader reader(phone);
  reader.read(isFirstLine, beginning);
  return std::move(reader).action();
}

}  // namespace korvani::replay
