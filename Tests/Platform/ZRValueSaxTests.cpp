#include <gtest/gtest.h>

#include "ZRValueSax.h"

using namespace std::string_literals;

namespace {

std::optional<ZRValue> cbor(const std::string& bytes) {
  return ZRValueSax::parseCbor(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

std::string repeated(const std::string& piece, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) text += piece;
  return text;
}

}  // namespace

TEST(ZRValueSax, readsEveryKindOfJson) {
  const ZRDictionary expected{
      {"null", ZRValue::null()},
      {"yes", true},
      {"list", ZRValue::List{1U, -2, 0.5, ZRDictionary()}},
      {"text", "\xE7\xA3\x81 \n"},
      {"big", 18446744073709551615U},
      {"bigger", 18446744073709551616.0},
      {"lower", -9223372036854775809.0},
  };
  EXPECT_EQ(ZRValueSax::parseJson(R"({"null":0,"yes":true,"list":[1,-2,0.5,{}],"text":"\u78c1 \n",
      "big":18446744073709551615,"bigger":18446744073709551616,"lower":-9223372036854775809,"null":null})"),
            ZRValue(expected));
}

TEST(ZRValueSax, refusesWhatIsNotExactlyOneJsonValue) {
  for (const std::string& text : {""s, " "s, "{"s, "[1,]"s, "{} {}"s, "{}x"s, "// a\n1"s, "\"\xFF\""s, "1e999"s,
                                  "{\"a\":1,}"s, "nan"s, "\"\0\""s}) {
    EXPECT_FALSE(ZRValueSax::parseJson(text)) << text;
  }
}

TEST(ZRValueSax, aHugeObjectTakesNoQuadraticTime) {
  std::string text = "{\"k0\":0";
  for (int i = 0; i < 190000; ++i) text += ",\"k" + std::to_string(i % 140000) + "\":" + std::to_string(i);
  const std::optional<ZRValue> value = ZRValueSax::parseJson(text + "}");
  ASSERT_TRUE(value);
  EXPECT_EQ(value->asDictionary()->size(), 140000U);
  EXPECT_EQ((*value->asDictionary())["k49999"], ZRValue(189999U));
}

TEST(ZRValueSax, refusesDocumentsNestedTooDeeply) {
  constexpr std::size_t kDepth = ZRValueSax::kMaxDepth;
  EXPECT_TRUE(ZRValueSax::parseJson(repeated("[", kDepth) + repeated("]", kDepth)));
  EXPECT_FALSE(ZRValueSax::parseJson(repeated("[", kDepth + 1) + repeated("]", kDepth + 1)));
  EXPECT_FALSE(ZRValueSax::parseJson(repeated("{\"a\":", 1000000)));
  EXPECT_TRUE(cbor(repeated("\x81", kDepth) + "\x01"));
  EXPECT_FALSE(cbor(repeated("\x81", kDepth + 1) + "\x01"));
  EXPECT_FALSE(cbor(repeated("\x9F", 1000000)));
  EXPECT_FALSE(cbor(repeated("\xC1", 1000000) + "\x01")) << "tags";
}

TEST(ZRValueSax, refusesHostileCbor) {
  const std::pair<const char*, std::string> table[] = {
      {"nothing", ""},
      {"two items", "\x01\x01"},
      {"break alone", "\xFF"},
      {"head cut short", "\x1A\x01"},
      {"text of 2^64-1 bytes", "\x7B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s + "a"},
      {"bytes of 2^63 bytes", "\x5B\x80\x00\x00\x00\x00\x00\x00\x00"s},
      {"list of 2^62 items", "\x9B\x40\x00\x00\x00\x00\x00\x00\x00\x01"s},
      {"map with a number as key", "\xA1\x01\x01"},
      {"text in pieces, each opened within the last", repeated("\x7F\x61"s + "a", 1000000)},
      {"bytes in pieces, each opened within the last", repeated("\x5F", 1000000)},
      {"a negative number below 64 bits", "\x3B\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},
  };
  for (const auto& [what, bytes] : table) EXPECT_FALSE(cbor(bytes)) << what;
  EXPECT_EQ(cbor("\x3B\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), ZRValue(std::numeric_limits<std::int64_t>::min()));
}
