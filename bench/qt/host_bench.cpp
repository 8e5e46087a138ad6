// What the kit costs a host: start time, memory and mapped libraries of a bare one beside the same
// with libcurl alone and with the kit, in runs that take turns; and what of it is left beside a
// second host with the kit, as PSS depends on who else has the same files in memory.
#include <bench/figure.h>
#include <time.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "../../tests/qt/private_bus.h"

namespace {

namespace bench = korvani::bench;

constexpr int kRuns = 40;
/// Memory varies less than time.
constexpr int kRunsBeside = 20;
/// What a host is promised.
constexpr double kMostMilliseconds = 10;
constexpr double kMostMebibytes = 8;

/// What a host prints of itself.
enum Quantity : std::size_t { kStart, kWork, kPss, kDirty, kRss, kLibraries, kQuantities };
constexpr std::array<const char*, kQuantities> kNames{"start, ms",  "of it work", "PSS, MiB",
                                                      "dirty, MiB", "RSS, MiB",   "libraries"};
using Sample = std::array<double, kQuantities>;

/// The lower quartile: what else the machine does meanwhile only ever adds. To PSS it never does,
/// as whoever else has the same files in memory takes a share: the most counts.
double typical(std::vector<double> values, std::size_t quantity) {
  std::sort(values.begin(), values.end());
  return quantity == kPss ? values.back() : values[values.size() / 4];
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

enum Host : std::size_t { kBare, kWithLibcurl, kWithKit, kHosts };
constexpr std::array<const char*, kHosts> kPrograms{BARE_HOST, LIBCURL_HOST, KIT_HOST};
/// Of each host one sample of all quantities.
using Samples = std::array<Sample, kHosts>;

/// What is typical of so many runs of each host in turn.
Samples measureInTurns(int runs) {
  std::array<std::array<std::vector<double>, kQuantities>, kHosts> results;
  for (int run = -1; run < runs; ++run) {  // one before, to fill the caches
    for (std::size_t host = 0; host < kHosts; ++host) {
      Sample sample{};
      if (!measure(kPrograms[host], sample)) {
        throw std::runtime_error(std::string("does not run: ") + kPrograms[host]);
      }
      if (run < 0) continue;
      for (std::size_t i = 0; i < kQuantities; ++i) results[host][i].push_back(sample[i]);
    }
  }
  Samples samples{};
  for (std::size_t host = 0; host < kHosts; ++host) {
    for (std::size_t i = 0; i < kQuantities; ++i) samples[host][i] = typical(results[host][i], i);
  }
  return samples;
}

/// The same while another host with the kit runs.
Samples measureBesideAnother(int runs) {
  QProcess other;
  other.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  other.start(QString::fromLocal8Bit(KIT_HOST), {QString::fromLatin1(now()), "stay"});
  if (!other.waitForReadyRead(-1)) throw std::runtime_error("no second host");
  const Samples samples = measureInTurns(runs);
  if (other.waitForFinished(0)) throw std::runtime_error("the second host has ended");
  other.closeWriteChannel();
  other.waitForFinished(-1);
  return samples;
}

void printMemory(const std::string& what, const Samples& samples) {
  const double ofKit = samples[kWithKit][kPss] - samples[kBare][kPss];
  const double ofLibcurl = samples[kWithLibcurl][kPss] - samples[kBare][kPss];
  bench::print({what, bench::text(ofKit, "MiB"), "libcurl alone: " + bench::text(ofLibcurl, "MiB"),
                bench::text(ofKit / ofLibcurl, "", 2),
                "under " + bench::text(kMostMebibytes, "MiB", 0), ofKit < kMostMebibytes});
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

  const Samples alone = measureInTurns(kRuns);
  const Samples beside = measureBesideAnother(kRunsBeside);
  const auto more = [&](Quantity what) { return alone[kWithKit][what] - alone[kBare][what]; };
  std::printf(
      "%d runs of each in turn, lower quartiles, and the most of PSS\n\n%-12s%10s%14s%10s%12s\n",
      kRuns, "", "bare", "with libcurl", "with kit", "difference");
  for (std::size_t i = 0; i < kQuantities; ++i) {
    std::printf("%-12s%10.1f%14.1f%10.1f%+12.1f\n", kNames[i], alone[kBare][i],
                alone[kWithLibcurl][i], alone[kWithKit][i], alone[kWithKit][i] - alone[kBare][i]);
  }
  std::printf("\n");
  bench::printUnder("start of a host, more with the kit", more(kStart), kMostMilliseconds, "ms");
  bench::printUnder("memory of a host that it shares with none, more with the kit", more(kDirty),
                    kMostMebibytes, "MiB");
  printMemory("memory of a host (PSS), more with the kit: alone", alone);
  printMemory("the same beside a second host with the kit", beside);
  return 0;
}
