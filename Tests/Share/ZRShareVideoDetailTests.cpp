#include <gtest/gtest.h>

#include "ZRShareVideoDetail.h"
#include "ZRValueSax.h"

namespace {

std::shared_ptr<ZRShareVideoDetail> detailOf(std::string_view json) {
  ZRShareVideoDetail::registerModels();
  const auto object = ZRValueSax::parseJson(json);
  return std::dynamic_pointer_cast<ZRShareVideoDetail>(
      SCJSONUtil::makeModel("ZRShareVideoDetail", *object->asDictionary(), ZRValue()));
}

TEST(ZRShareVideoDetail, subtitlesBecomeRecordsInTheDevicesOrder) {
  const auto detail = detailOf(R"({"url": "http://v", "uuid": "u", "pathMd5": null, "later": true, "subtitles":
      [{"name": "a.srt", "url": "http://a", "subId": 5, "isDefault": 1}, "no object", {"name": "b.srt"}]})");
  EXPECT_EQ(std::tuple(detail->url(), detail->uuid()), std::tuple("http://v", "u"));
  EXPECT_EQ(detail->pathMd5(), std::nullopt);
  ASSERT_EQ(detail->subtitles().size(), 2U);
  const ZRShareSubtitle& first = *detail->subtitles()[0];
  EXPECT_EQ(std::tuple(first.name(), first.url(), first.subId()), std::tuple("a.srt", "http://a", "5"));
  EXPECT_TRUE(first.isDefault());
  EXPECT_EQ(detail->subtitles()[1]->name(), "b.srt");
  EXPECT_EQ(detail->subtitles()[1]->url(), std::nullopt);
  for (const char* json : {R"({"subtitles": null})", R"({"subtitles": {"name": "a"}})"}) {
    EXPECT_TRUE(detailOf(json)->subtitles().empty()) << json;
  }
}

}  // namespace
