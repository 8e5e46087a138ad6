// A road is complete only when the phone and the service's log agree on every delivery.
#include "road.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service_log.h"

namespace demo {
namespace {

using korvani::platform::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class RoadTest : public testing::Test {
 protected:
  static std::vector<std::string> texts(const QStringList& lines) {
    std::vector<std::string> texts;
    for (const QString& line : lines) texts.push_back(line.toStdString());
    return texts;
  }

  void log(const std::string& endpoint, const std::string& parameters, const std::string& answer) {
    road_->requestLogged(QJsonDocument::fromJson(
                             QByteArray::fromStdString(R"({"method":"POST","endpoint":")" +
                                                       endpoint + R"(","parameters":)" +
                                                       parameters + R"(,"answer":)" + answer + "}"))
                             .object());
  }
  void grant(int id) {
    log("scenario", R"({"major":"0001","minor":"000A","event":"IN_NEAR_REGION"})",
        R"({"success":true,"type":"WVW","scenario_history_id":)" + std::to_string(id) + "}");
  }
  void confirm(int id, bool success = true) {
    log("confirm", R"({"scenario_history_id":")" + std::to_string(id) + R"("})",
        success ? R"({"success":true})" : R"({"success":false})");
  }
  static Value userInfo(int id) { return Value().with("scenario_history_id", id); }
  void post(int id) { road_->notificationPosted("Hello", userInfo(id)); }
  void open(int id) { road_->notificationOpened(userInfo(id)); }
  void show() { road_->screenShown("web pop-up http://x/"); }
  void walk(int id) {
    grant(id);
    post(id);
    open(id);
    show();
    confirm(id);
  }

  std::optional<Road> road_;
};

TEST_F(RoadTest, EachFaultIsMissed) {
  struct Case {
    const char* missing;
    std::function<void()> happens;
  };
  const Case cases[] = {
      {"beacon 1/10: not reported", [] {}},
      {"beacon 1/10: granted nothing",
       [&] { log("scenario", R"({"major":"1","minor":"a"})", R"({"success":false})"); }},
      {"delivery 1: notified 0 times", [&] { grant(1), open(1), show(), confirm(1); }},
      {"delivery 1: opened 0 times", [&] { grant(1), post(1), show(), confirm(1); }},
      {"WVW: opened 1 times, shown 0 times", [&] { grant(1), post(1), open(1), confirm(1); }},
      {"delivery 1: confirmed 0 times",
       [&] { grant(1), post(1), open(1), show(), confirm(1, false); }},
      {"delivery 1: confirmed 2 times", [&] { walk(1), confirm(1); }},
      {"delivery 1: granted 2 times", [&] { walk(1), grant(1); }},
      {"delivery 2: granted 0 times", [&] { walk(1), post(2); }},
      {"2 deliveries for 1 beacons",
       [&] { walk(1), grant(2), post(2), open(2), road_->screenShown(""), show(), confirm(2); }},
      {"an alert that nobody expected", [&] { walk(1), road_->alertShown("No"); }},
  };
  for (const Case& fault : cases) {
    road_.emplace(QSet<QString>{"1/10"}, true, [](const QString&, const QString&) {});
    fault.happens();
    EXPECT_THAT(texts(road_->missing()), Contains(fault.missing));
  }
}

TEST(ServiceLogTest, FollowsAFileThatComesLateAndGrowsInPieces) {
  const QTemporaryDir folder;
  ServiceLog log(folder.filePath("log"));
  EXPECT_THAT(log.takeNew(), IsEmpty());
  QFile file(folder.filePath("log"));
  ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
  file.write("{\"n\":1}\n{\"n\"");
  EXPECT_THAT(log.takeNew(), ElementsAre(QJsonObject{{"n", 1}}));
  EXPECT_THAT(log.takeNew(), IsEmpty());
  file.write(":2}\nno object\n{\"n\":3}\n");
  EXPECT_THAT(log.takeNew(), ElementsAre(QJsonObject{{"n", 2}}, QJsonObject{{"n", 3}}));
}

}  // namespace
}  // namespace demo
