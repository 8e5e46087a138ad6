// What the service answers and logs, without the network.
#include "service.h"

#include <gtest/gtest.h>

#include "request_log.h"

namespace korvani::service {
namespace {

TEST(ServiceForm, DecodesWhatTheKitSendsAndWhatItNeverSends) {
  const std::pair<std::string, Parameters> cases[] = {
      {"", {}},
      {"&&", {}},
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
      {"[]", "the file: is not an object"},
      {"{}", "keys: is not an object"},
      {R"({"keys": {}, "Keys": {}})", R"(unknown key "Keys")"},
      {R"({"keys": {"k\n": 1}})", R"(keys."k\n": is not an object)"},
      {R"({"keys": {"k": {"korvani_uuid": "c0ffee5e-9a71-4d2b-b3f8-1e64a7d50392"}}})", "32 hex"},
      {R"({"keys": {"k": {"korvani_uuid": 7}}})", "32 hex"},
      {R"({"keys": {"k": {"scenarios": {}}}})", "scenarios is not a list"},
      {scenario(R"("minor": 1, "answer": {})"), "scenarios[0]: major"},
      {scenario(R"("major": 65536, "minor": 1, "answer": {})"), "major"},
      {scenario(R"("major": 1, "minor": -1, "answer": {})"), "minor"},
      {scenario(R"("major": 1, "minor": "00001", "answer": {})"), "minor"},
      {scenario(R"("major": 1, "minor": 1, "event": 3, "answer": {})"), "event"},
      {scenario(R"("major": 1, "minor": 1)"), "answer is not an object"},
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
      {"00AB", "000A", "", "any"},
      {"FFFF", "0000", "", "edge"},
      {"00AB", "0010", "IN_NEAR_REGION", ""},
      {"", "", "", ""},
      {"000A", "00AB", "IN_NEAR_REGION", ""},
      {"0x0A", "000A", "", ""},
      {"100AB", "000A", "", ""},
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
      "on": {"korvani_uuid": "0123456789abcdefABCDEF0123456789", "scenarios": [{"major": 1, "minor": 1,
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
      {"configuration",
       "on",
       {},
       R"({"success":true,"korvani_uuid":"0123456789abcdefABCDEF0123456789"})"},
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
      {"confirm", "on", id("0"), R"({"success":false})"},
      {"confirm", "on", id("1x"), R"({"success":false})"},
      {"confirm", "on", id("99999999999999999999"), R"({"success":false})"},
      {"confirm", "on", {}, R"({"success":false})"},
  };
  for (const auto& [endpoint, key, parameters, expected] : cases) {
    const auto asked = key ? std::optional<std::string>(key) : std::nullopt;
    EXPECT_EQ(service.answer(endpoint, asked, parameters).body.dump(), expected);
  }
}

TEST(ServiceLog, IsOneLineWhateverBytesCame) {
  EXPECT_EQ(
      logLine({"POST", "confirm", "k\xFF", {{"a\n", std::string("\0\xC3", 2)}}, 200, {}}, "T"),
      R"({"time":"T","method":"POST","endpoint":"confirm","key":"k�",)"
      R"("parameters":{"a\n":"\u0000�"},"status":200,"answer":null})");
}

}  // namespace
}  // namespace korvani::service
