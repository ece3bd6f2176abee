#include <gtest/gtest.h>

#include "ZRValue.h"

TEST(ZRDictionary, keepsTheOrderInWhichKeysWereFirstSet) {
  ZRDictionary dictionary{{"b", 1}, {"a", 2}, {"b", 3}};
  dictionary.set("c", "x");
  dictionary.set("a", 4);
  EXPECT_EQ(dictionary, (ZRDictionary{{"b", 3}, {"a", 4}, {"c", "x"}}));
  EXPECT_FALSE(dictionary == (ZRDictionary{{"a", 4}, {"b", 3}, {"c", "x"}}));
}
