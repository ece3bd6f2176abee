#include <gtest/gtest.h>

#include "ZRDownloadVideoInfo.h"
#include "ZRKeyedArchive.h"
#include "ZRValueSax.h"

namespace {

ZRDictionary object(std::string_view json) {
  return *ZRValueSax::parseJson(json)->asDictionary();
}

std::shared_ptr<ZRDownloadVideoInfo> make(const ZRDictionary& json, const ZRValue& version = 1) {
  ZRDownloadVideoInfo::registerModel();
  return std::dynamic_pointer_cast<ZRDownloadVideoInfo>(SCJSONUtil::makeModel("ZRDownloadVideoInfo", json, version));
}

TEST(ZRDownloadVideoInfo, versionPicksItsAddressesAndSize) {
  const ZRDictionary json = object(R"({"url_super_265_mp4": "m", "url_super_265": "p", "url_super": "x",
      "url_super_265_NS": "y", "file_size_super_265": 3, "file_size_super": 9, "url_original_265_NS_mp4": "n",
      "version": 31})");
  const auto info = make(json, 265);
  EXPECT_EQ(std::tuple(info->m3u8Url(), info->mp4Url()), std::tuple("p", "m"));
  EXPECT_EQ(info->totalSize(), 3);  // 3.525
  EXPECT_EQ(info->version(), 31);   // whichever was written last
  EXPECT_EQ(make(json, 266)->mp4Url(), "n");
  for (const ZRValue& version : {ZRValue(3), ZRValue()}) {
    const auto none = make({{"url_super", "x"}, {"file_size_super", 9}}, version);
    EXPECT_EQ(std::tuple(none->m3u8UrlKey(), none->m3u8Url()), std::tuple(std::nullopt, std::nullopt));
    EXPECT_EQ(none->totalSize(), 0);
  }
}

TEST(ZRDownloadVideoInfo, everyVersionCodeHasItsThreeKeys) {
  const std::string words[] = {"nor", "high", "super", "original"};
  const std::string suffixes[] = {"", "_NS", "_265", "_265_NS"};
  constexpr int kCodes[] = {2, 12, 263, 262, 1, 11, 261, 260, 21, 121, 265, 264, 31, 131, 267, 266};
  for (std::size_t i = 0; i < 16; ++i) {
    const std::string quality = words[i / 4] + suffixes[i % 4];
    ZRDownloadVideoInfo info;
    info.setVersion(kCodes[i]);
    EXPECT_EQ(std::tuple(info.m3u8UrlKey(), info.mp4UrlKey(), info.fileSizeKey()),
              std::tuple("url_" + quality, "url_" + quality + "_mp4", "file_size_" + quality));
  }
}

TEST(ZRDownloadVideoInfo, dictionaryHasEveryField) {
  const auto info =
      make(object(R"({"videoId": 11, "aid": 12, "site": 13, "fee": 2, "video_name": "片", "album_name": "辑",
      "video_order": "4", "cate_code": 100, "total_duration": 61.9, "tv_preview_pic": "http://c/abc_big_160_90_10.jpg",
      "cid": 8, "file_size_high": "1000000", "uploadFrom": 266, "videoPic": "p", "version": 31, "nonsense": [1]})"));
  std::string text;
  for (const auto& [key, value] : info->toDic()) text += key + "=" + value.textValue().value() + " ";
  EXPECT_EQ(
      text,
      "title=片 cover=p playOrder=4 duration=61 vid=11 site=13 version=1 fileSize=1175000 albumId=12 albumName=辑 "
      "cid=8 cateCode=100 tvPreviewPic=http://c/abc_big_160_90_10.jpg pvpicW=160 pvpicH=90 pvpicD=10 isShafa=1 ");
  EXPECT_EQ(info->debugDescription(), "playOrder:4");
}

TEST(ZRDownloadVideoInfo, firstPictureWinsUnlessItIsEmpty) {
  const std::pair<ZRDictionary, ZRValue> cases[] = {
      {{{"hor_big_pic", "big"}, {"hor_high_pic", "high"}}, "big"},
      {{{"hor_high_pic", "high"}, {"hor_big_pic", "big"}}, "high"},
      {{{"videoPic", ""}, {"hor_high_pic", ""}, {"hor_big_pic", "big"}}, "big"},
      {{{"hor_big_pic", "big"}, {"videoPic", "own"}}, "own"},
      {{{"hor_big_pic", "big"}, {"videoPic", ZRValue::null()}}, "big"},
      {{}, {}},
  };
  for (const auto& [json, cover] : cases) EXPECT_EQ(make(json)->toDic()["cover"], cover);
}

TEST(ZRDownloadVideoInfo, uploadsFromFourOriginsAreOneFile) {
  for (int origin = 264; origin <= 269; ++origin) {
    EXPECT_EQ(make({{"uploadFrom", origin}})->isShafa(), origin > 264 && origin < 269) << origin;
  }
}

TEST(ZRDownloadVideoInfo, previewTilesAreExactlyThreeNumbers) {
  using Tiles = std::array<std::int32_t, 3>;
  for (const auto& [url, tiles] : {std::pair("http://c/abc_big_160_90_10.jpg", Tiles{160, 90, 10}),
                                   std::pair("big_9_big_1_2_3.png", Tiles{1, 2, 3}),
                                   std::pair("x_big_1_x2_3x", Tiles{1, 0, 3}), std::pair("big___.", Tiles{0, 0, 0})}) {
    EXPECT_EQ(ZRDownloadVideoInfo::previewTiles(url), tiles) << url;
  }
  for (const char* url : {"x_big_160_90.jpg", "x_big_1_2_3_4.png", "x_big_", "no marker", ""}) {
    EXPECT_EQ(ZRDownloadVideoInfo::previewTiles(url), std::nullopt) << url;
  }
}

TEST(ZRDownloadVideoInfo, archiveKeepsEveryFieldUnderItsKey) {
  ZRDictionary json;
  std::string keys;
  for (const auto& field : ZRDownloadVideoInfo::fields()) {
    json.set(field.name, static_cast<std::int64_t>(json.size()) + (std::int64_t{5} << 32));
    keys += std::string(field.name) + " ";
  }
  EXPECT_EQ(keys,
            "videoId aid site cid version duration playOrder albumName videoPic totalSize videoName m3u8Url cateCode "
            "tvPreviewPic pvpicW pvpicH pvpicD uploadFrom mp4Url ");
  const auto record = make(json);
  const auto restored = ZRKeyedArchive::unarchive<ZRDownloadVideoInfo>(ZRKeyedArchive::archive(*record));
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(std::tuple(restored->videoId(), restored->site()), std::tuple(std::int64_t{5} << 32, 2));
  EXPECT_EQ(std::tuple(restored->toDic(), restored->m3u8Url(), restored->mp4Url(), restored->isShafa()),
            std::tuple(record->toDic(), record->m3u8Url(), record->mp4Url(), record->isShafa()));
}

}  // namespace
