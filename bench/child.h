// Runs another program.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>

namespace korvani::bench {

/// What the shell command prints; it must end well.
inline std::string outputOf(const std::string& command) {
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("no process for " + command);
  std::string output;
  char piece[4096];
  while (const std::size_t got = std::fread(piece, 1, sizeof piece, pipe))
    output.append(piece, got);
  if (::pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return output;
}

}  // namespace korvani::bench
