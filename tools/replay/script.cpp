// Reading a script.
#include "script.h"

#include <korvani/codec/json.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "commands.h"
#include "read.h"

namespace korvani::replay {

using platform::Value;

namespace {

constexpr std::array<std::string_view, 4> kSubjects{"phone", "call", "event", "inspect"};

/// The parser sees one line alone and calls it the first.
std::string withoutLine(std::string wrong) {
  constexpr std::string_view kPlace = "parse error at line 1, ";
  if (wrong.starts_with(kPlace)) wrong.erase(0, kPlace.size());
  return wrong;
}

}  // namespace

std::optional<Step> Script::next() {
  std::string line;
  if (!nextLine(line)) return std::nullopt;
  try {
    return readStep(line);
  } catch (const ScriptError& error) {
    throw ScriptError(name_ + ":" + std::to_string(lineNumber_) + ": " + error.what());
  }
}

/// The next line that says something.
bool Script::nextLine(std::string& line) {
  while (std::getline(input_, line)) {
    ++lineNumber_;
    const bool blank = line.find_first_not_of(" \t\r") == std::string::npos;
    if (!blank && line.front() != '#') return true;
  }
  if (input_.bad()) throw ScriptError(name_ + ": cannot be read");
  return false;
}

Step Script::readStep(const std::string& line) {
  std::string wrong;
  const std::optional<Value> parsed = codec::parseJSON(line, wrong);
  if (!parsed) throw ScriptError("no JSON: " + withoutLine(wrong));
  if (!parsed->isDictionary()) throw ScriptError("a line must be an object");
  const auto says = [&](std::string_view key) { return parsed->has(key); };
  const auto subjects = std::count_if(kSubjects.begin(), kSubjects.end(), says);
  if (subjects > 1) {
    throw ScriptError("a line has one of \"phone\", \"call\", \"event\" and \"inspect\"");
  }

  Fields fields(*parsed);
  readMoment(fields);
  const bool isFirstLine = stepCount_++ == 0;
  Step step{millisecondsOf(at_), [](Player&) {}};
  if (says("phone")) {
    const Value& phone = fields.get("phone");
    within("\"phone\"", [&] { step.action = readPhone(phone, isFirstLine, beginning_); });
  } else if (says("call")) {
    step.action = readCall(fields.text("call"), fields);
  } else if (says("event")) {
    step.action = readEvent(fields.text("event"), fields, beginning_.locationService);
  } else if (says("inspect")) {
    const Value& what = fields.get("inspect");
    within("\"inspect\"", [&] { step.action = readInspect(what); });
  }
  fields.finish();
  if (subjects == 0 && !says("at")) throw ScriptError("the line says nothing");
  return step;
}

void Script::readMoment(Fields& fields) {
  const Value* value = fields.find("at");
  if (!value) return;
  within("\"at\"", [&] {
    const double at = asNumber(*value, 0, kMostSeconds);
    if (at < at_) throw ScriptError("goes back");
    at_ = at;
  });
}

}  // namespace korvani::replay
