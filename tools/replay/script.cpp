// Reading a script.
#include "script.h"

#include <korvani/codec/json.h>

#include "commands.h"
#include "read.h"

namespace korvani::replay {

using platform::Value;

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
  if (!parsed) throw ScriptError("no JSON: " + wrong);
  if (!parsed->isDictionary()) throw ScriptError("a line must be an object");
  Fields fields(*parsed);
  readMoment(fields);

  const bool isFirstLine = stepCount_++ == 0;
  const Value* phone = fields.find("phone");
  const Value* call = fields.find("call");
  const Value* event = fields.find("event");
  const Value* inspect = fields.find("inspect");
  const int subjects =
      (phone != nullptr) + (call != nullptr) + (event != nullptr) + (inspect != nullptr);
  if (subjects > 1) {
    throw ScriptError("a line has one of \"phone\", \"call\", \"event\" and \"inspect\"");
  }

  Step step{at_, [](Player&) {}};
  if (phone) {
    within("\"phone\"", [&] { step.action = readPhone(*phone, isFirstLine, beginning_); });
  } else if (call) {
    step.action = readCall(*call, fields);
  } else if (event) {
    step.action = readEvent(*event, fields, beginning_.locationService);
  } else if (inspect) {
    within("\"inspect\"", [&] { step.action = readInspect(*inspect); });
  } else if (!parsed->has("at")) {
    throw ScriptError("the line says nothing");
  }
  fields.finish();
  return step;
}

void Script::readMoment(Fields& fields) {
  const Value* value = fields.find("at");
  if (!value) return;
  within("\"at\"", [&] {
    const auto at = millisecondsOf(asNumber(*value, 0, kMostSeconds));
    if (at < at_) throw ScriptError("goes back");
    at_ = at;
  });
}

}  // namespace korvani::replay
