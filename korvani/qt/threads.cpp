// Threads that start when there is no idle one, and end when they have been idle for a while.
#include <korvani/qt/log.h>
#include <korvani/qt/threads.h>
#include <signal.h>

#include <chrono>
#include <new>
#include <system_error>

namespace korvani::qt {

namespace {

constexpr std::chrono::seconds kIdleTime{10};

}  // namespace

std::optional<std::thread> startThread(std::function<void()> body) {
  sigset_t all;
  sigset_t before;
  ::sigfillset(&all);
  // A new thread inherits the mask of the one that makes it.
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  std::optional<std::thread> thread;
  try {
    thread.emplace(std::move(body));
  } catch (const std::system_error&) {
  } catch (const std::bad_alloc&) {
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

bool ThreadPool::run(platform::Job job) {
  if (life_.hasEnded()) return false;
  std::unique_lock lock(mutex_);
  if (jobs_.size() < idle_) {
    jobs_.push_back(std::move(job));
    lock.unlock();
    // Under the mutex the thread would wake up to wait for it.
    jobArrived_.notify_one();
    return true;
  }
  lock.unlock();
  auto thread = startThread(
      [self = shared_from_this(), job = std::move(job)]() mutable { self->work(std::move(job)); });
  if (thread) {
    thread->detach();
  } else if (const ApplicationLife::Stay stay(life_); stay) {
    qCWarning(phoneLog, "no thread for a job: it is dropped");
  }
  return thread.has_value();
}

void ThreadPool::work(platform::Job job) {
  while (job) {
    life_.haltIfEnded();
    job();
    job = nullptr;
    job = nextJob();
  }
}

platform::Job ThreadPool::nextJob() {
  std::unique_lock lock(mutex_);
  ++idle_;
  const bool arrived = jobArrived_.wait_for(lock, kIdleTime, [this] { return !jobs_.empty(); });
  --idle_;
  if (!arrived) return nullptr;
  platform::Job job = std::move(jobs_.front());
  jobs_.pop_front();
  return job;
}

}  // namespace korvani::qt
