// The kit's pure decisions: escaping, identifiers, UUID grouping, and which beacons to report.
#include <gtest/gtest.h>
#include <korvani/beacons/selection.h>
#include <korvani/net/configuration.h>
#include <korvani/net/form_encoding.h>
#include <korvani/net/parameters.h>

#include <limits>

namespace korvani {
namespace {

using platform::Beacon;

TEST(FormEncoding, Escaping) {
  const std::pair<std::string, std::string> cases[] = {
      {"a b+c&d=\xC3\xA9", "a+b%2Bc%26d%3D%C3%A9"},
      {"-._~*", "-._~%2A"},
      {":/?@!$&'()*+,;=", "%3A%2F%3F%40%21%24%26%27%28%29%2A%2B%2C%3B%3D"},
      {"%#[]\"<>\\^`{|}", "%25%23%5B%5D%22%3C%3E%5C%5E%60%7B%7C%7D"},
      {std::string("\0\n\x7F", 3), "%00%0A%7F"},
      {"\xF0\x9F\x8E\x88", "%F0%9F%8E%88"},
      // A surrogate, more bytes than the character takes, and beyond the last character.
      {"\xED\xA0\x80", "%EF%BF%BD%EF%BF%BD%EF%BF%BD"},
      {"\xE0\x80\x80", "%EF%BF%BD%EF%BF%BD%EF%BF%BD"},
      {"\xF0\x80\x80\x80", "%EF%BF%BD%EF%BF%BD%EF%BF%BD%EF%BF%BD"},
      {"\xF4\x90\x80\x80", "%EF%BF%BD%EF%BF%BD%EF%BF%BD%EF%BF%BD"},
  };
  for (const auto& [text, escaped] : cases) EXPECT_EQ(percentEscapeString(text), escaped);
  EXPECT_EQ(httpBodyForParamsDictionary({{"a", "1"}, {"b&", " "}}), "a=1&b&=+");
}

TEST(Parameters, PercentAndProximity) {
  const std::pair<float, int> levels[] = {
      {0.125F, 13}, {0.0F, 0},     {1.0F, 100},   {0.005F, 1},
      {0.564F, 56}, {1.004F, 100}, {-1.0F, -100}, {std::numeric_limits<float>::quiet_NaN(), -100}};
  for (const auto& [level, percent] : levels) EXPECT_EQ(batteryPercent(level), percent) << level;
  EXPECT_EQ(proximityWord(0), std::nullopt);
  EXPECT_EQ(proximityWord(-7), "");
}

TEST(Configuration, CutsCharactersNotBytes) {
  EXPECT_EQ(hyphenatedUUID("0123456789abcdef0123456789abcdefTAIL"),
            "01234567-89ab-cdef-0123-456789abcdef");
  EXPECT_EQ(hyphenatedUUID("0123456789abcdef0123456789abcde"), std::nullopt);
  const std::string sixteen =
      "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"
      "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9";
  EXPECT_EQ(hyphenatedUUID(sixteen), std::nullopt) << "32 bytes, but 16 characters";
  ASSERT_TRUE(hyphenatedUUID(sixteen + sixteen));
  EXPECT_EQ(hyphenatedUUID(sixteen + sixteen)->size(), 64U + 4U);
}

Beacon beacon(std::uint8_t uuid, std::uint16_t minor, int proximity) {
  platform::Uuid::Bytes bytes{};
  bytes[15] = uuid;
  return {platform::Uuid(bytes), 1, minor, proximity};
}

TEST(Selection, NewOrChangedToAKnownProximity) {
  const Beacon aNear = beacon(1, 1, 2), aFar = beacon(1, 1, 3), aUnknown = beacon(1, 1, 0);
  const Beacon bNear = beacon(1, 2, 2), otherUuid = beacon(2, 1, 2), odd = beacon(1, 1, 9);
  const Beacon otherMajor{aNear.proximityUUID, 2, aNear.minor, aNear.proximity};
  struct Case {
    std::vector<Beacon> current;
    std::vector<RangedBeacon> previous;
    std::vector<std::size_t> chosen;
  };
  const Case cases[] = {
      {{aNear, bNear}, {}, {0, 1}},
      {{aUnknown}, {}, {0}},
      {{aNear}, {aNear}, {}},
      {{aFar}, {aNear}, {0}},
      {{aUnknown}, {aNear}, {}},
      {{aNear}, {aUnknown}, {0}},
      {{odd}, {aNear}, {0}},
      {{aNear}, {bNear}, {0}},
      {{otherUuid, otherMajor, bNear}, {aNear, bNear}, {0, 1}},
      // The first of several earlier ones decides, and one list may name a beacon twice.
      {{aNear}, {aNear, aFar}, {}},
      {{aNear}, {aFar, aNear}, {0}},
      {{aNear, aFar}, {aNear}, {1}},
  };
  for (const Case& c : cases) {
    std::vector<std::size_t> chosen;
    for (std::size_t i = 0; i < c.current.size(); ++i) {
      if (isToReport(c.current[i], c.previous)) chosen.push_back(i);
    }
    EXPECT_EQ(chosen, c.chosen) << (&c - cases);
  }
}

}  // namespace
}  // namespace korvani
