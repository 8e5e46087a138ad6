// A survey on a clock of the test's own, in words and in JSON.
#include "survey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "report.h"

namespace korvani::beacons {
namespace {

using namespace std::chrono_literals;
using platform::RegionState;
using platform::Uuid;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const Uuid kOurs = *Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71");
const Uuid kOther = *Uuid::fromString("00000000-0000-0000-0000-000000000001");

class SurveyTest : public testing::Test {
 protected:
  Survey surveyOf(const std::set<Uuid>& only) {
    return Survey([this] { return now_; }, only);
  }
  location::Moment now_{1h};
};

TEST_F(SurveyTest, ShowsBeaconsAndRegions) {
  Survey survey = surveyOf({});
  EXPECT_EQ(table(survey.look()), "00:00  no beacon in range\n");
  survey.beaconHeard({kOurs, 1, 171, -59}, -65);
  survey.beaconHeard({kOther, 65535, 0, 0}, 127);
  now_ += 65s;
  survey.beaconHeard({kOurs, 1, 173, -59}, -40);
  now_ += 500ms;
  EXPECT_EQ(table(survey.look()),
            "01:05\n"
            "00000000-0000-0000-0000-000000000001  outside\n"
            "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71  inside\n"
            "  major  minor  RSSI                accuracy  proximity     age\n"
            "      1    173   -40 ████████████      0.1 m  immediate   0.5 s\n");
  survey.beaconHeard({kOther, 65535, 0, 0}, 127);
  EXPECT_THAT(table(survey.look()),
              HasSubstr("  65535      0     - ░░░░░░░░░░░░          -  unknown     0.0 s\n"));
  const std::string line = json(survey.look());
  EXPECT_THAT(line, StartsWith(R"({"at":65.5,"beacons":[{"accuracy":0.)"));
  EXPECT_THAT(line, EndsWith(R"({"accuracy":null,"age":0.0,"major":65535,"minor":0,)"
                             R"("proximity":"unknown","rssi":null,)"
                             R"("uuid":"00000000-0000-0000-0000-000000000001"}],"failure":null,)"
                             R"("regions":[)"
                             R"({"state":"inside","uuid":"00000000-0000-0000-0000-000000000001"},)"
                             R"({"state":"inside","uuid":"5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"}]})"
                             "\n"));
}

TEST_F(SurveyTest, NamedRegionsAreAlwaysListedAndNoOthers) {
  Survey survey = surveyOf({kOurs});
  EXPECT_EQ(survey.look().regions.at(0).state, RegionState::kUnknown);
  survey.beaconHeard({kOther, 1, 1, -59}, -60);
  now_ += 30s;
  EXPECT_EQ(survey.look().regions.at(0).state, RegionState::kOutside);
  survey.beaconHeard({kOurs, 1, 1, -59}, -60);
  EXPECT_EQ(survey.look().regions.at(0).state, RegionState::kInside);
  EXPECT_THAT(survey.look().regions, SizeIs(1));
  EXPECT_THAT(survey.look().beacons, SizeIs(1));
}

TEST_F(SurveyTest, WithoutARadioNothingIsKnown) {
  Survey survey = surveyOf({});
  survey.beaconHeard({kOurs, 1, 1, -59}, -60);
  survey.availabilityChanged("Bluetooth is switched off");
  survey.beaconHeard({kOurs, 1, 1, -59}, -60);
  EXPECT_EQ(table(survey.look()),
            "00:00  Bluetooth is switched off\n"
            "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71  unknown\n");
  survey.availabilityChanged(std::nullopt);
  now_ += 31s;
  EXPECT_EQ(survey.look().regions.at(0).state, RegionState::kOutside);
  survey.beaconHeard({kOurs, 1, 1, -59}, -60);
  survey.availabilityChanged(std::nullopt);
  EXPECT_THAT(survey.look().beacons, SizeIs(1)) << "told twice";
}

TEST_F(SurveyTest, AFloodOfRegionsIsBounded) {
  Survey survey = surveyOf({});
  for (int i = 0; i < 300; ++i) {
    Uuid::Bytes bytes{};
    bytes[0] = static_cast<std::uint8_t>(i);
    bytes[1] = static_cast<std::uint8_t>(i >> 8);
    survey.beaconHeard({Uuid(bytes), 1, 1, -59}, -60);
  }
  EXPECT_THAT(survey.look().regions, SizeIs(Survey::kMostRegions));
  now_ += 31s;
  EXPECT_THAT(survey.look().beacons, IsEmpty());
  survey.beaconHeard({kOurs, 1, 1, -59}, -60);
  EXPECT_THAT(survey.look().regions, SizeIs(1));
  EXPECT_THAT(survey.look().beacons, SizeIs(1));
}

}  // namespace
}  // namespace korvani::beacons
