#include <limits>

#include <gtest/gtest.h>

#include "FieldRecord.h"

namespace {

void assignAll(FieldRecord& record, const ZRValue& value) {
  for (const auto& field : FieldRecord::fields()) field.set(record, value);
}

}  // namespace

TEST(ZRField, readsAndWritesByName) {
  FieldRecord record;
  assignAll(record, "12.5");
  const ZRDictionary expected{{"pkid", 12},       {"isVip", true},  {"part", 12},    {"size", 12U},
                              {"duration", 12.5}, {"name", "12.5"}, {"note", "12.5"}};
  for (const auto& [name, value] : expected) {
    const ZRField<FieldRecord>* field = zrFindField<FieldRecord>(name);
    ASSERT_NE(field, nullptr) << name;
    EXPECT_EQ(field->get(record), value) << name;
  }
  EXPECT_EQ(zrFindField<FieldRecord>("Pkid"), nullptr);
}

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
