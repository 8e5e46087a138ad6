// A web server for tests that answers as no good server would.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace korvani::qt {

/// Listens on a free port of the loopback interface until it is destroyed.
class RawServer {
 public:
  enum class Manner { kAtOnce, kByteByByte, kThenSilence, kThenReset, kForEver };
  /// The bytes of an answer, and how they come: none, or some without a length, hang up.
  struct Reply {
    Reply(std::string all, Manner how = Manner::kAtOnce) : bytes(std::move(all)), manner(how) {}
    std::string bytes;
    Manner manner;
  };
  /// The answer to the request of that number, from 0.
  using Answer = std::function<Reply(std::size_t number, const std::string& request)>;

  explicit RawServer(Answer answer);
  ~RawServer();

  int port() const { return port_; }
  std::string url(const std::string& path = "/") const;
  /// What came in, head and body.
  std::vector<std::string> requests() const;
  std::size_t connections() const;

  static std::string reply(const std::string& body, const std::string& status = "200 OK",
                           const std::string& headers = "");

 private:
  void accept();
  void serve(int connection);

  const Answer answer_;
  const int listener_;
  int port_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::string> requests_;
  std::vector<int> sockets_;
  /// For the acceptor alone, until it has ended.
  std::vector<std::thread> threads_;
  std::thread acceptor_;
};

}  // namespace korvani::qt
