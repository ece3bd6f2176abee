#include <cmath>
#include <limits>
#include <tuple>

#include <gtest/gtest.h>

#include "ZRValue.h"

namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t kMaxUnsigned = std::numeric_limits<std::uint64_t>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A value, and what it is as a boolean, signed, unsigned and as a double.
using Coercion = std::tuple<ZRValue, bool, std::int64_t, std::uint64_t, double>;

}  // namespace

TEST(ZRValue, coercesToNumbers) {
  std::vector<Coercion> table = {
      {true, true, 1, 1, 1},
      {-7, true, -7, 0, -7},
      {kMaxUnsigned, true, kMax, kMaxUnsigned, 0x1p64},
      {-2.9, true, -2, 0, -2.9},
      {0.5, true, 0, 0, 0.5},
      {0x1p63, true, kMax, 1ULL << 63U, 0x1p63},
      {1e300, true, kMax, kMaxUnsigned, 1e300},
      {-1e300, true, kMin, 0, -1e300},
      {" \t\r\n 42 apples", true, 42, 42, 42},
      {"+12", true, 12, 12, 12},
      {"-99999999999999999999", true, kMin, 0, -1e20},
      {"99999999999999999999", true, kMax, kMaxUnsigned, 1e20},
      {"1.5e3x", true, 1, 1, 1500},
      {".5", true, 0, 0, 0.5},
      {"1,5", true, 1, 1, 1},
      {"1e999", true, 1, 1, kInfinity},
      {"-1e999", true, -1, 0, -kInfinity},
      {"1e-999", false, 1, 1, 0},
  };
  for (const ZRValue& nothing : {ZRValue(), ZRValue::null(), ZRValue(ZRValue::Bytes{'1'}),
                                 ZRValue(ZRDictionary{{"a", 1}}), ZRValue(ZRValue::List{ZRValue(1)})}) {
    table.push_back({nothing, false, 0, 0, 0});
  }
  for (const char* nothing : {"", "0x10", "--1", "- 1", "inf", "nan", "apples 42"}) {
    table.push_back({nothing, false, 0, 0, 0});
  }
  for (const auto& [value, asBool, asInt64, asUint64, asDouble] : table) {
    SCOPED_TRACE(value.textValue().value_or("kind " + std::to_string(static_cast<int>(value.kind()))));
    EXPECT_EQ(value.boolValue(), asBool);
    EXPECT_EQ(value.int64Value(), asInt64);
    EXPECT_EQ(value.uint64Value(), asUint64);
    EXPECT_EQ(value.doubleValue(), asDouble);
  }
  const ZRValue notANumber(std::nan(""));
  EXPECT_FALSE(notANumber.boolValue());
  EXPECT_EQ(notANumber.int64Value(), 0);
  EXPECT_EQ(notANumber.uint64Value(), 0U);
}

TEST(ZRValue, wordsMeanYes) {
  for (const char* word : {"YES", "yes", "true", "True", "T", "y", " Y", "1", "-3", "007"}) {
    EXPECT_TRUE(ZRValue(word).boolValue()) << word;
  }
  for (const char* word : {"NO", "no", "false", "0", "000", "-0", "on", "-y"}) {
    EXPECT_FALSE(ZRValue(word).boolValue()) << word;
  }
}

TEST(ZRValue, int32TakesTheLowBits) {
  EXPECT_EQ(ZRValue(0x1'0000'0005).int32Value(), 5);
  EXPECT_EQ(ZRValue("4294967295").int32Value(), -1);
}

TEST(ZRValue, numbersReadAsTheShortestDecimal) {
  const std::pair<ZRValue, const char*> table[] = {
      {true, "1"},
      {false, "0"},
      {kMin, "-9223372036854775808"},
      {kMaxUnsigned, "18446744073709551615"},
      {100000.0, "100000"},
      {-0.1 - 0.2, "-0.30000000000000004"},
      {1e15, "1000000000000000"},
      {1e21, "1e+21"},
      {1e-7, "1e-07"},
      {0.0, "0"},
      {725760000.25, "725760000.25"},
  };
  for (const auto& [value, text] : table) EXPECT_EQ(value.textValue(), text);
  for (const ZRValue& value :
       {ZRValue(), ZRValue::null(), ZRValue(ZRValue::Bytes()), ZRValue(kInfinity), ZRValue(std::nan(""))}) {
    EXPECT_EQ(value.textValue(), std::nullopt);
  }
}

TEST(ZRValue, equalityAsksForTheSameKind) {
  EXPECT_EQ(ZRValue("a"), ZRValue(std::string("a")));
  EXPECT_EQ(ZRValue::null(), ZRValue::null());
  EXPECT_FALSE(ZRValue::null() == ZRValue());
  EXPECT_FALSE(ZRValue(1) == ZRValue(1U));
  EXPECT_FALSE(ZRValue(1) == ZRValue(true));
  const ZRValue callback(ZRRecordHandler([](const ZRDictionary&, const ZRValue&) {}));
  EXPECT_FALSE(callback == callback);
}

TEST(ZRValue, missingCallbacksAndTextsAreAbsent) {
  EXPECT_TRUE(ZRValue(ZRRequestHandler()).isAbsent());
  EXPECT_TRUE(ZRValue(ZRRecordHandler()).isAbsent());
  EXPECT_TRUE(ZRValue(static_cast<const char*>(nullptr)).isAbsent());
  EXPECT_TRUE(ZRValue::orAbsent(std::optional<std::string>()).isAbsent());
}
