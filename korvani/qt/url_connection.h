// The HTTP port on libcurl's multi interface: one thread, connections kept alive.
#pragma once

#include <korvani/platform/url_connection.h>
#include <korvani/qt/http_exchange.h>

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace korvani::qt {

class URLConnection final : public platform::URLConnection {
 public:
  /// Main thread. Requests to a "host:port" of the map go to its other "host:port" instead.
  explicit URLConnection(const std::map<std::string, std::string>& mappedHosts = {});
  ~URLConnection() override;

  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler completionHandler) override;
  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override;

  /// Nothing completes from now on, and a thread that waits for a download waits for ever.
  void stop();

 private:
  using Exchanges = std::deque<std::unique_ptr<HttpExchange>>;

  void submit(std::unique_ptr<HttpExchange> exchange);
  bool hasThread();
  void work();
  bool takeSubmitted(Exchanges& exchanges);
  void start(std::unique_ptr<HttpExchange> exchange);
  void finishCompleted();

  curl_slist* mappedHosts_ = nullptr;
  CURLM* const multi_;
  /// Those under way; only for the thread.
  std::map<CURL*, std::unique_ptr<HttpExchange>> exchanges_;

  std::mutex mutex_;
  Exchanges submitted_;
  bool stopped_ = false;
  std::optional<std::thread> thread_;
};

}  // namespace korvani::qt
