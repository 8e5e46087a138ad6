// The HTTP port on libcurl's multi interface: one thread, connections kept alive.
#pragma once

#include <korvani/platform/url_connection.h>
#include <korvani/qt/http_exchange.h>

#include <chrono>
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
  using Exchanges = std::vector<std::unique_ptr<HttpExchange>>;

  void submit(std::unique_ptr<HttpExchange> exchange);
  bool hasThread();
  void wake() const;
  void work();
  /// Nothing once it is to stop.
  std::optional<Exchanges> takeSubmitted();
  void start(std::unique_ptr<HttpExchange> exchange);
  /// Why there is no libcurl, or no use of it; nothing when it is ready. Throws std::bad_alloc.
  std::optional<std::string> prepareLibCurl();
  HttpExchange::Handle takeHandle();
  void finishCompleted();
  void closePairsToChildren();
  void waitForWork();
  static int nameIsDue(void*, void*, void* self);

  const std::map<std::string, std::string> mappedHosts_;
  const std::chrono::milliseconds timeOut_;
  // Only for the thread:
  CURLM* multi_ = nullptr;
  curl_slist* mapping_ = nullptr;
  Exchanges underWay_;
  /// Of the last exchange, as most come one after the other.
  HttpExchange::Handle spareHandle_;
  /// The sockets that children inherit anyway, once a name is being resolved.
  std::optional<std::set<int>> pairsBefore_;

  std::mutex mutex_;
  Exchanges submitted_;
  bool stopped_ = false;
  /// Wakes the thread, with which it is made: needs no libcurl, and reads less than libcurl's own.
  int wakeUp_ = -1;
  std::optional<std::thread> thread_;
};

}  // namespace korvani::qt
