// How long the application lives, as seen by threads that may outlive it: none of them touches Qt
// after it has gone, and none of them holds up its end.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace korvani::qt {

/// One for the process, like the application itself. Never destroyed: threads look at it to the
/// last.
class ApplicationLife {
 public:
  /// Holds off the end while it lives; false after the end, and then the caller leaves Qt alone.
  class Stay {
   public:
    explicit Stay(ApplicationLife& life) : life_(life), here_(life.enter()) {}
    ~Stay();
    Stay(const Stay&) = delete;
    Stay& operator=(const Stay&) = delete;
    explicit operator bool() const { return here_; }

   private:
    ApplicationLife& life_;
    const bool here_;
  };

  /// First called on the main thread while the QApplication exists, with which it ends.
  static ApplicationLife& ofProcess();

  /// Main thread. From now on it ends at `exit` too, before what has been made so far is taken
  /// down; so all that threads use of Qt has been touched by now. `farewell` is called once they
  /// have left, unless its owner has dropped it.
  void endAtExit(const void* owner, std::function<void()> farewell);
  void dropFarewell(const void* owner);
  bool hasEnded() const;
  /// After the end this does not return, but on the main thread.
  void haltIfEnded() const;

 private:
  ApplicationLife();
  bool enter();
  void leave();
  void end();

  const std::thread::id mainThread_ = std::this_thread::get_id();
  mutable std::mutex mutex_;
  std::condition_variable left_;
  int inside_ = 0;
  bool ended_ = false;
  std::vector<std::pair<const void*, std::function<void()>>> farewells_;
};

}  // namespace korvani::qt
