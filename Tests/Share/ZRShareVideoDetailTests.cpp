#include <gtest/gtest.h>

#include "ZRShareVideoDetail.h"

namespace {

std::shared_ptr<ZRShareVideoDetail> detailOf(const ZRDictionary& json) {
  ZRShareVideoDetail::registerModels();
  return std::dynamic_pointer_cast<ZRShareVideoDetail>(SCJSONUtil::makeModel("ZRShareVideoDetail", json, ZRValue()));
}

TEST(ZRShareVideoDetail, subtitlesBecomeRecordsInTheDevicesOrder) {
  const ZRDictionary first{{"name", "a.srt"}, {"url", "http://a"}, {"subId", 5}, {"isDefault", 1}};
  const auto detail = detailOf({{"url", "http://v"},
                                {"uuid", "u"},
                                {"pathMd5", ZRValue::null()},
                                {"later", true},
                                {"subtitles", ZRValue::List{first, "no object", ZRDictionary{{"name", "b.srt"}}}}});
  EXPECT_EQ(detail->url(), "http://v");
  EXPECT_EQ(detail->uuid(), "u");
  EXPECT_EQ(detail->pathMd5(), std::nullopt);
  ASSERT_EQ(detail->subtitles().size(), 2U);
  EXPECT_EQ(detail->subtitles()[0]->name(), "a.srt");
  EXPECT_EQ(detail->subtitles()[0]->url(), "http://a");
  EXPECT_EQ(detail->subtitles()[0]->subId(), "5");
  EXPECT_TRUE(detail->subtitles()[0]->isDefault());
  EXPECT_EQ(detail->subtitles()[1]->name(), "b.srt");
  EXPECT_EQ(detail->subtitles()[1]->url(), std::nullopt);
}

TEST(ZRShareVideoDetail, whatIsNoListMakesNoSubtitles) {
  for (const ZRValue& value : {ZRValue(), ZRValue::null(), ZRValue("x"), ZRValue(ZRDictionary{{"name", "a"}})}) {
    EXPECT_TRUE(detailOf({{"url", 7}, {"subtitles", value}})->subtitles().empty());
  }
}

}  // namespace
