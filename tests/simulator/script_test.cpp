// Scripts: every name, key, type and range is checked, and the error says where and what.
#include "script.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace korvani::replay {
namespace {

/// What is wrong with the script; empty when nothing is.
std::string wrongWith(const std::string& text) {
  std::istringstream input(text);
  Script script(input, "test");
  try {
    while (script.next()) {
    }
  } catch (const ScriptError& error) {
    return error.what();
  }
  return "";
}

TEST(Script, TakesWhatIsDescribed) {
  const std::string beacon =
      R"({"uuid":"5a1c0de2-7b4e-4f19-9c3d-2e8b6f0a4d71","major":0,"minor":65535,"proximity":-4})";
  const std::string lines[] = {
      "",
      "# a comment\n\n   \r\n{\"at\":0}\n{\"at\":0.0}\n{\"at\":86400.125}",
      R"({"phone":{"now":"2024-02-29T00:00:00.5Z","utcOffset":"-0930","locale":"fr_FR"}})",
      R"({"phone":{"battery":-1,"location":null,"screen":{"width":390.5,"height":844}}})",
      R"({"phone":{"battery":0.5,"location":{"latitude":-90,"longitude":180}}})",
      R"({"phone":{"store":{"a":null,"b":{"date":"2026-11-14T22:00:00Z"},"c":{"date":1,"x":2}}}})",
      R"({"phone":{"answers":{"confirm":{"json":null},"scenario":[{"text":""},{"error":"x"}]}}})",
      R"({"phone":{"backgroundTasks":false,"backgroundTimeRemaining":1e300}})",
      R"({"call":"setStatusBarStyle","value":-2})",
      R"({"call":"setColorBackground","value":"#20aAfF"})",
      R"({"call":"setCloseButtonImage","value":null})",
      R"({"call":"setUserId","value":null})",
      R"({"call":"didReceiveLocalNotification","userInfo":[1]})",
      R"({"event":"didRangeBeacons","beacons":[)" + beacon + "," + beacon + "]}",
      R"({"event":"tap","x":-1,"y":1e9})",
      R"({"inspect":"store","at":3})",
  };
  for (const std::string& line : lines) EXPECT_EQ(wrongWith(line), "") << line;
}

TEST(Script, RefusesAllElseAndSaysWhereAndWhat) {
  const std::string kUuid = R"("uuid":"5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71")";
  const std::string kRadio = R"({"phone":{"locationService":"radio"}})"
                             "\n";
  const auto ranged = [&](const std::string& beacon) {
    return R"({"event":"didRangeBeacons","beacons":[)" + beacon + "]}";
  };
  const std::pair<std::string, std::string> cases[] = {
      // The line itself.
      {"{", "test:1: no JSON: column 2: "},
      {" # no comment", "no JSON"},
      {"{}", "the line says nothing"},
      {R"({"phnoe":{}})", "unknown key \"phnoe\""},
      {R"({"phone":{},"inspect":"store"})", "a line has one of"},
      {R"({"at":"1"})", "\"at\": must be a number"},
      {R"({"at":1e30})", "\"at\": must be a number from 0 to 3155760000"},
      {"{\"at\":2}\n{\"at\":1.999}", "test:2: \"at\": goes back"},
      {"{\"at\":0.0014}\n{\"at\":0.0006}", "goes back"},
      {"\n#\n{\"at\":1}\n\n{\"at\":0}", "test:5: "},
      {R"({"inspect":"stores"})", "\"inspect\": must be"},
      // The phone.
      {R"({"phone":{"nwo":1}})", "unknown key \"nwo\""},
      {R"({"phone":{"now":"2026-02-29T00:00:00Z"}})", "\"now\": must be a date"},
      {R"({"phone":{"now":"2026-01-01T24:00:00Z"}})", "\"now\": must be a date"},
      {R"({"phone":{"now":"2026-1-01T12:00:00.0001Z"}})", "\"now\": must be a date"},
      {"{\"at\":0}\n"
       R"({"phone":{"now":"2026-01-01T12:00:00Z"}})",
       "the first line only"},
      {R"({"phone":{"locationService":"wifi"}})", "must be \"scripted\" or \"radio\""},
      {R"({"phone":{"authorized":false}})", "\"authorized\": it needs the location service"},
      {R"({"phone":{"utcOffset":"+0160"}})", "\"utcOffset\": must be an offset"},
      {R"({"phone":{"locale":5}})", "\"locale\": must be a text"},
      {R"({"phone":{"battery":-0.5}})", "\"battery\": must be 0.0 to 1.0, or -1"},
      {R"({"phone":{"location":{"latitude":1}}})", "\"location\": \"longitude\" is missing"},
      {R"({"phone":{"location":{"latitude":91,"longitude":0}}})", "\"latitude\": must be a"},
      {R"({"phone":{"store":{"k":{"date":"yesterday"}}}})", "\"store\": \"k\": must be a date"},
      {R"({"phone":{"answers":{"scenarios":{"json":1}}}})", "\"scenarios\": is no endpoint"},
      {R"({"phone":{"answers":{"scenario":[]}}})", "\"scenario\": must not be an empty list"},
      {R"({"phone":{"answers":{"scenario":{"json":1,"text":""}}}})", "an answer has one of"},
      {R"({"phone":{"answers":{"scenario":{"json":1,"after":-1}}}})", "\"after\": must be"},
      {R"({"phone":{"files":{"http://a":"/"}}})", "cannot read the file"},
      {R"({"phone":{"pages":{"http://a":"gone"}}})", "\"http://a\": must be an object"},
      // Calls.
      {R"({"call":1})", "\"call\": must be a text"},
      {R"({"call":"start"})", "unknown call \"start\""},
      {R"({"call":"initWithAPIKey","APIKey":1})", "\"APIKey\": must be a text or null"},
      {R"({"call":"initWithAPIKey","APIKey":"","localNotification":{"userInfo":[]}})",
       "\"userInfo\": must be an object or null"},
      {R"({"call":"setDelegate","value":"weak"})", "must be true, false or \"gone\""},
      {R"({"call":"setStatusBarStyle","value":2147483648})", "must be an integer"},
      {R"({"call":"setColorBackground","value":"#+1-2 3"})", "must be a colour"},
      {R"({"call":"setCloseButtonImage","value":"/dev/null"})", "is no image"},
      {R"({"call":"didBecomeActive","value":1})", "unknown key \"value\""},
      {R"({"call":"didReceiveLocalNotification"})", "\"userInfo\" is missing"},
      // Events.
      {R"({"event":null})", "\"event\": must be a text"},
      {R"({"event":"didRangeBeacon"})", "unknown event \"didRangeBeacon\""},
      {R"({"event":"advert","bytes":""})", "\"advert\" needs the location service \"radio\""},
      {kRadio + R"({"event":"didEnterRegion"})", "needs the location service \"scripted\""},
      {kRadio + R"({"event":"advert"})", "test:2: \"bytes\" is missing"},
      {kRadio + R"({"event":"advert","bytes":"02 1"})", "\"bytes\": must be bytes in hex"},
      {kRadio + R"({"event":"advert","bytes":"","rssi":128})", "\"rssi\": must be an integer"},
      {kRadio + R"({"event":"advert","bytes":"","address":"00:00:00:00:00:011"})", "an address"},
      {ranged("{" + kUuid + R"(,"major":65536,"minor":0,"proximity":0})"),
       "\"beacons\"[0]: \"major\": must be an integer from 0 to 65535"},
      {ranged("{" + kUuid + R"(,"major":1,"minor":1,"proximity":1,"rssi":-5})"), "\"rssi\""},
      {ranged(R"({"uuid":"5A1C0DE2","major":1,"minor":1,"proximity":1})"), "must be a UUID"},
      {R"({"event":"didDetermineState","state":3})", "\"state\": must be an integer from 0 to 2"},
      {R"({"event":"tap","x":1,"y":"2"})", "\"y\": must be a number"},
  };
  for (const auto& [script, what] : cases) {
    const std::string wrong = wrongWith(script);
    EXPECT_NE(wrong.find(what), std::string::npos) << script << "\ngives: " << wrong;
    EXPECT_EQ(wrong.rfind("test:", 0), 0U) << wrong;
    EXPECT_EQ(wrong.find('\n'), std::string::npos) << wrong;
  }
}

}  // namespace
}  // namespace korvani::replay
