// One phone: the kit on a simulated phone, through the days of its plan.
#pragma once

#include <cstddef>

#include "ledger.h"
#include "plan.h"

namespace korvani::fleet {

/// Once in a process, since there is one kit in each. `isDisabled`: the service says so with every
/// answer.
void live(const Habits& habits, std::size_t phone, bool isDisabled, Ledger& ledger);
/// Whether this phone is among those that are disabled.
bool isDisabled(const Habits& habits, std::size_t phone);

}  // namespace korvani::fleet
