// A run of the kit on a simulated phone, watched: what the kit does with its requests and their
// answers is held against what it was given. A process has one kit and one phone; here that phone
// hands everything on to the simulated one of the present run.
#pragma once

#include <korvani/simulator/simulated_phone.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace korvani::fuzz {

/// Starts the kit on the phone, as a host does that has set nothing else. What holds in every run:
/// - nothing is thrown in the kit, not even what it drops;
/// - a request is a well-formed POST of one of the three exchanges;
/// - an answer does what it says and nothing more: one notification for an accepted scenario, also
///   counted once more at the end, none for any other; the flag of disabled mode as `disabled` has
///   it; the configured UUID, its date and its region; nothing at all with an "error_message".
/// The effects of a run may be taken at any time.
class Run {
 public:
  /// The phone outlives the run.
  explicit Run(simulator::SimulatedPhone& phone);
  /// The settings of the host are undone, and what runs comes to its end.
  ~Run();
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  /// Tells the kit what is in range, whatever region there is.
  void range(const std::vector<platform::Beacon>& beacons);
  /// Opens a scenario with nothing else in front, and requires that what it says is then there.
  void openAlone(const platform::Value& scenario);

  /// How often the endpoint was asked; all of them without a word.
  std::size_t requests(std::string_view endpoint = {}) const;
  /// How many answers had an "error_message".
  std::size_t errorMessages() const;

 private:
  simulator::SimulatedPhone& phone_;
};

/// A beacon of the built-in region.
platform::Beacon beacon(int minor, int proximity);

}  // namespace korvani::fuzz
