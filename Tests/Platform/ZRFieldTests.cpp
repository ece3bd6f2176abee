#include <limits>

#include <gtest/gtest.h>

#include "FieldRecord.h"

namespace {

void assignAll(FieldRecord& record, const ZRValue& value) {
  for (const auto& field : FieldRecord::fields()) field.set(record, value);
}

}  // namespace

TEST(ZRField, whatIsNoNumberLeavesNumbersAndReachesTexts) {
  for (const ZRValue& value : {ZRValue(), ZRValue::null(), ZRValue(std::numeric_limits<double>::infinity())}) {
    FieldRecord record;
    assignAll(record, value);
    EXPECT_EQ(record.duration, 4);
    if (value.asDouble() != nullptr) continue;
    EXPECT_EQ(std::tuple(record.pkid, record.part, record.size), std::tuple(1, 2, 3U));
    EXPECT_EQ(record.name.value(), value);
    EXPECT_EQ(record.name.string(), nullptr);
    EXPECT_EQ(record.note, std::nullopt);
  }
}
