// What the lines of a script can say: each reader checks its line and gives what is to be done.
#pragma once

#include <functional>
#include <optional>

#include "fields.h"
#include "player.h"

namespace korvani::replay {

using Action = std::function<void(Player&)>;

/// `{"phone": {...}}`. The keys of the first line alone are refused elsewhere; `start` is set when
/// the line says it.
Action readPhone(const platform::Value& phone, bool isFirstLine,
                 std::optional<platform::Date>& start);
/// `{"call": name, ...}`; the other keys are still in the fields.
Action readCall(const platform::Value& name, Fields& arguments);
/// `{"event": name, ...}`.
Action readEvent(const platform::Value& name, Fields& arguments);
/// `{"inspect": what}`.
Action readInspect(const platform::Value& what);

/// The error for what only a phone that listens to the radio has.
ScriptError needsRadio(std::string_view what);

}  // namespace korvani::replay
