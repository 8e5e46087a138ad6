// Prints effects, a line each.
#pragma once

#include <korvani/simulator/effect.h>

#include <cstdio>
#include <functional>
#include <string>
#include <utility>

namespace korvani::replay {

/// As JSON, with its line end.
std::string jsonLine(const simulator::Effect& effect);

class Printer {
 public:
  using Form = std::function<std::string(const simulator::Effect&)>;

  Printer(std::FILE* output, Form form) : output_(output), form_(std::move(form)) {}

  void print(const simulator::Effect& effect);
  /// False when something could not be written, now or earlier.
  bool flush();

 private:
  std::FILE* const output_;
  const Form form_;
  std::string lines_;
  bool failed_ = false;
};

}  // namespace korvani::replay
