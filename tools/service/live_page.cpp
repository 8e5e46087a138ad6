// Who may see the page and who may edit. A foreign web site reaches this service through its
// visitor's browser: by a request of its own, which lacks the token, or by a name that leads here
// (DNS rebinding), which the Host header gives away.
#include "live_page.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <random>
#include <utility>

#include "page.h"

namespace korvani::service {
namespace {

constexpr const char* kEvents = "/live/events";
constexpr std::chrono::seconds kHeartbeat{5};  // finds out that a watcher has gone

std::string randomText() {
  std::random_device random;
  std::string text;
  for (int i = 0; i < 4; ++i) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(random()));
    text += digits;
  }
  return text;
}

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
}

// The Host header without its port and without brackets.
std::string nameOf(const std::string& host) {
  if (host.rfind('[', 0) == 0) return host.substr(1, host.find(']') - 1);
  return host.substr(0, host.find(':'));
}

// Nobody else's name service has a say in an address.
bool isAddress(const std::string& name) {
  unsigned char bytes[sizeof(in6_addr)];
  return inet_pton(AF_INET, name.c_str(), bytes) == 1 ||
         inet_pton(AF_INET6, name.c_str(), bytes) == 1;
}

void refuse(httplib::Response& response, int status, const std::string& why) {
  response.status = status;
  response.set_content(Json({{"error", why}}).dump(-1, ' ', false, Json::error_handler_t::replace),
                       "application/json");
}

}  // namespace

LivePage::LivePage(Service& service, Faults& faults, Feed& feed, std::string host)
    : service_(service),
      faults_(faults),
      feed_(feed),
      host_(std::move(host)),
      token_(randomText()) {
  publishState();
}

bool LivePage::isOwn(const httplib::Request& request) {
  return request.path == "/" || request.path.rfind("/live/", 0) == 0;
}

bool LivePage::isMeant(const httplib::Request& request) const {
  const std::string host = request.get_header_value("Host");
  const std::string name = nameOf(host);
  const std::string origin = request.get_header_value("Origin");
  return (name == "localhost" || name == host_ || isAddress(name)) &&
         (!request.has_header("Origin") || origin == "http://" + host);
}

httplib::Server::HandlerResponse LivePage::get(const httplib::Request& request,
                                               httplib::Response& response) {
  const bool isPage = request.path == "/";
  if (request.method != "GET" || (!isPage && request.path != kEvents)) {
    return httplib::Server::HandlerResponse::Unhandled;
  }
  if (!isMeant(request)) {
    refuse(response, 403, "The page is for http://localhost and for addresses.");
  } else if (isPage) {
    sendPage(response);
  } else if (request.get_param_value("token") != token_) {
    refuse(response, 403, "The token is not this service's; load the page again.");
  } else {
    sendEvents(request, response);
  }
  return httplib::Server::HandlerResponse::Handled;
}

void LivePage::sendPage(httplib::Response& response) const {
  std::string page(kPage);
  const std::string nonce = randomText();
  replaceAll(page, "{{nonce}}", nonce);
  replaceAll(page, "{{token}}", token_);
  response.set_header("Content-Security-Policy",
                      "default-src 'none'; connect-src 'self'; img-src data:; script-src 'nonce-" +
                          nonce + "'; style-src 'nonce-" + nonce +
                          "'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
  response.set_header("Cache-Control", "no-store");
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_content(page, "text/html; charset=utf-8");
}

void LivePage::sendEvents(const httplib::Request& request, httplib::Response& response) {
  if (watchers_.fetch_add(1) >= kMostWatchers) {
    --watchers_;
    refuse(response, 503, "Too many pages are watching.");
    return;
  }
  // A page that lost its connection goes on where it was.
  std::uint64_t last = 0;
  const std::string seen = request.get_header_value("Last-Event-ID");
  std::from_chars(seen.data(), seen.data() + seen.size(), last);
  response.set_header("Cache-Control", "no-store");
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, last](std::size_t, httplib::DataSink& sink) mutable {
        std::string events = feed_.next(last, kHeartbeat);
        if (feed_.ended()) {
          sink.done();
          return true;
        }
        if (events.empty()) events = ":\n\n";
        return sink.write(events.data(), events.size());
      },
      [this](bool) { --watchers_; });
}

void LivePage::change(const httplib::Request& request, const std::string& body,
                      httplib::Response& response) {
  if (!isMeant(request) || request.get_header_value("X-Korvani-Token") != token_) {
    refuse(response, 403, "Only the page of this service may edit; load it again.");
    return;
  }
  try {
    const Json order = parseJson(body);
    if (order.is_object() && order.contains("break")) {
      requireObject(order, "the change", {"break"});
      faults_.order(order["break"]);
    } else {
      service_.change(order);
    }
  } catch (const std::exception& error) {
    refuse(response, 400, error.what());
    return;
  }
  publishState();
  response.set_content("{}", "application/json");
}

void LivePage::publishState() {
  const std::lock_guard lock(publishing_);  // what was read last is told last
  const Json state = {{"keys", service_.settings()}, {"break", faults_.standing()}};
  feed_.publishState(state.dump());
}

}  // namespace korvani::service
