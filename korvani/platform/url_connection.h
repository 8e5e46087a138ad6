// The port for HTTP: one asynchronous request, and one download that blocks.
#pragma once

#include <korvani/platform/queues.h>
#include <korvani/platform/url.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvani::platform {

struct URLRequest {
  /// As the kit built it; a text that is no usable address is a transport error.
  std::string url;
  std::string HTTPMethod;
  std::vector<std::pair<std::string, std::string>> headers;
  /// None is another thing than an empty one, though both are sent without bytes.
  std::optional<std::string> HTTPBody;
};

struct URLResponse {
  int statusCode = 0;
  std::string data;
  /// A transport failure, described for people; then the other fields mean nothing.
  std::optional<std::string> error;
};

class URLConnection {
 public:
  using CompletionHandler = std::function<void(const URLResponse&)>;

  virtual ~URLConnection() = default;
  /// Any thread; returns at once. The request goes out once, without headers beyond those given and
  /// what HTTP needs. The handler runs once, on the queue; when the application ends first, never.
  virtual void sendAsynchronousRequest(URLRequest request, std::shared_ptr<Queue> queue,
                                       CompletionHandler completionHandler) = 0;
  /// Blocks the calling thread, which is never the main one. Nothing when the download fails.
  virtual std::optional<std::string> dataWithContentsOfURL(const URL& url) = 0;
};

}  // namespace korvani::platform
