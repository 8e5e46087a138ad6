// Time and order on the simulated phone: jobs, sleepers, and what becomes of them at the end.
#include <gtest/gtest.h>
#include <korvani/simulator/simulated_phone.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace korvani::simulator {
namespace {

using namespace std::chrono_literals;
using platform::QueuePriority;

class Time : public testing::Test {
 protected:
  void say(const std::string& line) { phone_.log().write(line); }
  platform::Job saying(const std::string& line) {
    return [this, line] { say(line); };
  }
  void sleep(std::chrono::milliseconds duration) { phone_.clock().sleepFor(duration); }
  platform::Queue& main() { return phone_.queues().mainQueue(); }
  platform::Queue& global() { return phone_.queues().globalQueue(QueuePriority::kDefault); }

  /// All lines said so far, as "milliseconds thread line", and forgets them.
  std::vector<std::string> said() {
    std::vector<std::string> lines;
    for (const Effect& effect : phone_.takeEffects()) {
      if (effect.kind != "log") continue;
      lines.push_back(std::to_string(effect.at.count()) + " " + std::string(effect.thread) + " " +
                      *effect.content.text());
    }
    return lines;
  }

  SimulatedPhone phone_;
};

using Lines = std::vector<std::string>;

TEST_F(Time, WithinAMomentJobsRunInOrderOfSubmissionWhateverTheirQueue) {
  const auto request = phone_.queues().newOperationQueue();
  global().async([&] {
    say("a");
    main().async(saying("e"));
    request->async(saying("f"));
  });
  main().async([&] {
    say("b");
    global().async(saying("g"));
  });
  request->async(saying("c"));
  phone_.queues().globalQueue(QueuePriority::kHigh).async(saying("d"));
  say("the line's own work");
  EXPECT_EQ(said(), Lines{"0 main the line's own work"});

  phone_.advance(0ms);
  EXPECT_EQ(said(), (Lines{"0 global a", "0 main b", "0 request c", "0 global d", "0 main e",
                           "0 request f", "0 global g"}));
}

TEST_F(Time, ThingsFallDueInOrderOfTimeAndTheEndOfAnAdvanceIsIncluded) {
  auto& queues = phone_.queues();
  queues.mainQueueAfter(2s, saying("two"));
  queues.mainQueueAfter(1s, [&] {
    say("one");
    main().async(saying("one, later"));
    queues.mainQueueAfter(1s, saying("two again"));
    queues.mainQueueAfter(-5s, saying("no time travel"));
  });
  queues.mainQueueAfter(2001ms, saying("too late"));

  phone_.advance(2s);
  EXPECT_EQ(said(), (Lines{"1000 main one", "1000 main one, later", "1000 main no time travel",
                           "2000 main two", "2000 main two again"}));
  EXPECT_EQ(phone_.elapsed(), 2s);
  EXPECT_EQ(phone_.clock().now(), SimulatedPhone::kDefaultStart + 2s);
  phone_.advance(1ms);
  EXPECT_EQ(said(), Lines{"2001 main too late"});
}

TEST_F(Time, ASleepingJobHoldsUpNothingButItsOwnSerialQueue) {
  const auto serial = phone_.queues().newOperationQueue();
  serial->async([&] {
    say("asleep");
    sleep(10ms);
    say("awake");
  });
  serial->async(saying("second"));
  serial->async(saying("third"));
  global().async([&] {
    sleep(10ms);
    say("side by side");
  });
  global().async(saying("at once"));
  main().async(saying("too"));

  phone_.advance(5ms);
  EXPECT_EQ(said(), (Lines{"0 request asleep", "0 global at once", "0 main too"}));
  phone_.advance(5ms);
  EXPECT_EQ(said(), (Lines{"10 request awake", "10 global side by side", "10 request second",
                           "10 request third"}));
}

TEST_F(Time, ManySleepersAndJobsRunTheSameWayEachTime) {
  const auto run = [] {
    SimulatedPhone phone;
    auto& queues = phone.queues();
    std::string order;
    for (int i = 0; i < 40; ++i) {
      queues.globalQueue(QueuePriority::kDefault).async([&, i] {
        for (int turn = 0; turn < 20; ++turn) {
          // No lock: only one thread runs at a time, and ThreadSanitizer watches.
          order += static_cast<char>('A' + i);
          if (turn % 3 == 0) queues.mainQueue().async([&] { order += '.'; });
          if (turn % 5 == 0) queues.newOperationQueue()->async([&] { order += ','; });
          phone.clock().sleepFor(std::chrono::milliseconds{1 + (i * 7 + turn) % 11});
        }
      });
    }
    phone.advance(1s);
    return order;
  };
  const std::string first = run();
  EXPECT_EQ(first.size(), 40U * (20 + 7 + 4));
  EXPECT_EQ(run(), first);
}

TEST_F(Time, AnswersComeInTheOrderOfTheirDelaysAndTheLastForEver) {
  auto& answers = phone_.settings().answers["scenario"];
  answers = {Answer::text("late"), Answer::failure("no network"), Answer::text("again")};
  answers[0].after = 2s;
  for (int i = 0; i < 4; ++i) {
    phone_.urlConnection().sendAsynchronousRequest(
        {"http://h/scenario", "POST", {}, ""}, phone_.queues().newOperationQueue(),
        [this](const auto& response) { say(response.error.value_or(response.data)); });
  }
  phone_.advance(2s);
  EXPECT_EQ(said(), (Lines{"100 request no network", "100 request again", "100 request again",
                           "2000 request late"}));
}

TEST_F(Time, TheMainThreadNeitherSleepsNorAdvancesFromInsideAJob) {
  main().async([&] {
    sleep(1h);
    phone_.advance(1h);
    say("still now");
  });
  sleep(1h);
  phone_.advance(1s);
  EXPECT_EQ(said(), Lines{"0 main still now"});
  EXPECT_EQ(phone_.elapsed(), 1s);
}

TEST(TimeEnds, WaitingJobsAreDroppedWithThePhoneAndSleepersStayAsleep) {
  const auto held = std::make_shared<int>(0);
  bool woke = false;
  std::shared_ptr<platform::Queue> queue;
  {
    SimulatedPhone phone;
    queue = phone.queues().newOperationQueue();
    phone.queues().mainQueueAfter(1h, [held] {});
    queue->async([held] {});
    phone.queues().globalQueue(QueuePriority::kDefault).async([&] {
      phone.clock().sleepFor(1s);
      woke = true;
    });
    phone.advance(0ms);
    queue->async([held] {});
    EXPECT_EQ(held.use_count(), 3);
  }
  queue->async([held] {});
  EXPECT_EQ(held.use_count(), 1) << "a job outlived the phone";
  EXPECT_FALSE(woke);
}

}  // namespace
}  // namespace korvani::simulator
