#include <gtest/gtest.h>

#include "ZRTaskTable.h"

namespace {

TEST(ZRTaskTable, valuesAreRenderedByKindAndNullMarkersByColumn) {
  using enum ZRColumnType;
  for (const auto& [value, type, text] :
       {std::tuple(ZRValue("片名"), Text, "'片名'"), std::tuple(ZRValue::null(), Text, "''"),
        std::tuple(ZRValue::null(), Double, "0.0"), std::tuple(ZRValue::null(), Integer, "0"),
        std::tuple(ZRValue(), Text, "(null)"), std::tuple(ZRValue(INT64_MIN), Integer, "-9223372036854775808"),
        std::tuple(ZRValue(UINT64_MAX), Integer, "18446744073709551615"), std::tuple(ZRValue(true), Integer, "1"),
        std::tuple(ZRValue(0.1 + 0.2), Double, "0.30000000000000004"),
        std::tuple(ZRValue(ZRValue::List{}), Text, "(null)")}) {
    EXPECT_EQ(ZRTaskTable::sqlValue(value, type), text);
  }
  EXPECT_FALSE(ZRTaskTable::isQuotable(std::string(1, '\0')));
}

}  // namespace
