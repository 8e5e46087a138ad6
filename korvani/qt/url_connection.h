// The HTTP port on libcurl's multi interface: one thread, connections kept alive.
#pragma once

#include <korvani/platform/url_connection.h>
#include <korvani/qt/http_exchange.h>

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace korvani::qt {

class URLConnection final : public platform::URLConnection {
 public:
  /// Main thread. Requests to a "host:port" of the map go to its other "host:port" instead. An
  /// answer that has not come whole in time is an error.
  explicit URLConnection(std::map<std::string, std::string> mappedHosts = {},
                         std::chrono::milliseconds timeOut = std::chrono::minutes(1))
      : mappedHosts_(std::move(mappedHosts)), timeOut_(timeOut) {}
  ~URLConnection() override;

  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler completionHandler) override;
  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override;

  /// Nothing completes from now on, and a thread that waits for a download waits for ever.
  void stop();

 private:
  /// Makes the exchange on the thread, as libcurl's start is not for the host's main thread.
  using Maker = std::function<std::unique_ptr<HttpExchange>()>;
  using Makers = std::deque<Maker>;

  void submit(Maker maker);
  bool hasThread();
  void wake();
  void work();
  /// False, with what has been submitted, where there is no libcurl or no memory for it.
  bool begin(Makers& submitted);
  bool takeSubmitted(Makers& makers);
  void start(std::unique_ptr<HttpExchange> exchange);
  void finishCompleted();
  static int nameIsDue(void*, void*, void* self);

  const std::map<std::string, std::string> mappedHosts_;
  const std::chrono::milliseconds timeOut_;
  curl_slist* mapping_ = nullptr;
  /// Those under way; only for the thread.
  std::map<CURL*, std::unique_ptr<HttpExchange>> exchanges_;
  /// The sockets that children inherit anyway, once a name is being resolved; only for the thread.
  std::optional<std::set<int>> pairsBefore_;

  std::mutex mutex_;
  /// Made by the thread.
  CURLM* multi_ = nullptr;
  Makers submitted_;
  bool stopped_ = false;
  /// The thread has gone for want of either: each request fails at once.
  bool isUnable_ = false;
  std::optional<std::thread> thread_;
};

}  // namespace korvani::qt
