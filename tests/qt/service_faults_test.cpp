// What the kit makes of a service that misbehaves, over real sockets: one line for developers, the
// notification of an answer that is one, and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/platform/forwarding.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/url_connection.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>
#include <zlib.h>

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using platform::Value;
using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Matcher;
using testing::StartsWith;

using Manner = RawServer::Manner;

/// Tells when the kit has done with an answer.
class WatchedConnection final : public platform::URLConnection {
 public:
  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler handler) override {
    used->sendAsynchronousRequest(std::move(request), std::move(queue),
                                  [this, handler = std::move(handler)](const auto& response) {
                                    handler(response);
                                    done.put(true);
                                  });
  }
  std::optional<std::string> dataWithContentsOfURL(const platform::URL&) override { return {}; }

  URLConnection* used = nullptr;
  Box<bool> done;
};

/// A phone in memory with the sockets and the request queues of the real one.
struct SocketPhone final : platform::ForwardingPlatform {
  using ForwardingPlatform::ForwardingPlatform;
  platform::Queues& queues() override { return realQueues; }
  platform::URLConnection& urlConnection() override { return connection; }

  Queues realQueues{ApplicationLife::ofProcess()};
  WatchedConnection connection;
};

std::string head(const std::string& status, const std::string& headers = "") {
  return "HTTP/1.1 " + status + "\r\n" + headers + "\r\n";
}
std::string nested(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}
/// What zlib calls the window says which format: a deflate coding has zlib's own.
enum Coding { kDeflate = MAX_WBITS, kGzip = MAX_WBITS + 16 };
std::string packed(Coding coding, std::string bytes) {
  z_stream stream{};
  deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, coding, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

TEST(ServiceFaults, GiveTheirLineAndNothingElse) {
  const std::string good = R"({"notification_text":"Hello","success":true})";
  const std::string largest = "[" + std::string((std::size_t{16} << 20U) - 2, ' ') + "]";
  const auto said = [](const std::string& answer) -> Matcher<std::string> {
    return "SUCCESS - request url : scenario -- " + answer;
  };
  const auto failed = [](const std::string& error) -> Matcher<std::string> {
    return AllOf(StartsWith("Error - rerquest scenario -- "), testing::HasSubstr(error));
  };
  const Matcher<std::string> null = said("(null)");
  enum Server { kThere, kGone, kHurried };
  struct Case {
    const char* name;
    RawServer::Reply reply;
    Matcher<std::string> line;
    bool notifies = false;
    Server server = kThere;
  };
  const Case cases[] = {
      {"refused", ""s, failed("connect"), false, kGone},
      {"never", {"", Manner::kThenSilence}, failed("timed out"), false, kHurried},
      {"never the end",
       {head("200 OK", "Content-Length: 9\r\n") + "{", Manner::kThenSilence},
       failed("timed out"),
       false,
       kHurried},
      {"byte by byte", {RawServer::reply(good), Manner::kByteByByte}, said(good), true},
      {"reset", {"", Manner::kThenReset}, failed("connection was lost")},
      {"reset midway",
       {head("200 OK", "Content-Length: 9\r\n") + "{", Manner::kThenReset},
       failed("reset by peer")},
      {"shorter than its length", head("200 OK", "content-length: 9\r\n") + "{}",
       failed("7 bytes remaining")},
      {"longer than its length", head("200 OK", "Content-Length: 2\r\n") + "{}more", said("{}")},
      {"two answers", RawServer::reply("[1]") + RawServer::reply(good), said("[1]")},
      {"after two answers", RawServer::reply("[2]"), said("[2]")},
      {"an endless body",
       {head("200 OK") + std::string(65536, ' '), Manner::kForEver},
       failed("too long")},
      {"endless heads",
       {head("100 Continue", "X: " + std::string(65536, 'x') + "\r\n"), Manner::kForEver},
       failed("Too large response headers")},
      {"a head's first line that never ends",
       {"HTTP/1.1 200 " + std::string(65536, 'x'), Manner::kForEver},
       // As older and newer versions of libcurl have it.
       testing::AnyOf(failed("a line of its head is too long"), failed("larger than allowed"))},
      {"a redirection to itself", RawServer::reply(good, "302 Found", "Location: /scenario\r\n"),
       failed("redirects")},
      {"a redirection to a file",
       RawServer::reply(good, "302 Found", "Location: file:///etc/hostname\r\n"),
       failed("\"file\" not supported")},
      {"packed, which nobody asked for",
       RawServer::reply(packed(kDeflate, good), "200 OK", "Content-Encoding: deflate\r\n"), null},
      {"packed with gzip, which nobody asked for",
       RawServer::reply(packed(kGzip, good), "200 OK", "Content-Encoding: gzip\r\n"), null},
      {"a bomb that nobody asked for",
       RawServer::reply(packed(kGzip, largest + " "), "200 OK", "Content-Encoding: gzip\r\n"),
       null},
      {"packed on the way",
       head("200 OK", "Transfer-Encoding: deflate\r\n") + packed(kDeflate, good), said(good), true},
      {"packed on the way with gzip",
       head("200 OK", "Transfer-Encoding: gzip\r\n") + packed(kGzip, good), said(good), true},
      {"a bomb", head("200 OK", "Transfer-Encoding: deflate\r\n") + packed(kDeflate, largest + " "),
       failed("too long")},
      {"a bomb of gzip",
       head("200 OK", "Transfer-Encoding: gzip\r\n") + packed(kGzip, largest + " "),
       failed("too long")},
      {"what says it is packed, and is not", head("200 OK", "Transfer-Encoding: gzip\r\n") + good,
       failed("unencoding")},
      {"no content", head("204 No Content", "Connection: close\r\n"), null},
      {"not modified", head("304 Not Modified", "Connection: close\r\n"), null},
      {"no content, with some", RawServer::reply(good, "204 No Content"), null},
      {"not modified, with JSON", RawServer::reply(good, "304 Not Modified"), null},
      {"an error in JSON", RawServer::reply(good, "500 Oh no"), said(good), true},
      {"an error in HTML", RawServer::reply("<html>", "500 Oh no"), null},
      {"an error without words", RawServer::reply("", "500 Oh no"), null},
      {"Latin-1",
       RawServer::reply("[\"\xE9\"]", "200 OK", "Content-Type: text/json; charset=latin1\r\n"),
       null},
      {"UTF-16", RawServer::reply("[\0\"\0a\0\"\0]\0"s), null},
      {"UTF-8 that says it is Latin-1",
       RawServer::reply(good, "200 OK", "Content-Type: text/json; charset=latin1\r\n"), said(good),
       true},
      {"deep", RawServer::reply(nested(512)), said(nested(512))},
      {"too deep", RawServer::reply(nested(513)), null},
      {"large", RawServer::reply(largest), said("[]")},
      {"too large", RawServer::reply(largest + " "), failed("too long")},
  };

  std::atomic<const Case*> current = nullptr;
  RawServer server([&](auto...) { return current.load()->reply; });
  const auto service = [](const RawServer& at) {
    return std::map<std::string, std::string>{
        {"127.0.0.1:8780", "127.0.0.1:" + std::to_string(at.port())}};
  };
  URLConnection there(service(server));
  URLConnection gone(service(RawServer([](auto...) { return ""s; })));
  URLConnection hurried(service(server), 100ms);
  const auto whole = std::make_shared<simulator::SimulatedPhone>();
  const auto phone = std::make_shared<SocketPhone>(whole);
  platform::Platform::install(phone);
  simulator::SimulatedPhone& rest = *whole;
  rest.setStored("lastRequestConfig", rest.clock().now());
  Korvani::initWithAPIKey("key", nullptr, false);

  std::uint16_t minor = 0;
  for (const bool debug : {true, false}) {
    Korvani::setDebugLogEnabled(debug);
    for (const Case& c : cases) {
      SCOPED_TRACE(c.name);
      current = &c;
      phone->connection.used = c.server == kGone ? &gone : c.server == kHurried ? &hurried : &there;
      const std::size_t posted = rest.notifications().size();
      rest.takeEffects();
      rest.rangeBeacons({{.proximityUUID = {}, .major = 1, .minor = ++minor, .proximity = 2}});
      phone->connection.done.take();
      std::vector<std::string> lines;
      for (const Value& line : rest.contents("log")) lines.push_back(line.plainText());
      if (debug) {
        EXPECT_THAT(lines, ElementsAre(StartsWith("PARAMS -- "), c.line));
      } else {
        EXPECT_THAT(lines, IsEmpty());
      }
      EXPECT_EQ(rest.notifications().size() - posted, c.notifies ? 1U : 0U);
    }
  }
}

}  // namespace
}  // namespace korvani::qt
