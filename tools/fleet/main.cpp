// korvani-fleet: lives the days of many phones and prints what they ask of the web service. See
// docs/scale.md.
#include <korvani/sdk/version.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "ledger.h"
#include "phone.h"
#include "plan.h"
#include "report.h"

namespace korvani::fleet {
namespace {

constexpr int kBadInput = 2;

/// Forks a process for each phone, since there is one kit in each. This one makes no thread and no
/// phone, so what its children inherit is whole.
class Processes {
 public:
  explicit Processes(unsigned jobs) : jobs_(jobs) {}

  void start(const Habits& habits, std::size_t phone, bool isDisabled, Ledger& ledger) {
    if (running_ == jobs_) reap();
    const pid_t child = ::fork();
    if (child < 0) {
      throw std::system_error(errno, std::generic_category(), "no process for a phone");
    }
    if (child == 0) std::_Exit(liveHere(habits, phone, isDisabled, ledger));
    ++running_;
    ++count_;
  }

  void finish() {
    while (running_ > 0) reap();
  }

  std::string cost() const {
    std::array<char, 200> text;
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin_;
    std::snprintf(text.data(), text.size(),
                  "%zu processes, %u at a time, in %.1f s; of each %.2f ms of processor time, and "
                  "at most %.1f MiB of memory",
                  count_, jobs_, passed.count(), 1000 * used_ / static_cast<double>(count_),
                  static_cast<double>(kibibytes_) / 1024);
    return text.data();
  }

 private:
  static int liveHere(const Habits& habits, std::size_t phone, bool isDisabled, Ledger& ledger) {
    try {
      live(habits, phone, isDisabled, ledger);
      return 0;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "korvani-fleet: phone %zu: %s\n", phone, error.what());
      return 1;
    }
  }

  void reap() {
    int status = 0;
    rusage usage{};
    if (::wait4(-1, &status, 0, &usage) < 0) {
      throw std::system_error(errno, std::generic_category(), "the process of a phone is lost");
    }
    --running_;
    if (status != 0) throw std::runtime_error("the process of a phone has failed");
    for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
      used_ += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    }
    kibibytes_ = std::max(kibibytes_, usage.ru_maxrss);
  }

  const unsigned jobs_;
  const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
  unsigned running_ = 0;
  std::size_t count_ = 0;
  double used_ = 0;
  long kibibytes_ = 0;
};

int run(const Habits& habits, unsigned jobs) {
  const auto seconds = static_cast<std::size_t>(habits.days * kDay / std::chrono::seconds(1));
  Ledgers ledgers{Ledger(seconds), Ledger(seconds), Ledger(seconds)};
  Processes processes(jobs);
  std::size_t disabled = 0;
  for (std::size_t phone = 0; phone < habits.phones; ++phone) {
    if (isDisabled(habits, phone)) {
      ++disabled;
      processes.start(habits, phone, true, ledgers.disabled);
      processes.start(habits, phone, false, ledgers.undisabled);
    } else {
      processes.start(habits, phone, false, ledgers.enabled);
    }
  }
  processes.finish();
  std::fputs(report(habits, disabled, ledgers).c_str(), stdout);
  if (std::fflush(stdout) != 0) throw std::runtime_error("the output cannot be written");
  std::fprintf(stderr, "%s\n", processes.cost().c_str());
  return 0;
}

void addOptions(CLI::App& app, Habits& habits, unsigned& jobs) {
  const auto add = [&](const char* name, auto& value, const char* unit, const char* says,
                       double least, double most) {
    const auto isWithin = [least, most](const std::string& text) -> std::string {
      double number = 0;
      if (CLI::detail::lexical_cast(text, number) && number >= least && number <= most) return {};
      std::ostringstream flaw;
      flaw << text << " is not a number from " << least << " to " << most;
      return flaw.str();
    };
    std::ostringstream text;
    text << says << " (default: " << value << ')';
    app.add_option(name, value, text.str())->check(isWithin)->option_text(unit);
  };
  add("--phones", habits.phones, "N", "how many phones", 1, 1e8);
  add("--days", habits.days, "N", "how many days", 1, 31);
  add("--seed", habits.seed, "N", "another one draws other days", 0, 1e15);
  add("--visits", habits.visits, "MEAN", "visits of a phone a day", 0, 100);
  add("--stay", habits.stay, "MINUTES", "mean length of a visit, 1 or more", 1, 1000);
  add("--beacons", habits.beacons, "MEAN", "beacons heard on a visit, 1 or more", 1, 100);
  add("--changes", habits.changes, "MEAN", "changes of a beacon's zone on a visit", 0, 1000);
  add("--spread", habits.spread, "MINUTES",
      "how far the starts of the hosts lie around 07:00, a standard deviation", 0, 300);
  add("--scenarios", habits.scenarios, "PERCENT", "of the reports get a scenario", 0, 100);
  add("--opened", habits.opened, "PERCENT", "of the notifications are opened", 0, 100);
  add("--disabled", habits.disabled, "PERCENT", "of the phones are in disabled mode", 0, 100);
  add("--train", habits.train, "N",
      "so many of the phones arrive at one place in the minute from 08:12", 0, 1e8);
  app.add_option("--jobs", jobs, "phones at a time (default: as many as there are processors)")
      ->check(CLI::Range(1, 1000))
      ->option_text("N");
  app.set_version_flag("--version", "korvani-fleet " KORVANI_VERSION_STRING);
  app.failure_message([](const CLI::App* self, const CLI::Error& error) {
    return self->get_name() + ": " + error.what() + '\n';
  });
}

int readArguments(int argc, char** argv) {
  CLI::App app(
      "Lives the days of many phones, each with Korvani on a simulated phone in a process of its "
      "own, and prints what they ask of the web service.",
      "korvani-fleet");
  Habits habits;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  addOptions(app, habits, jobs);
  try {
    app.parse(argc, argv);
    if (habits.train > habits.phones) {
      throw CLI::ValidationError(
          "--train", "there are no more than " + std::to_string(habits.phones) + " phones");
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kBadInput;
  }
  return run(habits, jobs);
}

}  // namespace
}  // namespace korvani::fleet

int main(int argc, char** argv) {
  try {
    return korvani::fleet::readArguments(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "korvani-fleet: %s\n", error.what());
    return 1;
  }
}
