// Jobs on Qt's main loop, on threads, and one after another.
#include <korvani/qt/queues.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <QTimer>
#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

namespace korvani::qt {

namespace {

/// Each operation queue is at most one job of the pool, which runs what has gathered.
class OperationQueue final : public platform::Queue,
                             public std::enable_shared_from_this<OperationQueue> {
 public:
  explicit OperationQueue(std::shared_ptr<ThreadPool> threads) : threads_(std::move(threads)) {}

  void async(platform::Job job) override {
    {
      const std::lock_guard lock(mutex_);
      jobs_.push_back(std::move(job));
      if (std::exchange(running_, true)) return;
    }
    if (isStarted()) return;
    std::deque<platform::Job> dropped;
    const std::lock_guard lock(mutex_);
    jobs_.swap(dropped);
    running_ = false;
  }

 private:
  bool isStarted() {
    try {
      return threads_->run([self = shared_from_this()] { self->runAll(); });
    } catch (const std::bad_alloc&) {
      return false;
    }
  }
  void runAll() {
    while (platform::Job job = nextJob()) job();
  }

  platform::Job nextJob() {
    const std::lock_guard lock(mutex_);
    running_ = !jobs_.empty();
    if (!running_) return nullptr;
    platform::Job job = std::move(jobs_.front());
    jobs_.pop_front();
    return job;
  }

  const std::shared_ptr<ThreadPool> threads_;
  std::mutex mutex_;
  std::deque<platform::Job> jobs_;
  bool running_ = false;
};

}  // namespace

MainQueue::MainQueue()
    : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), notifier_(wakeUp_, QSocketNotifier::Read) {
  QObject::connect(&notifier_, &QSocketNotifier::activated, &notifier_, [this] { runOne(); });
}

MainQueue::~MainQueue() {
  notifier_.setEnabled(false);
  ::close(wakeUp_);
}

void MainQueue::async(platform::Job job) {
  const std::lock_guard lock(mutex_);
  jobs_.push_back(std::move(job));
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wakeUp_, &one, sizeof one);
}

void MainQueue::runOne() {
  platform::Job job;
  {
    const std::lock_guard lock(mutex_);
    if (!jobs_.empty()) {
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    // While jobs are left the descriptor stays readable and wakes the next turn.
    std::uint64_t count = 0;
    if (jobs_.empty()) [[maybe_unused]]
      const auto got = ::read(wakeUp_, &count, sizeof count);
  }
  if (job) job();
}

Queues::Queues(ApplicationLife& life)
    : threads_(std::make_shared<ThreadPool>(life)), globalQueue_(*threads_) {}

void Queues::mainQueueAfter(std::chrono::milliseconds delay, platform::Job job) {
  // A longer one would leave the range of the clock.
  constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
  const Moment moment = std::chrono::steady_clock::now() + std::min(delay, kLongest);
  mainQueue_.async([this, moment, job = std::move(job)] { runAt(moment, job); });
}

void Queues::runAt(Moment moment, platform::Job job) {
  // Qt's timers count 32-bit milliseconds.
  constexpr std::chrono::milliseconds kLongestTimer = std::chrono::hours(24);
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(moment - std::chrono::steady_clock::now());
  if (left.count() <= 0) return job();
  QTimer::singleShot(std::min(left, kLongestTimer), Qt::PreciseTimer, &timers_,
                     [this, moment, job = std::move(job)] { runAt(moment, job); });
}

std::shared_ptr<platform::Queue> Queues::newOperationQueue() {
  return std::make_shared<OperationQueue>(threads_);
}

}  // namespace korvani::qt
