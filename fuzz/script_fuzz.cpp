// Any bytes as a script of korvani-replay, read and played.
#include <korvani/codec/json.h>

#include <optional>
#include <sstream>

#include "input.h"
#include "printer.h"
#include "script.h"
#include "timeline.h"
#include "watched_phone.h"

using namespace korvani;
using namespace std::chrono_literals;
using fuzz::require;

namespace {

/// A radio ranges each second: a script of years would take minutes.
constexpr std::chrono::milliseconds kMostWithRadio = 1h;

void checkLine(const std::string& line, const std::string& content) {
  require(line.find('\n') == line.size() - 1, "an effect is one line");
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
  require(std::none_of(line.begin(), line.end() - 1, isControl),
          "nothing printed steers a terminal");
  require(!content.empty(), "an effect has a kind");
}

void print(const simulator::Effect& effect) {
  const std::string line = replay::jsonLine(effect);
  checkLine(line, effect.kind);
  checkLine(replay::timelineLine(effect, false), effect.kind);
  std::string error;
  const auto parsed = codec::parseJSON(line, error);
  require(parsed && parsed->at(effect.kind).jsonText() == effect.content.jsonText(),
          "a line is the JSON of the effect");
}

void play(replay::Script& script) {
  auto step = script.next();
  if (!step) return;
  replay::Player player(script.beginning(), print);
  const fuzz::Run run(player.phone());
  const bool hasRadio =
      script.beginning().locationService == simulator::LocationServiceKind::kRadio;
  for (; step; step = script.next()) {
    if (hasRadio && step->at > kMostWithRadio) return;
    player.play(*step);
    require(player.phone().elapsed() == step->at, "a step is played at its time");
  }
  player.finish();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text = fuzz::Input(bytes, size).rest();
  // Files of the system, which may be without end, are another thing to attack.
  if (text.find("/dev") != text.npos || text.find("/proc") != text.npos) return 0;
  std::istringstream input(text);
  replay::Script script(input, "fuzz");
  try {
    play(script);
  } catch (const replay::ScriptError& error) {
    const std::string what = error.what();
    require(what.starts_with("fuzz:") && what.find('\n') == what.npos,
            "what is wrong is one line that names the place");
  }
  return 0;
}
