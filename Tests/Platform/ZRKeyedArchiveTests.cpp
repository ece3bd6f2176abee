#include <gtest/gtest.h>

#include "ZRKeyedArchive.h"

namespace {

struct Record {
  bool isVip = true;
  std::int32_t part = 2;
  std::int64_t size = 3;
  std::int64_t unarchived = 4;
  ZRText name{"unset"};

  static std::span<const ZRField<Record>> fields() {
    static constexpr ZRField<Record> table[] = {
        zrField<Record, &Record::name>("name", ZRColumnType::None, ZRArchiveWidth::Object),
        zrField<Record, &Record::isVip>("isVip", ZRColumnType::None, ZRArchiveWidth::Boolean),
        zrField<Record, &Record::part>("part", ZRColumnType::None, ZRArchiveWidth::Int32),
        zrField<Record, &Record::size>("size", ZRColumnType::None, ZRArchiveWidth::Int64),
        zrField<Record, &Record::unarchived>("unarchived"),
    };
    return table;
  }
};

}  // namespace

TEST(ZRKeyedArchive, writesTheArchivedFieldsInTableOrder) {
  Record record;
  record.name = ZRText("x");
  record.part = -1;
  const std::vector<std::uint8_t> expected = {0xA4, 0x64, 'n', 'a', 'm', 'e', 0x61, 'x',  0x65, 'i', 's', 'V', 'i', 'p',
                                              0xF5, 0x64, 'p', 'a', 'r', 't', 0x20, 0x64, 's',  'i', 'z', 'e', 0x03};
  EXPECT_EQ(ZRKeyedArchive::archive(record), expected);
}

TEST(ZRKeyedArchive, restoresWhatWasArchived) {
  Record record;
  record.isVip = false;
  record.part = std::numeric_limits<std::int32_t>::min();
  record.size = std::numeric_limits<std::int64_t>::max();
  for (const ZRText& name : {ZRText(), ZRText::fromValue(ZRValue::null()), ZRText("\xE7\xA3\x81'")}) {
    record.name = name;
    record.unarchived = 5;
    const auto restored = ZRKeyedArchive::unarchive<Record>(ZRKeyedArchive::archive(record));
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored->name.value(), name.isAbsent() ? ZRValue("unset") : name.value());
    EXPECT_EQ(restored->isVip, record.isVip);
    EXPECT_EQ(restored->part, record.part);
    EXPECT_EQ(restored->size, record.size);
    EXPECT_EQ(restored->unarchived, 4) << "a field outside the archive stays as the constructor left it";
  }
}

TEST(ZRKeyedArchive, readsValuesAtTheWidthOfTheirField) {
  const auto bytes = ZRKeyedArchive::encode({{"part", 0x1'0000'0007}, {"size", "12"}, {"isVip", 0}, {"other", 1}});
  const auto restored = ZRKeyedArchive::unarchive<Record>(bytes);
  ASSERT_TRUE(restored);
  EXPECT_EQ(restored->part, 7);
  EXPECT_EQ(restored->size, 12);
  EXPECT_FALSE(restored->isVip);
}

TEST(ZRKeyedArchive, encodesScalarsAndLeavesOutTheRest) {
  const ZRDictionary scalars{{"z", ZRValue::null()}, {"u", 300U}, {"d", -0.1}, {"b", ZRValue::Bytes{1, 0}}};
  ZRDictionary map = scalars;
  map.set("list", ZRValue::List{ZRValue(1)});
  map.set("dictionary", scalars);
  EXPECT_EQ(ZRKeyedArchive::decode(ZRKeyedArchive::encode(map)), scalars);
}

TEST(ZRKeyedArchive, damagedBytesAreNoRecord) {
  const std::vector<std::uint8_t> archive = ZRKeyedArchive::archive(Record());
  for (std::size_t size = 0; size < archive.size(); ++size) {
    EXPECT_FALSE(ZRKeyedArchive::unarchive<Record>(std::span(archive).first(size))) << size;
  }
  EXPECT_FALSE(ZRKeyedArchive::decode(std::vector<std::uint8_t>{0x80})) << "a list";
}
