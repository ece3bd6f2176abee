#include <gtest/gtest.h>

#include "FilmRecord.h"
#include "ZRValueSax.h"

TEST(SCJSONUtil, visitsKeysInTheOrderOfTheDocument) {
  SCJSONUtil::registerModel("Film", [] { return std::make_shared<Film>(); });
  const auto callsFor = [](std::string_view json, const ZRValue& refObj = {}) {
    return SCJSONUtil::makeModel("Film", *ZRValueSax::parseJson(json)->asDictionary(), refObj)->description();
  };
  EXPECT_EQ(callsFor(R"({"size": "7", "b": 1, "video_name": 5, "a": 2, "name": null})", 265),
            "size=7, undefined b 265, name=5, undefined a 265, name=absent, end 265");
  EXPECT_EQ(callsFor(R"({"size_high": "4", "fee": 1})"), "undefined size_high -, size=8, undefined notFree -, end -")
      << "the hook redirects a key";
  EXPECT_EQ(callsFor(R"({"subs": [{"name": "a"}, 5, {"name": "b"}, null]})", 7),
            "(name=a, end 7) (name=b, end 7) end 7")
      << "a list becomes records of its class";
  EXPECT_EQ(callsFor(R"({"subs": "x", "others": []})"), "undefined parts -, undefined others -, end -");
  EXPECT_EQ(SCJSONUtil::makeModel("Nobody", {}, {}), nullptr);
}
