// Values, UUIDs and URLs: the readings and renderings that the rules of the system rest on.
#include <gtest/gtest.h>
#include <korvani/platform/url.h>
#include <korvani/platform/uuid.h>
#include <korvani/platform/value.h>

#include <chrono>
#include <cstdint>
#include <limits>

namespace korvani::platform {
namespace {

using namespace std::chrono_literals;

constexpr Date at(std::chrono::sys_days day, std::chrono::milliseconds time = 0ms) {
  return Date{day} + time;
}
constexpr std::chrono::sys_days kDay = std::chrono::year{2026} / 11 / 14;

TEST(Value, BooleanReading) {
  const std::pair<Value, bool> cases[] = {
      {Value(), false},
      {true, true},
      {0, false},
      {-3, true},
      {0.0, false},
      {0.25, true},
      {std::numeric_limits<std::uint64_t>::max(), true},
      {"y", true},
      {"True", true},
      {"000", false},
      {"  +007", true},
      {"-01", true},
      {"--1", false},
      {"\t 9", true},
      {"", false},
      {"0y", true},
      {" \xC3\xA9", false},
      {Value::Array{1}, false},
      {Value::Dictionary{{"a", 1}}, false},
      {Value(at(kDay)), false},
  };
  for (const auto& [value, expected] : cases) {
    EXPECT_EQ(value.booleanReading(), expected) << value.jsonText();
  }
}

TEST(Value, RenderingsKeepDigitsAndStayOnOneLine) {
  const Value nested =
      Value::Dictionary{{"b", Value::Array{nullptr, true, -1}}, {"a", "x\"\n\x7F"}};
  struct Case {
    Value value;
    std::string json, plain, description;
  };
  const Case cases[] = {
      {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615", "18446744073709551615",
       "18446744073709551615"},
      {std::numeric_limits<std::int64_t>::min(), "-9223372036854775808", "-9223372036854775808",
       "-9223372036854775808"},
      {0.1, "0.1", "0.1", "0.1"},
      {-1e20, "-100000000000000000000.0", "-100000000000000000000.0", "-100000000000000000000.0"},
      {1e-7, "0.0000001", "0.0000001", "0.0000001"},
      {"\xC2\x85\xE2\x80\xA8\xE2\x80\xA9", R"("\u0085\u2028\u2029")",
       "\xC2\x85\xE2\x80\xA8\xE2\x80\xA9", R"(\u0085\u2028\u2029)"},
      {std::numeric_limits<double>::infinity(), "null", "null", "(null)"},
      {"a\"\r", R"("a\"\r")", "a\"\r", R"(a"\r)"},
      {"\xC3\xA9\xFF", "\"\xC3\xA9\xEF\xBF\xBD\"", "\xC3\xA9\xFF", "\xC3\xA9\xEF\xBF\xBD"},
      {nested, R"({"a":"x\"\n\u007f","b":[null,true,-1]})",
       R"({"a":"x\"\n\u007f","b":[null,true,-1]})", R"({"a":"x\"\n\u007f","b":[(null),true,-1]})"},
      {at(kDay, 22h + 7ms), "\"2026-11-14T22:00:00.007Z\"", "\"2026-11-14T22:00:00.007Z\"",
       "\"2026-11-14T22:00:00.007Z\""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value.jsonText(), c.json);
    EXPECT_EQ(c.value.plainText(), c.plain);
    EXPECT_EQ(c.value.description(), c.description);
  }
}

TEST(Value, KeysAreAskedApartFromValues) {
  const Value original = Value::Dictionary{{"null", nullptr}, {"one", 1}};
  EXPECT_TRUE(original.has("null"));
  EXPECT_TRUE(original.at("null").isNull());
  EXPECT_TRUE(Value("text").at("one").at("deeper").isNull());

  const Value changed = original.with("one", 2).without({"null", "absent"});
  EXPECT_EQ(changed, (Value::Dictionary{{"one", 2}}));
  EXPECT_EQ(original.at("one"), Value(1)) << "a copy's change must not reach the original";
  EXPECT_FALSE(Value(1) == Value(1.0));
}

TEST(Uuid, TextForms) {
  const auto uuid = Uuid::fromString("5a1c0de2-7B4E-4F19-9C3D-2E8B6F0A4D71");
  ASSERT_TRUE(uuid);
  EXPECT_EQ(uuid->UUIDString(), "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71");
  for (const char* text :
       {"", "5A1C0DE27B4E4F199C3D2E8B6F0A4D71", "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D7",
        "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D7G", "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D711",
        "5A1C0DE2+7B4E-4F19-9C3D-2E8B6F0A4D71", "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D-1"}) {
    EXPECT_FALSE(Uuid::fromString(text)) << text;
  }
}

TEST(URL, IsAUriReference) {
  for (const char* text :
       {"", "http://a.example/b?c#d", "shop://today", "mailto:a@b", "a/b:c", "//host", "?q", "#f",
        "http://u:p@[2001:db8::1]:80/", "http://[::ffff:1.2.3.4]", "http://[v1.x:y]/", "http://h:/",
        "tel:+33-1", "/a%20b", "http://[1:2:3:4:5:6:7::]"}) {
    EXPECT_TRUE(URL::URLWithString(text)) << text;
  }
  for (const char* text :
       {"a b", "http://h/\xC3\xA9", "%4", "1http:x", ":x", "a#b#c", "http://[::1", "http://h:8x/",
        "http://[1::2::3]", "http://[1:2:3:4:5:6:7:8:9]", "http://[::1.2.3.256]",
        "http://[1.2.3.4::]", "http://[12345::]", "http://[::1.2.3.04]",
        "http://[1:2:3:4::5:6:7:8]", "http://[v1.%41]", "http://a@b@c/", "a[b]", "a\\b"}) {
    EXPECT_FALSE(URL::URLWithString(text)) << text;
  }
}

}  // namespace
}  // namespace korvani::platform
