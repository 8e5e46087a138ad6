// What the service answers and logs, without the network.
#include "service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "faults.h"
#include "feed.h"
#include "request_log.h"

namespace korvani::service {
namespace {

TEST(ServiceForm, DecodesWhatTheKitSendsAndWhatItNeverSends) {
  const std::pair<std::string, Parameters> cases[] = {
      {"a=a+b%2Bc%26d%3D%C3%A9", {{"a", "a b+c&d=\xC3\xA9"}}},
      {"a=1&b=%2a&a=2", {{"a", "2"}, {"b", "*"}}},
      {"bare&=v&e=&x=1=2", {{"bare", ""}, {"", "v"}, {"e", ""}, {"x", "1=2"}}},
      {"a=%&b=%4&c=%zz&d=%4z&e=%%41",
       {{"a", "%"}, {"b", "%4"}, {"c", "%zz"}, {"d", "%4z"}, {"e", "%A"}}},
      {"a=%00%ff", {{"a", std::string("\0\xFF", 2)}}},
  };
  for (const auto& [body, expected] : cases) EXPECT_EQ(decodeForm(body), expected) << body;
}

TEST(ServiceScenarios, RefusesABadFileInOneLineThatNamesThePlace) {
  const auto scenario = [](const std::string& inside) {
    return R"({"keys": {"k": {"scenarios": [{)" + inside + "}]}}}";
  };
  const std::pair<std::string, std::string> cases[] = {
      {"", "line 1"},
      {"{\n\"keys\": [1,}", "line 2"},
      {"{}", "keys: is not an object"},
      {R"({"keys": {}, "Keys": {}})", R"(unknown key "Keys")"},
      {R"({"keys": {"k\n": 1}})", R"(keys."k\n": is not an object)"},
      {R"({"keys": {"k": {"korvani_uuid": "c0ffee5e-9a71-4d2b-b3f8-1e64a7d50392"}}})", "32 hex"},
      {scenario(R"("minor": 1, "answer": {})"), "scenarios[0]: major"},
      {scenario(R"("major": 65536, "minor": 1, "answer": {})"), "major"},
      {scenario(R"("major": 1, "minor": "00001", "answer": {})"), "minor"},
      {scenario(R"("major": 1, "minor": 1, "event": 3, "answer": {})"), "event"},
      {scenario(R"("major": 1, "minor": 1, "event": "IN_NEAR", "answer": {})"), "event is none of"},
      {scenario(R"("major": 1, "minor": 1, "answer": {"success": true})"), "success"},
  };
  for (const auto& [file, expected] : cases) {
    try {
      parseScenarios(file);
      ADD_FAILURE() << "accepted: " << file;
    } catch (const std::runtime_error& error) {
      const std::string what = error.what();
      EXPECT_NE(what.find(expected), std::string::npos) << file << " gave " << what;
      EXPECT_EQ(what.find('\n'), std::string::npos) << what;
    }
  }
}

TEST(ServiceScenarios, TheFirstThatMatchesMajorMinorAndEventCounts) {
  const Customer customer = parseScenarios(R"(// comments are allowed
    {"keys": {"k": {"scenarios": [ /* everywhere */
      {"major": "00ab", "minor": 10, "event": "IN_NEAR_REGION", "answer": {"n": "near"}},
      {"major": 171, "minor": "A", "answer": {"n": "any"}},
      {"major": 171, "minor": "A", "answer": {"n": "never"}},
      {"major": 65535, "minor": 0, "answer": {"n": "edge"}}]}}})")
                                .at("k");
  const struct {
    const char *major, *minor, *event, *expected;
  } cases[] = {
      {"00AB", "000A", "IN_NEAR_REGION", "near"},
      {"00AB", "000A", "IN_FAR_REGION", "any"},
      {"FFFF", "0000", "", "edge"},
      {"00AB", "0010", "IN_NEAR_REGION", ""},
      {"", "", "", ""},
      {"000A", "00AB", "IN_NEAR_REGION", ""},
      {"0x0A", "000A", "", ""},
      {"00AB", "-00A", "", ""},
  };
  for (const auto& [major, minor, event, expected] : cases) {
    const Scenario* found = findScenario(customer, major, minor, event);
    EXPECT_EQ(found ? found->answer["n"] : Json(""), expected) << major << minor << event;
  }
}

TEST(Service, AnswersEachKeyFromItsOwnPartOfTheFile) {
  Service service(parseScenarios(R"({"keys": {
      "off": {"disabled": true, "scenarios": [{"major": 1, "minor": 1, "answer": {}}]},
      "on": {"scenarios": [{"major": 1, "minor": 1,
        "answer": {"url": "${base}/p?${base", "image": {"list": ["${base}${base}", 3]}}}]}}})"),
                  "http://here:1");
  const Parameters beacon = {{"major", "0001"}, {"minor", "0001"}, {"event", "IN_FAR_REGION"}};
  const auto id = [](const char* text) { return Parameters{{"scenario_history_id", text}}; };
  const struct {
    const char *endpoint, *key;
    Parameters parameters;
    const char* expected;
  } cases[] = {
      {"configuration", nullptr, {}, R"({"error_message":"The API key is missing."})"},
      {"scenario", "On", beacon, R"({"error_message":"This API key is not known."})"},
      {"configuration", "off", {}, R"({"success":true,"disabled":true})"},
      {"scenario", "off", {}, R"({"success":false,"disabled":true})"},
      {"confirm", "on", id("1"), R"({"success":false})"},
      {"scenario", "on", beacon,
       R"({"success":true,"scenario_history_id":1,"url":"http://here:1/p?${base",)"
       R"("image":{"list":["http://here:1http://here:1",3]}})"},
      {"scenario", "off", beacon, R"({"success":true,"scenario_history_id":2,"disabled":true})"},
      {"confirm", "on", id("1"), R"({"success":true})"},
      {"confirm", "on", id("1"), R"({"success":true})"},
      {"confirm", "on", id("2"), R"({"success":false})"},
      {"confirm", "off", id("2"), R"({"success":true,"disabled":true})"},
      {"confirm", "on", id("1x"), R"({"success":false})"},
      {"confirm", "on", id("99999999999999999999"), R"({"success":false})"},
  };
  for (const auto& [endpoint, key, parameters, expected] : cases) {
    const auto asked = key ? std::optional<std::string>(key) : std::nullopt;
    EXPECT_EQ(service.answer(endpoint, asked, parameters).body.dump(), expected);
  }
}

TEST(Service, ChangesWhatItIsToldAndNothingElse) {
  Service service(parseScenarios(R"({"keys": {"k": {"disabled": true}, "other": {}}})"), "");
  const auto answerAfter = [&](const std::string& change) {
    try {
      service.change(parseJson(change));
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return service.answer("scenario", "k", {{"major", "1"}, {"minor", "1"}}).body.dump();
  };
  const std::string add = R"({"scenario": {"key": "k", "index": 0, "scenario":
      {"major": 1, "minor": 1, "answer": {"n": )";
  const std::string before = service.settings().dump();
  const std::string deep(200, '[');
  const std::pair<std::string, std::string> refused[] = {
      {"{}", "the change: is not one of settings and scenario"},
      {deep, "the text: is nested too deeply"},
      {R"({"settings": {"key": "K"}})", "settings: key is not known"},
      {R"({"settings": {"key": "k", "error_message": ")" + std::string(1001, 'x') + R"("}})",
       "settings: error_message is too long"},
      {R"({"scenario": {"key": "k", "index": 1}})", "scenario: index is not a number from 0 to 0"},
      {add + '"' + std::string(65536, 'x') + R"("}}}})", "scenario: is too long"},
  };
  for (const auto& [change, expected] : refused) EXPECT_EQ(answerAfter(change), expected);
  EXPECT_EQ(service.settings().dump(), before);

  EXPECT_EQ(answerAfter(R"({"settings": {"key": "k", "disabled": false}})"),
            R"({"success":false,"disabled":false})");
  EXPECT_EQ(answerAfter(R"({"settings": {"key": "k"}})"), R"({"success":false})");
  EXPECT_EQ(answerAfter(add + "1}}}}"), R"({"success":true,"scenario_history_id":1,"n":1})");
  EXPECT_EQ(answerAfter(add + "2}}}}"), R"({"success":true,"scenario_history_id":2,"n":2})");
}

TEST(ServiceFaults, RefusesWhatIsNoOrder) {
  Faults faults;
  const auto order = [](const char* kind, const char* endpoint, Json seconds, Json count) {
    return Json{{"kind", kind}, {"endpoint", endpoint}, {"seconds", seconds}, {"count", count}};
  };
  for (const Json& wrong :
       {order("slow", "", 1u, 1u), order("reset", "page", 1u, 1u), order("delay", "", 61, 1),
        order("delay", "", -1, 1), order("reset", "", 0u, 1001u), Json("reset")}) {
    EXPECT_THROW(faults.order(wrong), std::runtime_error) << wrong;
  }
  faults.order(order("delay", "confirm", 60u, 1u));
  EXPECT_FALSE(faults.take("scenario"));
  EXPECT_EQ(faults.take("confirm")->seconds, 60);
}

TEST(ServiceFeed, TellsEachEventOnceAndForgetsTheOldest) {
  constexpr std::chrono::milliseconds kNoPatience{0};
  Feed feed;
  std::uint64_t last = 0;
  feed.publishState("old");
  feed.publishState("new");
  feed.publishRequest("first");
  EXPECT_EQ(feed.next(last, kNoPatience),
            "id: 2\nevent: state\ndata: new\n\nid: 3\nevent: request\ndata: first\n\n");
  EXPECT_EQ(feed.next(last, kNoPatience), "");
  const auto kept = [&] {
    std::uint64_t begin = 2;
    const std::string text = feed.next(begin, kNoPatience);
    std::size_t count = 0;
    for (auto at = text.find("id: "); at != std::string::npos; at = text.find("id: ", at + 1)) {
      ++count;
    }
    return count;
  };
  for (std::size_t i = 0; i < Feed::kMostRequests + 1; ++i) feed.publishRequest("next");
  EXPECT_EQ(kept(), Feed::kMostRequests);
  for (int i = 0; i < 80; ++i) feed.publishRequest(std::string(64 * 1024, 'x'));
  EXPECT_EQ(kept(), 63u);  // of 64 KiB and their frames
  std::thread ending([&] { feed.end(); });
  last = ~std::uint64_t{0};
  EXPECT_EQ(feed.next(last, std::chrono::hours(1)), "");
  ending.join();
  EXPECT_TRUE(feed.ended());
}

TEST(ServiceLog, WatchersSeeNoLongLine) {
  Feed feed;
  RequestLog log("/dev/null", feed);
  log.write({"POST", "confirm", "k", {{"a", std::string(1 << 20, 'x')}}, 200, {}});
  std::uint64_t last = 0;
  const std::string told = feed.next(last, {});
  EXPECT_LT(told.size(), 300u);
  EXPECT_NE(told.find("too long"), std::string::npos) << told;
}

}  // namespace
}  // namespace korvani::service
