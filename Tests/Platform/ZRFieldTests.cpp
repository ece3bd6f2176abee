#include <limits>

#include <gtest/gtest.h>

#include "ZRField.h"

namespace {

struct Base {
  std::int64_t pkid = 1;
};

struct Record : Base {
  bool isVip = false;
  std::int32_t part = 2;
  std::uint64_t size = 3;
  double duration = 4;
  ZRText name{"before"};
  std::optional<std::string> note{"before"};

  static std::span<const ZRField<Record>> fields() {
    static constexpr ZRField<Record> table[] = {
        zrField<Record, &Record::pkid>("pkid"),         zrField<Record, &Record::isVip>("isVip"),
        zrField<Record, &Record::part>("part"),         zrField<Record, &Record::size>("size"),
        zrField<Record, &Record::duration>("duration"), zrField<Record, &Record::name>("name"),
        zrField<Record, &Record::note>("note"),
    };
    return table;
  }
};

void assignAll(Record& record, const ZRValue& value) {
  for (const auto& field : Record::fields()) field.set(record, value);
}

}  // namespace

TEST(ZRField, readsAndWritesByName) {
  Record record;
  assignAll(record, "12.5");
  const std::pair<const char*, ZRValue> expected[] = {
      {"pkid", 12},       {"isVip", true},  {"part", 12},     {"size", 12U},
      {"duration", 12.5}, {"name", "12.5"}, {"note", "12.5"},
  };
  for (const auto& [name, value] : expected) {
    const ZRField<Record>* field = zrFindField<Record>(name);
    ASSERT_NE(field, nullptr) << name;
    EXPECT_EQ(field->get(record), value) << name;
  }
  EXPECT_EQ(zrFindField<Record>("Pkid"), nullptr);
}

TEST(ZRField, absentAndNullLeaveNumbersAndReachTexts) {
  for (const ZRValue& value : {ZRValue(), ZRValue::null()}) {
    Record record;
    assignAll(record, value);
    EXPECT_EQ(record.pkid, 1);
    EXPECT_EQ(record.part, 2);
    EXPECT_EQ(record.size, 3U);
    EXPECT_EQ(record.duration, 4);
    EXPECT_EQ(record.name.value(), value);
    EXPECT_EQ(record.name.string(), nullptr);
    EXPECT_EQ(record.note, std::nullopt);
  }
}

TEST(ZRField, aNumberThatIsNotFiniteIsDropped) {
  Record record;
  zrFindField<Record>("duration")->set(record, std::numeric_limits<double>::infinity());
  zrFindField<Record>("duration")->set(record, "1e999");
  EXPECT_EQ(record.duration, 4);
}
