// The thread that drives all transfers, and the two ways to ask it for one.
#include <fcntl.h>
#include <korvani/qt/threads.h>
#include <korvani/qt/url_connection.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <new>
#include <system_error>

namespace korvani::qt {

namespace {

constexpr std::size_t kLongestAnswer = std::size_t{16} << 20U;
constexpr std::size_t kLongestDownload = std::size_t{64} << 20U;
// It is woken for each request, and libcurl knows when one is late: no need to wake up before.
constexpr int kPollMilliseconds = std::numeric_limits<int>::max();

/// Where a caller waits for its download.
class Awaited {
 public:
  void arrive(platform::URLResponse response) {
    const std::lock_guard lock(mutex_);
    response_ = std::move(response);
    arrived_.notify_one();
  }
  platform::URLResponse wait() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return response_.has_value(); });
    return *std::move(response_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::optional<platform::URLResponse> response_;
};

/// The sockets between threads that the host's children would inherit.
std::set<int> inheritedPairs() {
  std::set<int> found;
  std::error_code failed;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", failed)) {
    const int descriptor = std::atoi(entry.path().filename().c_str());
    int domain = 0;
    socklen_t size = sizeof domain;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX &&
        ::fcntl(descriptor, F_GETFD) == 0) {
      found.insert(descriptor);
    }
  }
  if (failed == std::errc::not_enough_memory) throw std::bad_alloc();
  return found;
}

/// What libcurl wakes its threads by is open to children, unlike the sockets that we make for it.
void closeToChildrenButFor(const std::set<int>& before) {
  for (const int descriptor : inheritedPairs()) {
    if (!before.contains(descriptor)) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  }
}

CURLM* newMulti() {
  const std::set<int> before = inheritedPairs();
  const auto cleanUp = libCurl().multi_cleanup;
  std::unique_ptr<CURLM, decltype(cleanUp)> multi(libCurl().multi_init(), cleanUp);
  if (multi == nullptr) throw std::bad_alloc();
  closeToChildrenButFor(before);
  return multi.release();
}

}  // namespace

URLConnection::~URLConnection() {
  stop();
  if (wakeUp_ >= 0) ::close(wakeUp_);
  if (multi_ == nullptr) return;
  for (const auto& exchange : underWay_) {
    libCurl().multi_remove_handle(multi_, exchange->handle());
  }
  underWay_.clear();
  spareHandle_.reset();
  libCurl().multi_cleanup(multi_);
  libCurl().slist_free_all(mapping_);
}

void URLConnection::sendAsynchronousRequest(platform::URLRequest request,
                                            std::shared_ptr<platform::Queue> queue,
                                            CompletionHandler completionHandler) {
  struct Completion {
    CompletionHandler handler;
    platform::URLResponse response;
  };
  const auto completion =
      std::make_shared<Completion>(Completion{std::move(completionHandler), {}});
  // Made now, when one that cannot be made is the caller's to know.
  platform::Job job = [completion] { completion->handler(completion->response); };
  submit(std::make_unique<HttpExchange>(
      std::move(request), kLongestAnswer,
      [queue = std::move(queue), completion,
       job = std::move(job)](platform::URLResponse response) mutable {
        completion->response = std::move(response);
        try {
          queue->async(std::move(job));
        } catch (const std::bad_alloc&) {
          // Dropped, like a job that finds no thread.
        }
      }));
}

std::optional<std::string> URLConnection::dataWithContentsOfURL(const platform::URL& url) {
  const auto awaited = std::make_shared<Awaited>();
  submit(std::make_unique<HttpExchange>(
      platform::URLRequest{url.absoluteString(), "GET", {}, std::nullopt}, kLongestDownload,
      [awaited](platform::URLResponse response) { awaited->arrive(std::move(response)); }));
  platform::URLResponse response = awaited->wait();
  // The page that a server shows in place of a file is not the file.
  if (response.error || response.statusCode >= 400) return std::nullopt;
  return std::move(response.data);
}

void URLConnection::submit(std::unique_ptr<HttpExchange> exchange) {
  std::unique_lock lock(mutex_);
  if (stopped_) return;
  if (hasThread()) {
    submitted_.push_back(std::move(exchange));
    lock.unlock();
    wake();
  } else {
    lock.unlock();
    const char* const flaw = exchange->flaw();
    exchange->fail(flaw != nullptr ? flaw : "no thread for the request");
  }
}

bool URLConnection::hasThread() {
  if (wakeUp_ < 0) wakeUp_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (!thread_ && wakeUp_ >= 0) thread_ = startThread([this] { work(); });
  return thread_.has_value();
}

void URLConnection::wake() const {
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(wakeUp_, &one, sizeof one);
}

void URLConnection::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  if (!thread_ || !thread_->joinable()) return;
  wake();
  thread_->join();
}

void URLConnection::work() {
  while (auto submitted = takeSubmitted()) {
    for (auto& exchange : *submitted) start(std::move(exchange));
    if (multi_ != nullptr) {
      int running = 0;
      libCurl().multi_perform(multi_, &running);
      closePairsToChildren();
      finishCompleted();
    }
    waitForWork();
  }
}

std::optional<URLConnection::Exchanges> URLConnection::takeSubmitted() {
  const std::lock_guard lock(mutex_);
  if (stopped_) return std::nullopt;
  return std::exchange(submitted_, {});
}

void URLConnection::start(std::unique_ptr<HttpExchange> exchange) {
  try {
    if (const char* const flaw = exchange->flaw()) return exchange->fail(flaw);
    if (const auto reason = prepareLibCurl()) return exchange->fail(*reason);
    underWay_.reserve(underWay_.size() + 1);
    exchange->prepare(takeHandle());
  } catch (const std::bad_alloc&) {
    return exchange->failForWantOfMemory();
  }
  const CURLMcode result = libCurl().multi_add_handle(multi_, exchange->handle());
  if (result != CURLM_OK) return exchange->fail(libCurl().multi_strerror(result));
  underWay_.push_back(std::move(exchange));
}

std::optional<std::string> URLConnection::prepareLibCurl() {
  if (multi_ != nullptr) return std::nullopt;
  if (auto reason = loadLibCurl()) return reason;
  for (const auto& [from, to] : mappedHosts_) {
    curl_slist* const longer = libCurl().slist_append(mapping_, (from + ":" + to).c_str());
    if (longer == nullptr) throw std::bad_alloc();
    mapping_ = longer;
  }
  multi_ = newMulti();
  return std::nullopt;
}

HttpExchange::Handle URLConnection::takeHandle() {
  if (spareHandle_) return std::move(spareHandle_);
  HttpExchange::Handle handle = HttpExchange::newHandle(timeOut_, mapping_);
  libCurl().easy_setopt(handle.get(), CURLOPT_RESOLVER_START_FUNCTION, &nameIsDue);
  libCurl().easy_setopt(handle.get(), CURLOPT_RESOLVER_START_DATA, this);
  return handle;
}

/// A thread of libcurl's waits for the name service, and has a pair meanwhile.
int URLConnection::nameIsDue(void*, void*, void* self) {
  auto& before = static_cast<URLConnection*>(self)->pairsBefore_;
  try {
    if (!before) before = inheritedPairs();
  } catch (const std::bad_alloc&) {
    return 1;  // ends the transfer
  }
  return 0;
}

void URLConnection::closePairsToChildren() {
  if (!pairsBefore_) return;
  try {
    closeToChildrenButFor(*pairsBefore_);
    pairsBefore_.reset();
  } catch (const std::bad_alloc&) {
    // In the next round.
  }
}

void URLConnection::finishCompleted() {
  int left = 0;
  while (const CURLMsg* message = libCurl().multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message goes with its handle.
    const CURLcode result = message->data.result;
    const auto done = std::find_if(underWay_.begin(), underWay_.end(), [&](const auto& exchange) {
      return exchange->handle() == message->easy_handle;
    });
    libCurl().multi_remove_handle(multi_, (*done)->handle());
    (*done)->finish(result);
    spareHandle_ = (*done)->releaseHandle();
    underWay_.erase(done);
  }
}

void URLConnection::waitForWork() {
  if (multi_ != nullptr) {
    curl_waitfd woken{wakeUp_, CURL_WAIT_POLLIN, 0};
    libCurl().multi_wait(multi_, &woken, 1, kPollMilliseconds, nullptr);
    if (woken.revents == 0) return;
  } else {
    pollfd woken{wakeUp_, POLLIN, 0};
    ::poll(&woken, 1, kPollMilliseconds);
  }
  std::uint64_t count = 0;
  [[maybe_unused]] const auto got = ::read(wakeUp_, &count, sizeof count);
}

}  // namespace korvani::qt
