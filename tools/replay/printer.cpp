// Prints effects, a line each.
#include "printer.h"

namespace korvani::replay {
namespace {

constexpr std::size_t kFlushAt = 65536;

/// Seconds, with as many decimals as it takes, at most three.
std::string secondsText(std::chrono::milliseconds moment) {
  const auto whole = moment.count() / 1000;
  const auto fraction = moment.count() % 1000;
  std::string text = std::to_string(whole);
  if (fraction == 0) return text;
  text += '.' + std::to_string(1000 + fraction).substr(1);
  text.erase(text.find_last_not_of('0') + 1);
  return text;
}

}  // namespace

std::string jsonLine(const simulator::Effect& effect) {
  std::string line = "{\"at\":" + secondsText(effect.at) + ",\"thread\":\"";
  line += effect.thread;
  line += "\",\"" + effect.kind + "\":" + effect.content.jsonText() + "}\n";
  return line;
}

void Printer::print(const simulator::Effect& effect) {
  lines_ += form_(effect);
  if (lines_.size() >= kFlushAt) flush();
}

bool Printer::flush() {
  if (std::fwrite(lines_.data(), 1, lines_.size(), output_) != lines_.size()) failed_ = true;
  if (std::fflush(output_) != 0) failed_ = true;
  lines_.clear();
  return !failed_;
}

}  // namespace korvani::replay
