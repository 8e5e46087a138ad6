// Effects as people read them: a line each, in columns.
#pragma once

#include <korvani/simulator/effect.h>

#include <cstdio>
#include <string>

namespace korvani::replay {

/// Time, thread, kind and content, with its line end.
std::string timelineLine(const simulator::Effect& effect, bool inColour);

/// Whether what is written there is seen in colours: on a terminal, unless NO_COLOR is set.
bool showsColours(std::FILE* output);

}  // namespace korvani::replay
