// What the kit costs a host: start time, memory and mapped libraries of a bare one beside the same
// with libcurl alone and with the kit, in runs that take turns.
#include <bench/figure.h>
#include <time.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

#include "../../tests/qt/private_bus.h"

namespace {

constexpr int kRuns = 40;
/// What a host is promised.
constexpr double kMostMilliseconds = 10;
constexpr double kMostMebibytes = 8;

/// What a host prints of itself.
enum Quantity : std::size_t { kStart, kWork, kPss, kDirty, kRss, kLibraries, kQuantities };
constexpr std::array<const char*, kQuantities> kNames{"start, ms",  "of it work", "PSS, MiB",
                                                      "dirty, MiB", "RSS, MiB",   "libraries"};
using Sample = std::array<double, kQuantities>;

/// The lower quartile: what else the machine does meanwhile only ever adds.
double typical(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 4];
}

QByteArray now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return QByteArray::number(
      static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6, 'f', 3);
}

/// Nothing when the host could not be run.
bool measure(const char* host, Sample& sample) {
  QProcess process;
  process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process.start(QString::fromLocal8Bit(host), {QString::fromLatin1(now())});
  if (!process.waitForFinished(-1)) return false;
  const auto numbers = process.readAllStandardOutput().simplified().split(' ');
  if (numbers.size() != static_cast<qsizetype>(sample.size())) return false;
  for (std::size_t i = 0; i < sample.size(); ++i) {
    sample[i] = numbers[static_cast<qsizetype>(i)].toDouble();
  }
  for (const Quantity kibibytes : {kPss, kDirty, kRss}) sample[kibibytes] /= 1024;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  qputenv("no_proxy", "*");
  const QTemporaryDir home;  // no settings, so that the kit asks the service as on a first start
  qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
  const QCoreApplication application(argc, argv);
  const korvani::qt::PrivateBus bus;
  namespace bench = korvani::bench;

  enum Host : std::size_t { kBare, kWithLibcurl, kWithKit, kHosts };
  constexpr std::array<const char*, kHosts> kPrograms{BARE_HOST, LIBCURL_HOST, KIT_HOST};
  std::array<std::array<std::vector<double>, kQuantities>, kHosts> results;
  for (int run = -1; run < kRuns; ++run) {  // one before, to fill the caches
    for (std::size_t host = 0; host < kHosts; ++host) {
      Sample sample{};
      if (!measure(kPrograms[host], sample)) {
        std::fprintf(stderr, "host_bench: %s does not run\n", kPrograms[host]);
        return 2;
      }
      if (run < 0) continue;
      for (std::size_t i = 0; i < kQuantities; ++i) results[host][i].push_back(sample[i]);
    }
  }

  std::printf("%d runs of each in turn, lower quartiles\n\n%-12s%10s%14s%10s%12s\n", kRuns, "",
              "bare", "with libcurl", "with kit", "difference");
  /// What a host with libcurl, with the kit, has more than the bare one.
  std::array<Sample, kHosts> more{};
  for (std::size_t i = 0; i < kQuantities; ++i) {
    const double bare = typical(results[kBare][i]);
    for (const Host host : {kWithLibcurl, kWithKit})
      more[host][i] = typical(results[host][i]) - bare;
    std::printf("%-12s%10.1f%14.1f%10.1f%+12.1f\n", kNames[i], bare, bare + more[kWithLibcurl][i],
                bare + more[kWithKit][i], more[kWithKit][i]);
  }
  std::printf("\n");
  bench::printUnder("start of a host, more with the kit", more[kWithKit][kStart], kMostMilliseconds,
                    "ms");
  bench::printUnder("memory of a host that it shares with none, more with the kit",
                    more[kWithKit][kDirty], kMostMebibytes, "MiB");
  bench::print(
      {"memory of a host (PSS), more with the kit", bench::text(more[kWithKit][kPss], "MiB"),
       "libcurl alone: " + bench::text(more[kWithLibcurl][kPss], "MiB"),
       bench::text(more[kWithKit][kPss] / more[kWithLibcurl][kPss], "", 2),
       "under " + bench::text(kMostMebibytes, "MiB", 0), more[kWithKit][kPss] < kMostMebibytes});
  return 0;
}
