// The thread that drives all transfers, and the two ways to ask it for one.
#include <fcntl.h>
#include <korvani/qt/threads.h>
#include <korvani/qt/url_connection.h>
#include <sys/socket.h>

#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <limits>
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
  CURLM* const multi = libCurl().multi_init();
  closeToChildrenButFor(before);
  return multi;
}

}  // namespace

URLConnection::~URLConnection() {
  stop();
  if (multi_ == nullptr) return;
  for (const auto& [handle, exchange] : exchanges_) libCurl().multi_remove_handle(multi_, handle);
  exchanges_.clear();
  libCurl().multi_cleanup(multi_);
  libCurl().slist_free_all(mapping_);
}

void URLConnection::sendAsynchronousRequest(platform::URLRequest request,
                                            std::shared_ptr<platform::Queue> queue,
                                            CompletionHandler completionHandler) {
  auto finished = [queue = std::move(queue),
                   handler = std::move(completionHandler)](platform::URLResponse response) {
    queue->async([handler, response = std::move(response)] { handler(response); });
  };
  submit([this, request = std::move(request), finished = std::move(finished)] {
    return std::make_unique<HttpExchange>(request, HttpExchange::Limits{kLongestAnswer, timeOut_},
                                          mapping_, finished);
  });
}

std::optional<std::string> URLConnection::dataWithContentsOfURL(const platform::URL& url) {
  const auto awaited = std::make_shared<Awaited>();
  submit([this, awaited, address = url.absoluteString()] {
    return std::make_unique<HttpExchange>(
        platform::URLRequest{address, "GET", {}, std::nullopt},
        HttpExchange::Limits{kLongestDownload, timeOut_}, mapping_,
        [awaited](platform::URLResponse response) { awaited->arrive(std::move(response)); });
  });
  platform::URLResponse response = awaited->wait();
  // The page that a server shows in place of a file is not the file.
  if (response.error || response.statusCode >= 400) return std::nullopt;
  return std::move(response.data);
}

void URLConnection::submit(Maker maker) {
  const std::lock_guard lock(mutex_);
  if (stopped_) return;
  if (!hasThread() || isUnable_) {
    const auto exchange = maker();
    return exchange->fail(exchange->flaw().value_or("no thread for the request"));
  }
  submitted_.push_back(std::move(maker));
  wake();
}

bool URLConnection::hasThread() {
  if (!thread_) thread_ = startThread([this] { work(); });
  return thread_.has_value();
}

void URLConnection::wake() {
  if (multi_ != nullptr) libCurl().multi_wakeup(multi_);
}

void URLConnection::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    wake();
  }
  if (thread_ && thread_->joinable()) thread_->join();
}

void URLConnection::work() {
  Makers submitted;
  if (!begin(submitted)) {
    for (const Maker& make : submitted) start(make());
    return;
  }
  while (takeSubmitted(submitted)) {
    for (const Maker& make : submitted) start(make());
    submitted.clear();
    int running = 0;
    libCurl().multi_perform(multi_, &running);
    if (pairsBefore_) closeToChildrenButFor(*pairsBefore_);
    pairsBefore_.reset();
    finishCompleted();
    libCurl().multi_poll(multi_, nullptr, 0, kPollMilliseconds, nullptr);
  }
}

bool URLConnection::begin(Makers& submitted) {
  const bool isLoaded = libCurl().isLoaded;
  const std::lock_guard lock(mutex_);
  if (isLoaded) multi_ = newMulti();
  if (multi_ != nullptr) {
    for (const auto& [from, to] : mappedHosts_) {
      mapping_ = libCurl().slist_append(mapping_, (from + ":" + to).c_str());
    }
  } else {
    isUnable_ = true;
    submitted.swap(submitted_);
  }
  return !isUnable_;
}

bool URLConnection::takeSubmitted(Makers& makers) {
  const std::lock_guard lock(mutex_);
  makers.swap(submitted_);
  return !stopped_;
}

void URLConnection::start(std::unique_ptr<HttpExchange> exchange) {
  if (exchange->flaw()) return exchange->fail(*exchange->flaw());
  libCurl().easy_setopt(exchange->handle(), CURLOPT_RESOLVER_START_FUNCTION, &nameIsDue);
  libCurl().easy_setopt(exchange->handle(), CURLOPT_RESOLVER_START_DATA, this);
  const CURLMcode result = libCurl().multi_add_handle(multi_, exchange->handle());
  if (result != CURLM_OK) return exchange->fail(libCurl().multi_strerror(result));
  exchanges_.emplace(exchange->handle(), std::move(exchange));
}

/// A thread of libcurl's waits for the name service, and has a pair meanwhile.
int URLConnection::nameIsDue(void*, void*, void* self) {
  auto& before = static_cast<URLConnection*>(self)->pairsBefore_;
  if (!before) before = inheritedPairs();
  return 0;
}

void URLConnection::finishCompleted() {
  int left = 0;
  while (const CURLMsg* message = libCurl().multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message goes with its handle.
    const CURLcode result = message->data.result;
    auto done = exchanges_.extract(message->easy_handle);
    libCurl().multi_remove_handle(multi_, done.key());
    done.mapped()->finish(result);
  }
}

}  // namespace korvani::qt
