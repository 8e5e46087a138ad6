// Queues, clock, log and store on the real event loop and real threads, to the end of the process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/clock.h>
#include <korvani/qt/log.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/user_defaults.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <QApplication>
#include <QTemporaryDir>
#include <atomic>
#include <cstdlib>
#include <latch>
#include <memory>
#include <vector>

#include "log_lines.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

class QueuesTest : public testing::Test {
 protected:
  ApplicationLife& life_ = ApplicationLife::ofProcess();
  Queues queues_{life_};
};

TEST_F(QueuesTest, MainJobsRunInOrderOnTheMainThreadAlsoInsideANestedLoop) {
  std::vector<int> order;
  const auto note = [&order, main = std::this_thread::get_id()](int number) {
    return [&order, number, main] {
      EXPECT_EQ(std::this_thread::get_id(), main);
      order.push_back(number);
    };
  };
  auto& queue = queues_.mainQueue();
  std::thread([&] {
    queue.async([&] {
      order.push_back(1);
      runUntil([&] { return order.size() == 3; });
    });
    queue.async(note(2));
    queue.async([&, third = note(3)] {
      third();
      queue.async(note(4));
    });
  }).join();
  EXPECT_TRUE(order.empty());
  runUntil([&] { return order.size() == 4; });
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
}

TEST_F(QueuesTest, ADelayedJobIsNeverEarly) {
  const auto now = [] { return std::chrono::steady_clock::now(); };
  int done = 0;
  std::thread([&] {
    for (const int delay : {30, 0, 10, -5}) {
      const auto due = now() + milliseconds(delay);
      queues_.mainQueueAfter(milliseconds(delay), [&, due] {
        EXPECT_GE(now(), due);
        ++done;
      });
    }
    queues_.mainQueueAfter(milliseconds::max(), [] { FAIL() << "not in our time"; });
  }).join();
  runUntil([&] { return done == 4; });
}

TEST_F(QueuesTest, JobsThatWaitHoldUpNoOtherAndTakeNoSignals) {
  constexpr int kJobs = 40;
  // A thread may still look at it when all have arrived.
  const auto all = std::make_shared<std::latch>(kJobs + 1);
  for (int i = 0; i < kJobs; ++i) {
    queues_.globalQueue(platform::QueuePriority::kDefault).async([all] {
      sigset_t mask;
      ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
      for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD}) {
        EXPECT_EQ(::sigismember(&mask, signal), 1);
      }
      all->arrive_and_wait();
    });
  }
  all->arrive_and_wait();
  sigset_t mask;
  ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  EXPECT_EQ(::sigismember(&mask, SIGINT), 0);
}

TEST_F(QueuesTest, AnOperationQueueRunsOneByOneThoughItIsLetGo) {
  constexpr int kJobs = 200;
  std::vector<int> order;  // No lock: one after another is enough.
  Box<bool> done;
  auto queue = queues_.newOperationQueue();
  for (int i = 0; i < kJobs; ++i) queue->async([&, i] { order.push_back(i); });
  queue->async([&] { done.put(true); });
  queue.reset();
  done.take();
  ASSERT_EQ(order.size(), std::size_t{kJobs});
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));

  // A queue that blocks does not hold up another.
  Box<bool> free;
  const auto blocked = queues_.newOperationQueue();
  blocked->async([&] { free.take(); });
  blocked->async([&] { done.put(true); });
  queues_.newOperationQueue()->async([&] { free.put(true); });
  done.take();
}

TEST_F(QueuesTest, SurvivesThatNoThreadCanBeMade) {
  pthread_attr_t attributes;
  pthread_attr_t usual;
  ::pthread_attr_init(&attributes);
  ::pthread_getattr_default_np(&usual);
  // More than the address space.
  ::pthread_attr_setstacksize(&attributes, std::size_t{1} << 60U);
  ASSERT_EQ(::pthread_setattr_default_np(&attributes), 0);
  const auto mark = std::make_shared<int>();
  const auto queue = queues_.newOperationQueue();
  queue->async([mark] { FAIL(); });
  queues_.globalQueue(platform::QueuePriority::kHigh).async([mark] { FAIL(); });
  EXPECT_EQ(mark.use_count(), 1);  // Dropped and destroyed.

  ASSERT_EQ(::pthread_setattr_default_np(&usual), 0);
  Box<bool> done;
  queue->async([&] { done.put(true); });
  done.take();
}

/// Everything that keeps threads busy when a host quits.
void keepBusy() {
  static QTemporaryDir folder;
  auto& life = ApplicationLife::ofProcess();
  auto* queues = new Queues(life);
  auto* clock = new Clock(life);
  auto* log = new Log(life);
  auto* json = new codec::JSON;
  auto* store = new UserDefaults(life, *queues, *json, folder.filePath(QStringLiteral("s.ini")));
  life.endAtExit(store, [store] { store->flush(); });
  auto& global = queues->globalQueue(platform::QueuePriority::kDefault);
  static std::atomic<int> rounds = 0;
  global.async([clock] { clock->sleepFor(std::chrono::hours(1'000'000)); });
  for (int i = 0; i < 4; ++i) {
    global.async([=, &global, text = platform::Value(std::to_string(i))] {
      while (true) {
        log->write("round");
        store->setObject(text, "key");
        store->synchronize();
        queues->mainQueue().async([] {});
        global.async([] {});
        clock->sleepFor(milliseconds(i));
        ++rounds;
      }
    });
  }
  runUntil([] { return rounds > 20; });
}

[[noreturn]] void end(bool applicationGoes) {
  keepBusy();
  if (applicationGoes) delete qApp;
  std::exit(0);
}

TEST(End, IsQuietWhetherTheApplicationGoesOrTheHostExits) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(end(true), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(end(false), testing::ExitedWithCode(0), "");
}

void endOfTwo() {
  static std::string said;
  auto& life = ApplicationLife::ofProcess();
  const int first = 1;
  const int second = 2;
  life.endAtExit(&first, [] { said += "first"; });
  life.endAtExit(&second, [] { said += "second"; });
  life.dropFarewell(&second);
  delete qApp;
  ::_exit(said == "first" ? 0 : 1);
}

TEST(End, TakesNoOthersFarewell) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(endOfTwo(), testing::ExitedWithCode(0), "");
}

TEST(LogTest, CutsLongLinesBetweenCharacters) {
  const LogLines logged("korvani");
  Log log(ApplicationLife::ofProcess());
  std::string accents;
  for (int i = 0; i < 5000; ++i) accents += "\u00e9";
  log.write("100 %s");
  log.write(accents);
  log.write(accents.substr(0, 2 * 4096));
  const std::string longest = accents.substr(0, 2 * 4096);
  EXPECT_THAT(logged.lines(), ElementsAre("100 %s", longest, longest));
}

}  // namespace
}  // namespace korvani::qt
