// korvani-replay: plays a script to the kit on a simulated phone and prints what the kit does. See
// docs/replay.md.
#include <korvani/sdk/version.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "player.h"
#include "printer.h"
#include "script.h"
#include "timeline.h"

namespace korvani::replay {
namespace {

constexpr int kBadInput = 2;

void play(Script& script, Printer& printer) {
  std::unique_ptr<Player> player;
  while (const auto step = script.next()) {
    if (!player) {
      player = std::make_unique<Player>(
          script.beginning(), [&](const simulator::Effect& effect) { printer.print(effect); });
    }
    player->play(*step);
    printer.flush();
  }
  if (player) player->finish();
}

int run(const std::string& name, bool isTimeline) {
  std::ifstream file;
  if (name != "-") {
    file.open(name);
    if (!file) {
      std::cerr << name << ": cannot be read\n";
      return kBadInput;
    }
  }
  Script script(name == "-" ? std::cin : file, name);
  const bool inColour = showsColours(stdout);
  const auto timeline = [=](const simulator::Effect& effect) {
    return timelineLine(effect, inColour);
  };
  Printer printer(stdout, isTimeline ? Printer::Form(timeline) : jsonLine);
  try {
    play(script, printer);
  } catch (const ScriptError& error) {
    printer.flush();
    std::cerr << error.what() << '\n';
    return kBadInput;
  }
  if (printer.flush()) return 0;
  std::cerr << "korvani-replay: the output cannot be written\n";
  return 1;
}

int readArguments(int argc, char** argv) {
  CLI::App app("Plays a script of events to Korvani on a simulated phone and prints every effect.",
               "korvani-replay");
  std::string name = "-";
  app.add_option("FILE", name, "the script, JSON Lines (default: standard input)")->type_name("");
  bool isTimeline = false;
  app.add_flag("--timeline", isTimeline, "print the effects for people, in columns");
  app.set_version_flag("--version", "korvani-replay " KORVANI_VERSION_STRING);
  app.failure_message([](const CLI::App* self, const CLI::Error& error) {
    return self->get_name() + ": " + error.what() + '\n';
  });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kBadInput;
  }
  return run(name, isTimeline);
}

}  // namespace
}  // namespace korvani::replay

int main(int argc, char** argv) {
  try {
    std::ios::sync_with_stdio(false);
    return korvani::replay::readArguments(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "korvani-replay: %s\n", error.what());
    return 1;
  }
}
