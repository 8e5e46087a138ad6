// What the lines of a script can say: each reader checks its line and gives what is to be done.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "fields.h"
#include "player.h"

namespace korvani::replay {

using Action = std::function<void(Player&)>;

/// `{"phone": {...}}`. The keys of the first line alone are refused elsewhere, those of a radio
/// where there is none; what the first line says of the beginning is put there.
Action readPhone(const platform::Value& phone, bool isFirstLine, Beginning& beginning);
/// `{"call": name, ...}`; the other keys are still in the fields.
Action readCall(const std::string& name, Fields& arguments);
/// `{"event": name, ...}`; events of the other kind of location service are refused.
Action readEvent(const std::string& name, Fields& arguments,
                 simulator::LocationServiceKind locationService);
/// `{"inspect": what}`.
Action readInspect(const platform::Value& what);

/// Throws a ScriptError if the phone's location service is not the one that `what` is for.
void requireLocationService(std::string_view what, simulator::LocationServiceKind needed,
                            simulator::LocationServiceKind there);

}  // namespace korvani::replay
