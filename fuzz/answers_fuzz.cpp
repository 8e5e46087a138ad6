// Any bytes as what the service answers, on the way to notification, content and screens. The
// pieces of the input: one byte of flags, the answers of "configuration", "scenario" and "confirm",
// and the file that is the image.
#include <korvani/sdk/korvani.h>

#include "input.h"
#include "watched_phone.h"

using namespace korvani;
using namespace std::chrono_literals;
using fuzz::require;
using platform::Value;
using simulator::Answer;

namespace {

constexpr platform::Point kImage{200, 400};
constexpr platform::Point kCross{22, 42};

/// A tap on the image follows its action; the cross closes whatever is there.
void tap(simulator::SimulatedPhone& phone, const Value& scenario) {
  const bool isImage = phone.shown().at("controller") == Value("KorvaniView");
  phone.tap(kImage);
  phone.advance({});
  const Value& action = scenario.at("image").at("action");
  const bool isPage = isImage && action.at("type") == Value("WVW");
  require(!isPage || phone.shown().at("controller") == Value("KorvaniWebView"),
          "a tap on an image leads to its page");
  phone.tap(kCross);
  phone.advance({});
  require(phone.shown().isNull(), "the cross closes what is there");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const unsigned flags = input.byte();
  simulator::SimulatedPhone phone;
  simulator::Settings& settings = phone.settings();
  settings.openableUris = {"http"};
  for (const char* endpoint : {"configuration", "scenario", "confirm"}) {
    settings.answers[endpoint] = {Answer::text(input.piece())};
  }
  const Value scenario = phone.json().JSONObjectWithData(settings.answers["scenario"][0].body);
  if (const std::string* address = scenario.at("image").at("url").text()) {
    settings.files[*address] = input.rest();
  }

  fuzz::Run run(phone);
  Korvani::setDebugLogEnabled((flags & 1U) != 0);
  if ((flags & 2U) != 0) Korvani::setUserId("user");
  phone.advance(1s);
  run.range({fuzz::beacon(1, platform::kProximityNear)});
  phone.advance(1s);
  for (const auto& notification : phone.notifications()) {
    run.openAlone(notification.userInfo);
    tap(phone, notification.userInfo);
    phone.advance(1s);
  }
  require(phone.contents("alert").size() == run.errorMessages(),
          "each error message is shown in an alert");
  return 0;
}
