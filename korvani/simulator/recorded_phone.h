// Records what happens on any phone as a script: a bug report that korvani-replay plays again.
//
//   platform::Platform::install(simulator::recordedPhone(phone, "visit.jsonl"));
#pragma once

#include <korvani/platform/platform.h>

#include <memory>
#include <string>

namespace korvani::simulator {

struct RecordingOptions {
  /// The API key and the user identifier stand in the file; else "key" and "user" do.
  bool withIdentity = false;
};

/// Main thread. A phone that passes everything on to the given one, and writes the calls of the
/// host, what the location service told, the touches, and how the phone and the service answered.
/// Install it before the start call; both phones live until the process ends, as ever. The file is
/// complete at any time; a download goes to a file of its own beside it, so play both in their
/// folder. Where the file cannot be written that is said once in the log, and the phone works on.
/// docs/replay.md tells what is not recorded.
KORVANI_EXPORT std::shared_ptr<platform::Platform> recordedPhone(
    std::shared_ptr<platform::Platform> phone, const std::string& file,
    RecordingOptions options = {});

}  // namespace korvani::simulator
