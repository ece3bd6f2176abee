#include <gtest/gtest.h>

#include "ZRKeyedArchive.h"
#include "ZRShareDownloadModel.h"
#include "ZRValueSax.h"

namespace {

const ZRDictionary kParams = *ZRValueSax::parseJson(R"({"vid": "v1", "albumId": "a1", "videoName": "电影",
    "shareUrl": "http://s", "host": "http://h/", "duration": "90.5", "albumName": "Album", "lanOnly": 1,
    "fileSize": 1099511627776, "deviceName": "Mac", "site": 5})")
                                  ->asDictionary();

std::string keysOf(const ZRDictionary& dic) {
  std::string keys;
  for (const auto& [key, value] : dic) keys += key + " ";
  return keys;
}

TEST(ZRShareDownloadModel, dictionaryAndArchiveHaveTheirKeysInOrder) {
  const auto model = ZRShareDownloadModel::modelWithParams(kParams);
  const ZRDictionary dic = model->toDic().value();
  EXPECT_EQ(keysOf(dic), "title duration vid albumId host albumName fileSize site lanOnly deviceName shareUrl ");
  EXPECT_EQ(std::tuple(dic["title"], dic["duration"]), std::tuple(ZRValue("电影"), ZRValue(90)));
  EXPECT_EQ(std::tuple(dic["fileSize"], dic["site"]), std::tuple(ZRValue(1LL << 40), ZRValue(999)));
  EXPECT_EQ(dic["lanOnly"], ZRValue(true));
  const auto bytes = ZRKeyedArchive::archive(*model);
  EXPECT_EQ(keysOf(ZRKeyedArchive::decode(bytes).value()),
            "duration fileSize vid albumId albumName deviceName videoName shareUrl host lanOnly ");
  EXPECT_EQ(ZRKeyedArchive::unarchive<ZRShareDownloadModel>(bytes)->toDic(), dic);
}

TEST(ZRShareDownloadModel, onlyFourTextsAreNeededForADictionary) {
  for (const char* key : {"vid", "albumId", "host", "albumName"}) {
    ZRDictionary params = kParams;
    params.set(key, ZRValue());
    EXPECT_EQ(ZRShareDownloadModel::modelWithParams(params)->toDic(), std::nullopt) << key;
  }
  const auto bare = ZRShareDownloadModel::modelWithParams(
      {{"vid", ""}, {"albumId", 7}, {"host", ""}, {"albumName", ""}, {"videoName", ZRValue::null()}});
  EXPECT_EQ(keysOf(bare->toDic().value()), "duration vid albumId host albumName fileSize site lanOnly ");
}

}  // namespace
