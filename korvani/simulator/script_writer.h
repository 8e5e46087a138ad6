// Writes a script as things happen. How the phone is, and what it answers, stands before the line
// that made the kit ask, though it is known only later: the end of the file is written again then.
#pragma once

#include <korvani/platform/clock.h>
#include <korvani/platform/queues.h>
#include <korvani/platform/url_connection.h>
#include <korvani/platform/value.h>

#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace korvani::simulator {

/// How long a script is played on after its last line.
constexpr std::chrono::seconds kTimeAfterLastLine{2};

/// Any thread. What goes wrong with the file is said once.
class ScriptWriter {
 public:
  using Say = std::function<void(std::string_view)>;

  ScriptWriter(const platform::Clock& clock, std::string file, Say say);
  ~ScriptWriter();
  ScriptWriter(const ScriptWriter&) = delete;
  ScriptWriter& operator=(const ScriptWriter&) = delete;

  /// A call or an event, now.
  void write(platform::Value::Dictionary line);
  /// This is how the phone is, which the kit has just asked.
  void note(std::string_view key, const platform::Value& value);
  /// The same of a value in the store.
  void noteStored(std::string_view key, const platform::Value& value);
  /// The kit has put a value into the store, so nobody need tell.
  void setStored(std::string_view key, const platform::Value& value);
  void noteOpening(const std::string& uri, bool opened);
  void noteUuid(const platform::Value& uuid);

  /// A request is made; what is returned takes its answer.
  std::function<void(const platform::URLResponse&)> request(std::string_view url);
  /// A job that belongs to the last line, and may begin after further ones.
  platform::Job work(platform::Job job);
  /// A download is made; what is returned takes its bytes, if it succeeds.
  std::function<void(const std::optional<std::string>& bytes)> download(const std::string& url);

 private:
  using Dictionary = platform::Value::Dictionary;
  using Milliseconds = std::chrono::milliseconds;

  /// A line, and the line that sets the phone up for it.
  struct Group {
    Milliseconds at{};
    Dictionary line;
    Dictionary phone;
    Dictionary stored;
    Dictionary files;
    /// By endpoint; null until the answer is there.
    std::map<std::string, platform::Value::Array> answers;
    int missing = 0;
  };

  std::string copyOf(const std::string& bytes);
  Milliseconds now();
  Group& begin(Dictionary line);
  /// The last group, or a new one if that holds another value already.
  Group& groupFor(Dictionary Group::*part, std::string_view key);
  static std::string text(const Group& group);
  void noteTime();
  void save();

  const platform::Clock& clock_;
  const std::string file_;
  const Say say_;
  std::mutex mutex_;
  std::FILE* output_ = nullptr;
  /// Where what may still change begins, and where the file ends.
  std::size_t settled_ = 0;
  std::size_t end_ = 0;
  const platform::Date start_;
  Milliseconds last_{};
  std::deque<std::shared_ptr<Group>> groups_;
  Dictionary known_;
  Dictionary stored_;
  std::vector<std::string> openable_;
  /// To which line the job belongs that a thread is at.
  std::map<std::thread::id, std::shared_ptr<Group>> working_;
  int downloads_ = 0;
  std::set<std::string> downloaded_;
};

}  // namespace korvani::simulator
