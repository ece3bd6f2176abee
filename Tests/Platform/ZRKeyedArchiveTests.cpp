#include <limits>

#include <gtest/gtest.h>

#include "FieldRecord.h"
#include "ZRKeyedArchive.h"

TEST(ZRKeyedArchive, restoresWhatWasArchived) {
  FieldRecord record;
  record.isVip = true;
  record.part = std::numeric_limits<std::int32_t>::min();
  record.pkid = std::numeric_limits<std::int64_t>::max();
  record.size = 5;
  for (const ZRText& name : {ZRText(), ZRText::fromValue(ZRValue::null()), ZRText("\xE7\xA3\x81'")}) {
    record.name = name;
    const auto restored = ZRKeyedArchive::unarchive<FieldRecord>(ZRKeyedArchive::archive(record));
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->name.value(), name.isAbsent() ? ZRValue("before") : name.value());
    EXPECT_EQ(std::tuple(restored->isVip, restored->part, restored->pkid),
              std::tuple(record.isVip, record.part, record.pkid));
    EXPECT_EQ(restored->size, 3U) << "a field outside the archive stays as the constructor left it";
  }
}

TEST(ZRKeyedArchive, encodesScalarsAndLeavesOutTheRest) {
  const ZRDictionary scalars{{"z", ZRValue::null()}, {"u", 300U}, {"d", -0.1}, {"b", ZRValue::Bytes{1, 0}}};
  ZRDictionary map = scalars;
  map.set("list", ZRValue::List{ZRValue(1)});
  map.set("dictionary", scalars);
  EXPECT_EQ(ZRKeyedArchive::decode(ZRKeyedArchive::encode(map)), scalars);
}

TEST(ZRKeyedArchive, damagedBytesAreNoRecord) {
  const std::vector<std::uint8_t> archive = ZRKeyedArchive::archive(FieldRecord());
  for (std::size_t size = 0; size < archive.size(); ++size) {
    EXPECT_FALSE(ZRKeyedArchive::unarchive<FieldRecord>(std::span(archive).first(size))) << size;
  }
  EXPECT_FALSE(ZRKeyedArchive::decode(std::vector<std::uint8_t>{0x80})) << "a list";
}
