// The scheduler: who has the turn decides, under one mutex, who has it next. A worker goes on with
// the next job itself where it can, and a sleeper that is next to wake just goes on, so long runs
// on one side cost no switch of threads.
#include <korvani/simulator/scheduler.h>

#include <algorithm>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>

namespace korvani::simulator {

thread_local Scheduler::Context* Scheduler::current_ = nullptr;
thread_local std::string_view Scheduler::threadName_ = "main";

std::string_view Scheduler::currentThreadName() { return threadName_; }

milliseconds Scheduler::now() const {
  const std::lock_guard lock(mutex_);
  return now_;
}

void Scheduler::submit(std::shared_ptr<Lane> lane, milliseconds delay, platform::Job job) {
  const std::lock_guard lock(mutex_);
  if (stopped_) return;
  push(now_ + std::max(delay, milliseconds{0}), std::move(lane), std::move(job), nullptr);
}

void Scheduler::sleepFor(milliseconds duration) {
  if (!current_ || current_->scheduler != this) return;
  Lock lock(mutex_);
  push(now_ + std::max(duration, milliseconds{0}), nullptr, nullptr, current_);
  passTurn(lock, *current_);
}

void Scheduler::advanceTo(milliseconds moment) {
  std::vector<Entry> dropped;
  Lock lock(mutex_);
  if (running_) return;
  running_ = true;
  until_ = std::max(moment, now_);
  while (isDue()) {
    if (isForMain()) {
      run(lock, take());
    } else {
      passTurn(lock, main_);
    }
  }
  now_ = until_;
  running_ = false;
  dropped.swap(dropped_);
}

void Scheduler::stop() {
  std::vector<Entry> dropped;
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  dropped.swap(entries_);
  for (Context* worker : idle_) worker->changed.notify_one();
}

void Scheduler::push(milliseconds due, std::shared_ptr<Lane> lane, platform::Job job,
                     Context* sleeper) {
  entries_.push_back({due, nextOrder_++, std::move(lane), std::move(job), sleeper});
  std::push_heap(entries_.begin(), entries_.end(), std::greater<>());
}

/// The next entry; the clock moves to the moment at which it falls due.
Scheduler::Entry Scheduler::take() {
  std::pop_heap(entries_.begin(), entries_.end(), std::greater<>());
  Entry entry = std::move(entries_.back());
  entries_.pop_back();
  now_ = std::max(now_, entry.due);
  return entry;
}

bool Scheduler::isDue() const { return !entries_.empty() && entries_.front().due <= until_; }

bool Scheduler::isForMain() const { return entries_.front().lane == mainLane_; }

bool Scheduler::isForWorker() const { return isDue() && !entries_.front().sleeper && !isForMain(); }

void Scheduler::run(Lock& lock, Entry entry) {
  Lane& lane = *entry.lane;
  if (lane.serial && lane.busy) {
    lane.waiting.push_back(std::move(entry.job));
    return;
  }
  lane.busy = true;
  threadName_ = lane.threadName;
  lock.unlock();
  entry.job();
  entry.job = nullptr;
  lock.lock();
  threadName_ = "main";
  lane.busy = false;
  if (lane.waiting.empty()) return;
  push(now_, entry.lane, std::move(lane.waiting.front()), nullptr);
  lane.waiting.pop_front();
}

/// Whose turn is next. A sleeper's entry is taken on the way: it has only to wake. A job for which
/// no thread can be made is dropped.
Scheduler::Context* Scheduler::chooseNext() {
  while (isDue() && !isForMain()) {
    if (entries_.front().sleeper) return take().sleeper;
    if (Context* worker = freeWorker()) return worker;
    dropped_.push_back(take());
  }
  return &main_;
}

Scheduler::Context* Scheduler::freeWorker() {
  if (!idle_.empty()) {
    Context* worker = idle_.back();
    idle_.pop_back();
    return worker;
  }
  try {
    auto worker = std::make_unique<Context>();
    worker->scheduler = this;
    Context* const context = worker.get();
    std::thread([scheduler = shared_from_this(), worker = std::move(worker)] {
      scheduler->work(*worker);
    }).detach();
    return context;
  } catch (const std::system_error&) {
    return nullptr;
  }
}

/// Hands the turn on; returns when it has come back, at once when this thread is next itself.
void Scheduler::passTurn(Lock& lock, Context& self) {
  turn_ = chooseNext();
  if (turn_ == &self) return;
  turn_->changed.notify_one();
  self.changed.wait(lock, [&] { return turn_ == &self; });
}

/// A worker's life: all jobs that come one after another, then idle until the next turn.
void Scheduler::work(Context& self) {
  current_ = &self;
  Lock lock(mutex_);
  self.changed.wait(lock, [&] { return turn_ == &self; });
  while (true) {
    while (isForWorker()) run(lock, take());
    turn_ = chooseNext();
    turn_->changed.notify_one();
    idle_.push_back(&self);
    self.changed.wait(lock, [&] { return turn_ == &self || stopped_; });
    if (stopped_) return;
  }
}

}  // namespace korvani::simulator
