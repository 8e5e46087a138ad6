// Reading a script, JSON Lines, one step at a time.
#pragma once

#include <cstddef>
#include <istream>
#include <optional>
#include <string>

#include "fields.h"
#include "player.h"

namespace korvani::replay {

class Script {
 public:
  /// The name stands in error messages.
  Script(std::istream& input, std::string name) : input_(input), name_(std::move(name)) {}

  /// The next step; nothing at the end. Throws ScriptError, "NAME:LINE: what is wrong".
  std::optional<Step> next();
  /// Known with the first step.
  const Beginning& beginning() const { return beginning_; }

 private:
  bool nextLine(std::string& line);
  Step readStep(const std::string& line);
  void readMoment(Fields& fields);

  std::istream& input_;
  const std::string name_;
  std::size_t lineNumber_ = 0;
  std::size_t stepCount_ = 0;
  double at_ = 0;  // of the last line, in seconds as it was read
  Beginning beginning_;
};

}  // namespace korvani::replay
