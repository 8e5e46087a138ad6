// korvani-beacons: lists live which beacons are in range, from the radio or from a walk. See
// docs/radio.md.
#include <korvani/codec/json.h>
#include <korvani/location/walk_radio.h>
#include <korvani/qt/bluetooth/radio.h>
#include <korvani/qt/queues.h>
#include <korvani/sdk/version.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "report.h"
#include "survey.h"

namespace korvani::beacons {
namespace {

constexpr int kBadInput = 2;
constexpr int kLookMilliseconds = 1000;

struct Options {
  std::string walk;
  std::vector<std::string> uuids;
  std::optional<double> seconds;
  bool json = false;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--walk", options.walk, "hear the beacons of this walk in place of the radio")
      ->option_text("FILE");
  app.add_option("--uuid", options.uuids,
                 "list the beacons of this proximity UUID only; may stand several times")
      ->allow_extra_args(false)
      ->option_text("UUID");
  app.add_option("--seconds", options.seconds,
                 "end after so long (default: never; a walk ends when its beacons are left)")
      ->check([](const std::string& text) -> std::string {
        double seconds = 0;
        if (CLI::detail::lexical_cast(text, seconds) && seconds >= 0) return {};
        return text + " is not a number of seconds, 0 or more";
      })
      ->option_text("SECONDS");
  app.add_flag("--json", options.json, "a line of JSON each second");
  app.set_version_flag("--version", "korvani-beacons " KORVANI_VERSION_STRING);
}

std::set<platform::Uuid> uuidsOf(const std::vector<std::string>& texts) {
  std::set<platform::Uuid> uuids;
  for (const std::string& text : texts) {
    const auto uuid = platform::Uuid::fromString(text);
    if (!uuid) throw std::runtime_error("--uuid: no UUID: " + text);
    uuids.insert(*uuid);
  }
  return uuids;
}

std::optional<location::Walk> walkOf(const std::string& file) {
  if (file.empty()) return std::nullopt;
  std::string wrong;
  auto walk = location::readWalk(file, codec::JSON(), wrong);
  if (!walk) throw std::runtime_error(wrong);
  return walk;
}

location::Moment now() {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::steady_clock::now());
}

/// Prints a look each second, until all has been seen.
class Watch {
 public:
  Watch(const Options& options, const std::optional<location::Walk>& walk)
      : json_(options.json),
        redraws_(!options.json && isatty(STDOUT_FILENO) != 0),
        survey_(std::make_shared<Survey>(now, uuidsOf(options.uuids))),
        queues_(qt::ApplicationLife::ofProcess()) {
    if (walk) walkEnd_ = walk->duration();
    if (options.seconds) end_ = std::chrono::duration<double>(*options.seconds);
    if (walk) {
      radio_ = std::make_shared<location::WalkRadio>(queues_, now, walk, "");
    } else {
      radio_ = std::make_shared<qt::bluetooth::Radio>();
    }
    radio_->setListener(survey_);
    radio_->listen({location::Listening::Level::kFull});
    timer_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { look(); });
    timer_.start(kLookMilliseconds);
  }

 private:
  void look() {
    const Snapshot snapshot = survey_->look();
    if (redraws_) std::fputs("\x1b[H\x1b[J", stdout);
    std::fputs((json_ ? json(snapshot) : table(snapshot)).c_str(), stdout);
    if (!json_ && !redraws_) std::fputc('\n', stdout);
    if (std::fflush(stdout) != 0) return QCoreApplication::exit(1);
    if (isOver(snapshot)) QCoreApplication::quit();
  }

  bool isOver(const Snapshot& snapshot) const {
    if (end_ && snapshot.at >= *end_) return true;
    const bool isInside = std::any_of(
        snapshot.regions.begin(), snapshot.regions.end(),
        [](const auto& region) { return region.state == platform::RegionState::kInside; });
    return walkEnd_ && snapshot.at > *walkEnd_ && !isInside;
  }

  const bool json_;
  const bool redraws_;
  const std::shared_ptr<Survey> survey_;
  qt::Queues queues_;
  std::shared_ptr<location::AdvertisementSource> radio_;
  std::optional<std::chrono::milliseconds> walkEnd_;
  std::optional<std::chrono::duration<double>> end_;
  QTimer timer_;
};

int run(int argc, char** argv) {
  CLI::App app("Lists the iBeacons in range, each second.", "korvani-beacons");
  Options options;
  addOptions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  }
  QCoreApplication application(argc, argv);
  const Watch watch(options, walkOf(options.walk));
  return QCoreApplication::exec();
}

}  // namespace
}  // namespace korvani::beacons

int main(int argc, char** argv) {
  try {
    return korvani::beacons::run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "korvani-beacons: %s\n", error.what());
    return korvani::beacons::kBadInput;
  }
}
