// JSON: what is read and how, what is refused, and that nothing hostile does harm.
#include <gtest/gtest.h>
#include <korvani/codec/json.h>

#include <limits>
#include <string>

namespace korvani::codec {
namespace {

using namespace std::string_literals;
using platform::Value;

Value read(const std::string& text) { return JSON().JSONObjectWithData(text); }

TEST(JSON, ReadsObjectsAndArrays) {
  const std::pair<std::string, Value> cases[] = {
      {"{}", Value::Dictionary{}},
      {"\xEF\xBB\xBF[1]", Value::Array{1}},
      // Of a repeated key the last counts, its kind too.
      {R"({"a":1,"b":2,"a":[3],"a":"last"})", Value::Dictionary{{"a", "last"}, {"b", 2}}},
      {R"({"":1,"a\u0000b":2})", Value::Dictionary{{"", 1}, {"a\0b"s, 2}}},
      {R"(["\u0000\ud83d\ude00\u00e9\/\n"])", Value::Array{"\0\xF0\x9F\x98\x80\xC3\xA9/\n"s}},
      // 64-bit integers keep every digit; what is longer is a real.
      {"[9223372036854775807,-9223372036854775808,18446744073709551615]",
       Value::Array{std::numeric_limits<std::int64_t>::max(),
                    std::numeric_limits<std::int64_t>::min(),
                    std::numeric_limits<std::uint64_t>::max()}},
      {"[18446744073709551616,-9223372036854775809]",
       Value::Array{18446744073709551616.0, -9223372036854775808.0}},
      {"[1.0,1e2,1e-999]", Value::Array{1.0, 100.0, 0.0}},
      {"[0." + std::string(5000, '3') + "]", Value::Array{1.0 / 3}},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(read(text), expected) << text << " gives " << read(text).jsonText();
    EXPECT_FALSE(read(text).isNull()) << text;
  }
}

TEST(JSON, RefusesAllElseWithNull) {
  const std::string cases[] = {
      // Nothing, scalars, and what is cut or goes on after the end, also behind a NUL.
      "", "1", "null", "\"text\"", "{", R"({"a":1)", "[]]", "{}x", "[1]\0"s, "\0[1]"s, "[\"\0\"]"s,
      // What other readers take: comments, trailing commas, names for numbers.
      "[1,]", "[01]", "[NaN]", "[1]//",
      // Bytes that are no UTF-8: stray, overlong, half of a pair, beyond the last code point, cut.
      "[\"\x80\"]", "[\"\xC0\xAF\"]", "[\"\xED\xA0\x80\"]", "[\"\xF4\x90\x80\x80\"]",
      "[\"\xE2\x82\"]", "{\"\xFF\":1}",
      // Grammatical, but of no meaning: half a surrogate pair, a number beyond all doubles.
      R"(["\ud800"])", R"(["\udc00x"])", R"(["\ud800\u0041"])", "[1e999]", "[-1e999]",
      "[" + std::string(400, '9') + "]"};
  for (const std::string& text : cases) EXPECT_TRUE(read(text).isNull()) << text;
}

std::string nested(std::size_t levels) {
  std::string text;
  for (std::size_t i = 0; i < levels; ++i) text += i % 2 == 0 ? "[" : R"({"a":)";
  if (levels % 2 == 0) text += "1";
  for (std::size_t i = levels; i > 0; --i) text += i % 2 == 1 ? "]" : "}";
  return text;
}

TEST(JSON, IsLimitedInDepthAndSize) {
  EXPECT_FALSE(read(nested(512)).isNull());
  EXPECT_TRUE(read(nested(513)).isNull());
  EXPECT_TRUE(read(std::string(1'000'000, '[')).isNull());

  std::string largest = "[" + std::string(16 * 1024 * 1024 - 2, ' ') + "]";
  EXPECT_EQ(read(largest), Value(Value::Array{}));
  EXPECT_TRUE(read(largest + " ").isNull());
}

TEST(JSON, ForToolsReadsAnyValueAndSaysWhatIsWrong) {
  std::string error;
  EXPECT_EQ(parseJSON("\"\"", error), Value(""));
  EXPECT_EQ(error, "");

  const std::pair<std::string, std::string> cases[] = {
      {R"({"a":x})", "column 6"},
      {"\0"s, "NUL"},
      {std::string(16 * 1024 * 1024 + 1, ' '), "16 MiB"},
  };
  for (const auto& [text, said] : cases) {
    EXPECT_EQ(parseJSON(text, error), std::nullopt);
    EXPECT_NE(error.find(said), std::string::npos) << error;
    EXPECT_EQ(error.find("json.exception"), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace korvani::codec
