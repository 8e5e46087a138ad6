// The HTTP adapter over real sockets: what goes out to the byte, and what bad servers do to it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/platform/export.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/url_connection.h>
#include <netdb.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <new>
#include <set>

#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::URLRequest;
using platform::URLResponse;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t kMiB = std::size_t{1} << 20U;

Box<bool> nameIsAskedFor;
Box<bool> nameIsUnknown;

class Http : public testing::Test {
 protected:
  URLResponse send(URLRequest request) {
    Box<URLResponse> box;
    connection_.sendAsynchronousRequest(std::move(request), queues_.newOperationQueue(),
                                        [&](const URLResponse& response) { box.put(response); });
    return box.take();
  }
  URLResponse post(const std::string& url, const std::string& body = "a=b") {
    return send({url, "POST", {{"X-Api-Key", "key"}}, body});
  }
  std::optional<std::string> download(const std::string& url) {
    return connection_.dataWithContentsOfURL(*platform::URL::URLWithString(url));
  }

  Queues queues_{ApplicationLife::ofProcess()};
  URLConnection connection_{
      {{"service.example:80", "127.0.0.1:" + std::to_string(kMapped.port())}}};
  static inline RawServer kMapped{[](auto...) { return RawServer::reply("mapped"); }};
};

TEST_F(Http, SendsWhatHttpNeedsAndNoMore) {
  using namespace std::string_literals;
  struct Case {
    std::vector<std::pair<std::string, std::string>> headers;
    std::optional<std::string> body;
    std::string expected;
  };
  const Case cases[] = {
      {{{"X-Api-Key", "k"}}, "a=b%20c", "X-Api-Key: k\r\nContent-Length: 7\r\n\r\na=b%20c"},
      {{{"X-Api-Key", "k"}}, std::nullopt, "X-Api-Key: k\r\nContent-Length: 0\r\n\r\n"},
      {{{"X-Api-Key", ""}}, "", "X-Api-Key:\r\nContent-Length: 0\r\n\r\n"},
      {{{"X-Api-Key", " \t"}}, "", "X-Api-Key:\r\nContent-Length: 0\r\n\r\n"},
      {{}, "a\0b"s, "Content-Length: 3\r\n\r\na\0b"s},
      {{{"accept", "x"}}, "y", "accept: x\r\nContent-Length: 1\r\n\r\ny"},
      {{},
       std::string(2 * kMiB, 'z'),
       "Content-Length: 2097152\r\n\r\n" + std::string(2 * kMiB, 'z')},
  };
  for (const Case& c : cases) {
    RawServer server([](auto...) { return RawServer::reply("fine"); });
    const URLResponse response = send({server.url("/x"), "POST", c.headers, c.body});
    EXPECT_EQ(response.error, std::nullopt);
    EXPECT_EQ(response.data, "fine");
    const std::string host = server.url("").substr(7);
    EXPECT_THAT(server.requests(),
                testing::ElementsAre("POST /x HTTP/1.1\r\nHost: " + host + "\r\n" + c.expected));
  }
}

TEST_F(Http, WhatCannotBeSentFailsOnTheQueueAndSendsNothing) {
  RawServer server([](auto...) { return RawServer::reply("fine"); });
  const std::string good = server.url();
  const URLRequest cases[] = {
      {good, "POST", {{"X-Api-Key", "k\r\nX-Injected: 1"}}, ""},
      {good, "POST", {{"X-Api-Key", "k\nX-Injected: 1"}}, ""},
      {good, "POST", {{"X-Api-Key", "k\r"}}, ""},
      {good, "POST", {{"X-Api-Key", std::string("k\0", 2)}}, ""},
      {good, "POST", {{"X:Api", "k"}}, ""},
      {good, "POST", {{"", "k"}}, ""},
      {good, "PO ST", {}, ""},
      {good, "", {}, ""},
      {"", "POST", {}, ""},
      {"no address", "POST", {}, ""},
      {"service.example/without/scheme", "POST", {}, ""},
      {"http://", "POST", {}, ""},
      {"http:///path", "POST", {}, ""},
      {"http://[::1/", "POST", {}, ""},
      {"http://127.0.0.1:99999/", "POST", {}, ""},
      {good + "\r\nX-Injected: 1", "POST", {}, ""},
      {good + std::string("\0", 1), "POST", {}, ""},
      {"ftp://127.0.0.1/", "POST", {}, ""},
      {"file:///etc/hostname", "GET", {}, std::nullopt},
  };
  for (const URLRequest& request : cases) {
    SCOPED_TRACE(request.url + " " + request.HTTPMethod);
    const auto queue = queues_.newOperationQueue();
    Box<bool> released;
    Box<std::thread::id> completedOn;
    // The queue is busy: a completion inside the call would come before it is free.
    queue->async([&] { released.take(); });
    connection_.sendAsynchronousRequest(request, queue, [&](const URLResponse& response) {
      EXPECT_NE(response.error.value_or(""), "");
      completedOn.put(std::this_thread::get_id());
    });
    released.put(true);
    EXPECT_NE(completedOn.take(), std::this_thread::get_id());
  }
  EXPECT_EQ(server.connections(), 0U);
}

TEST_F(Http, KeepsTheConnection) {
  RawServer server([](auto...) { return RawServer::reply("fine"); });
  for (int i = 0; i < 3; ++i) EXPECT_EQ(post(server.url()).data, "fine");
  EXPECT_EQ(server.requests().size(), 3U);
  EXPECT_EQ(server.connections(), 1U);
}

TEST_F(Http, APostGoesOutOnceThoughTheKeptConnectionDies) {
  for (const char* body : {"report=1", ""}) {
    SCOPED_TRACE(body);
    RawServer server([](std::size_t number, const std::string&) {
      return number == 0 ? RawServer::reply("fine") : std::string();
    });
    ASSERT_EQ(post(server.url("/first"), body).data, "fine");
    const URLResponse response = post(server.url("/second"), body);
    EXPECT_EQ(response.error, "the connection was lost before an answer came");
    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_THAT(server.requests()[1], StartsWith("POST /second "));
  }
}

TEST_F(Http, ADownloadMayBeAskedForAgain) {
  RawServer server([](std::size_t number, const std::string&) {
    return number == 1 ? std::string() : RawServer::reply("fine");
  });
  for (int i = 0; i < 2; ++i) EXPECT_EQ(download(server.url()), "fine");
  EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(Http, WhatServersAnswer) {
  const std::string longest(16 * kMiB, 'x');
  struct Case {
    const char* name;
    std::string answer;
    int status;  // 0: an error
    std::size_t length;
  };
  const Case cases[] = {
      {"an error of the service is an answer", RawServer::reply("oops", "500 Oh no"), 500, 4},
      {"no content", "HTTP/1.1 204 No Content\r\nContent-Length: 0\r\n\r\n", 204, 0},
      {"no length", "HTTP/1.1 200 OK\r\n\r\nuntil the end", 200, 13},
      {"chunks", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", 200,
       3},
      {"a trailer after the chunks",
       "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\nX: y\r\n\r\n", 200,
       3},
      {"as long as allowed", RawServer::reply(longest), 200, 16 * kMiB},
      {"nothing", "", 0, 0},
      {"no HTTP", "what?\r\n\r\n", 0, 0},
      {"half a head", "HTTP/1.1 200 OK\r\nContent-", 0, 0},
      {"half a body", "HTTP/1.1 200 OK\r\ncontent-length: 9\r\n\r\nfour", 0, 0},
      {"half a chunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nab", 0, 0},
      {"a bad length", "HTTP/1.1 200 OK\r\ncontent-length: -9\r\n\r\nfour", 0, 0},
      {"too long", "HTTP/1.1 200 OK\r\n\r\n!" + longest, 0, 0},
      {"a head without an end", "HTTP/1.1 200 OK\r\nX: " + longest.substr(0, kMiB), 0, 0},
      {"a redirection into the file system",
       RawServer::reply("", "302 Found", "Location: file:///etc/hostname\r\n"), 0, 0},
      {"a redirection nowhere", RawServer::reply("", "302 Found", "Location: http://\r\n"), 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RawServer server([&](auto...) { return c.answer; });
    const URLResponse response = post(server.url());
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(response.error.has_value(), c.status == 0);
    if (c.status == 0) {
      EXPECT_NE(*response.error, "");
    } else {
      EXPECT_EQ(response.statusCode, c.status);
      EXPECT_EQ(response.data.size(), c.length);
    }
  }
  const std::string gone = RawServer([](auto...) { return std::string(); }).url();
  EXPECT_THAT(post(gone).error.value_or(""), HasSubstr("connect"));
}

TEST_F(Http, FollowsTenRedirections) {
  struct Case {
    const char* status;
    std::size_t redirections;
    std::size_t requests;
    bool arrives;
    const char* last;
  };
  const Case cases[] = {
      {"302 Found", 10, 11, true, "GET /10 "},
      {"302 Found", 11, 11, false, "GET /10 "},
      {"307 Temporary Redirect", 2, 3, true, "POST /2 "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.status);
    RawServer server([&](std::size_t number, const std::string&) {
      if (number == c.redirections) return RawServer::reply("there");
      return RawServer::reply("", c.status, "Location: /" + std::to_string(number + 1) + "\r\n");
    });
    const URLResponse response = post(server.url(), "body");
    EXPECT_EQ(response.error.has_value(), !c.arrives);
    EXPECT_EQ(response.data, c.arrives ? "there" : "");
    ASSERT_EQ(server.requests().size(), c.requests);
    EXPECT_THAT(server.requests().back(), StartsWith(c.last));
  }
}

TEST_F(Http, Downloads) {
  const std::string large(17 * kMiB, 'x');
  RawServer server([&](std::size_t, const std::string& request) {
    if (request.starts_with("GET /missing ")) return RawServer::reply("no", "404 Not Found");
    if (request.starts_with("GET /moved ")) {
      return RawServer::reply("", "301 Moved", "Location: /large\r\n");
    }
    return RawServer::reply(request.starts_with("GET /large ") ? large
                                                               : std::string(64 * kMiB + 1, 'x'));
  });
  EXPECT_TRUE(download(server.url("/moved")) == large);
  for (const std::string& url : {server.url("/too-large"), server.url("/missing"),
                                 std::string("file:///etc/hostname"), std::string("relative")}) {
    EXPECT_FALSE(download(url).has_value()) << url;
  }
  EXPECT_EQ(server.requests()[0],
            "GET /moved HTTP/1.1\r\nHost: " + server.url("").substr(7) + "\r\n\r\n");
}

TEST_F(Http, MapsHostsAndSpeaksToThemByTheirName) {
  EXPECT_EQ(post("http://service.example/x").data, "mapped");
  EXPECT_THAT(kMapped.requests().back(), HasSubstr("\r\nHost: service.example\r\n"));
}

TEST_F(Http, NoChildOfTheHostInheritsItsSockets) {
  const auto inherited = [] {
    int count = 0;
    for (int fd = 0; fd < 256; ++fd) {
      struct stat what {};
      const int flags = ::fcntl(fd, F_GETFD);
      count +=
          flags >= 0 && !(flags & FD_CLOEXEC) && ::fstat(fd, &what) == 0 && S_ISSOCK(what.st_mode);
    }
    return count;
  };
  const int before = inherited();
  std::atomic<int> during = -1;
  RawServer server([&](auto...) {
    during = inherited();
    return RawServer::reply("");
  });
  Box<bool> answered;
  connection_.sendAsynchronousRequest(
      {"http://slow.example", "POST", {}, ""}, queues_.newOperationQueue(),
      [&](const URLResponse& response) { answered.put(response.error.has_value()); });
  nameIsAskedFor.take();
  post(server.url());
  EXPECT_EQ(during, before);
  nameIsUnknown.put(true);
  EXPECT_TRUE(answered.take());
}

/// Runs its jobs where they come from, and so drops none.
class InPlace final : public platform::Queue {
 public:
  void async(platform::Job job) override { job(); }
};

enum Outcome : int { kAnswered = 50, kFailed, kUnanswered, kBrokenForEver };

rlim_t addressesInUse() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<rlim_t>(::getpagesize());
}

/// For a process of its own: two requests where so many more addresses can be had, and one later.
Outcome requestWithLittleMemory(const std::string& url, rlim_t left) {
  const auto address = *platform::URL::URLWithString(url);
  URLConnection connection;
  rlimit usual{};
  ::getrlimit(RLIMIT_AS, &usual);
  const rlimit little{addressesInUse() + left, usual.rlim_max};
  ::setrlimit(RLIMIT_AS, &little);
  std::atomic<int> ends = 0;
  bool isAnswered = false;
  try {
    Box<bool> ended;
    connection.sendAsynchronousRequest({url, "POST", {{"X-Api-Key", "key"}}, "a=b"},
                                       std::make_shared<InPlace>(),
                                       [&](const URLResponse& response) {
                                         ++ends;
                                         ended.put(!response.error);
                                       });
    isAnswered = ended.take();
    connection.dataWithContentsOfURL(address);
  } catch (const std::bad_alloc&) {
    // Not even the request could be made: that is the caller's to know.
    ends = 1;
  }
  ::setrlimit(RLIMIT_AS, &usual);
  if (!connection.dataWithContentsOfURL(address)) return kBrokenForEver;
  if (ends != 1) return kUnanswered;
  return isAnswered ? kAnswered : kFailed;
}

TEST_F(Http, EachRequestEndsThoughMemoryIsShort) {
  if (addressesInUse() > 1024 * 1024 * kMiB) GTEST_SKIP() << "A sanitizer takes terabytes.";
  // More than one of malloc's arenas holds, as this process has some to spare.
  const std::string large = RawServer::reply(std::string(40 * kMiB, 'x'));
  RawServer server([&](std::size_t, const std::string& request) {
    return request.starts_with("GET") ? large : RawServer::reply("fine");
  });
  std::set<int> outcomes;
  for (std::size_t left = 0; left <= 24; left += 4) {
    SCOPED_TRACE(left);
    const pid_t child = ::fork();
    if (child == 0) ::_exit(requestWithLittleMemory(server.url(), left * kMiB));
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    outcomes.insert(WEXITSTATUS(status));
  }
  EXPECT_THAT(outcomes, testing::ElementsAre(kAnswered, kFailed));
}

}  // namespace
}  // namespace korvani::qt

/// The name service of the tests, which libcurl finds in place of the system's: it knows no name.
extern "C" KORVANI_EXPORT int getaddrinfo(const char* name, const char*, const addrinfo*,
                                          addrinfo**) {
  if (std::string_view(name) == "slow.example") {
    korvani::qt::nameIsAskedFor.put(true);
    korvani::qt::nameIsUnknown.take();
  }
  return EAI_NONAME;
}
