// The figures for people.
#pragma once

#include <string>

#include "ledger.h"
#include "plan.h"

namespace korvani::fleet {

/// What was asked, by whom: phones that are not disabled, those that are, and the same phones had
/// they not been.
struct Ledgers {
  Ledger enabled;
  Ledger disabled;
  Ledger undisabled;
};

/// The same for the same habits.
std::string report(const Habits& habits, std::size_t disabledPhones, const Ledgers& ledgers);

}  // namespace korvani::fleet
