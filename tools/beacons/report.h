// A survey in words: a table for people, a line of JSON for machines.
#pragma once

#include <string>

#include "survey.h"

namespace korvani::beacons {

/// Several lines, each with its end:
///   00:07
///   C0FFEE5E-9A71-4D2B-B3F8-1E64A7D50392  inside
///     major  minor  RSSI                accuracy  proximity     age
///         1      1   -71 █████░░░░░░░      1.6 m  near        0.1 s
std::string table(const Snapshot& snapshot);

/// One line: {"at", "failure", "regions": [{"uuid", "state"}], "beacons": [{"uuid", "major",
/// "minor", "rssi", "accuracy", "proximity", "age"}]}. Seconds, dBm, metres; what is not known is
/// null.
std::string json(const Snapshot& snapshot);

}  // namespace korvani::beacons
