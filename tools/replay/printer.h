// Prints effects as JSON Lines.
#pragma once

#include <korvani/simulator/effect.h>

#include <cstdio>
#include <string>

namespace korvani::replay {

class Printer {
 public:
  explicit Printer(std::FILE* output) : output_(output) {}

  void print(const simulator::Effect& effect);
  /// False when something could not be written, now or earlier.
  bool flush();

 private:
  std::FILE* const output_;
  std::string lines_;
  bool failed_ = false;
};

}  // namespace korvani::replay
