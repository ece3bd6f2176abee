#include <gtest/gtest.h>

#include "SCNetworkErrors.h"
#include "ZRShareRules.h"
#include "ZRValue.h"

namespace {

using namespace std::string_literals;

TEST(ZRShareRules, albumDetailFollowsTheHostsPath) {
  for (const auto& [host, url] : {std::pair("http://h:8", "http://h:8/albumdetail.action"),
                                  std::pair("http://h:8/", "http://h:8/albumdetail.action"),
                                  std::pair("http://h/a/b", "http://h/a/b/albumdetail.action"),
                                  std::pair("http://h/a//", "http://h/a/albumdetail.action"),
                                  std::pair("http://h?x=/1#/f", "http://h/albumdetail.action?x=/1#/f"),
                                  std::pair("http://h/a?x=1", "http://h/a/albumdetail.action?x=1"),
                                  std::pair("http://[::1]:8#f", "http://[::1]:8/albumdetail.action#f"),
                                  std::pair("", "/albumdetail.action"), std::pair("?#", "/albumdetail.action?#")}) {
    EXPECT_EQ(ZRShareRules::albumDetailURL(host), url);
  }
}

TEST(ZRShareRules, failedDetailIsJudgedByBodyThenStatusThenCheckValue) {
  const auto judged = [](const ZRValue& document, const ZRValue& checked, int httpStatus) -> std::int64_t {
    ZRDictionary info;
    info.set(SCNJsonParserErrorKey_RawJSON, document);
    info.set(SCNJsonParserErrorKey_RealValue, checked);
    const auto error = ZRShareRules::finalDetailError({"d", -1011, "", info}, httpStatus);
    return error ? error->code() : 0;
  };
  EXPECT_EQ(judged(ZRDictionary{{"status", 500}}, 500, 200), 105);
  EXPECT_EQ(judged(ZRDictionary{{"status", "500"}}, 202, 200), 105);
  EXPECT_EQ(judged(ZRValue::List{500}, ZRValue(), 200), 0);
  EXPECT_EQ(judged(ZRDictionary{{"status", 202}}, 202, 404), 105);
  for (const ZRValue& value : {ZRValue(201), ZRValue(202), ZRValue("203")}) EXPECT_EQ(judged({}, value, 200), 106);
  for (const ZRValue& value : {ZRValue(), ZRValue(200), ZRValue(204), ZRValue(true)}) {
    EXPECT_EQ(judged({}, value, 200), 0);
  }
  EXPECT_EQ(judged({}, {}, 500), 0);
}

TEST(ZRShareRules, namesAreJudgedByWhereTheirPathEnds) {
  for (const auto& [name, path] :
       {std::pair("movie", "/t/movie"), std::pair("/movie", "/t/movie"), std::pair("a/b//c/", "/t/a/b/c"),
        std::pair("a/../movie", "/t/movie"), std::pair("./.m", "/t/.m"), std::pair("..m", "/t/..m"),
        std::pair("/etc/passwd", "/t/etc/passwd"), std::pair("片 名'\"\\\n", "/t/片 名'\"\\\n")}) {
    EXPECT_EQ(ZRShareRules::pathInFolder("/t", name), path);
  }
  for (const std::string& name : {""s, "/"s, "."s, ".."s, "a/.."s, "../t/x"s, "a/../../x"s, "/.."s, "x\0"s, "\0"s}) {
    EXPECT_EQ(ZRShareRules::pathInFolder("/t", name), std::nullopt) << name;
  }
}

TEST(ZRShareRules, namesLeaveRoomForTheFilesBesideThem) {
  EXPECT_TRUE(ZRShareRules::pathInFolder("/t", std::string(246, 'x')));
  EXPECT_FALSE(ZRShareRules::pathInFolder("/t", std::string(247, 'x')));
  EXPECT_FALSE(ZRShareRules::pathInFolder("/t", std::string(247, 'x') + "/m"));
  std::string deep;
  for (int i = 0; i < 2042; ++i) deep += "x/";
  EXPECT_TRUE(ZRShareRules::pathInFolder("/t", deep));
  EXPECT_FALSE(ZRShareRules::pathInFolder("/t", deep + "x"));
}

TEST(ZRShareRules, bothIdsNameAFolderOfTheirOwn) {
  struct Case {
    std::string aid;
    std::string vid;
    std::optional<std::string> folder;
  };
  for (const Case& c : {Case{"a1", "v1", "a1/v1"}, Case{"/a1", "v/1", "a1/v/1"}, Case{"a/../b", "c/./d", "b/c/d"},
                        Case{"a1", "", {}}, Case{"", "v1", {}}, Case{".", "v1", {}}, Case{"a1", ".", {}},
                        Case{"..", "v1", {}}, Case{"a1", "..", {}}, Case{"a1", "../a2", {}}, Case{"a1", "../a1/v1", {}},
                        Case{"../..", "v1", {}}, Case{"a\0"s, "v1", {}}, Case{"a1", ".removing-1", {}}}) {
    EXPECT_EQ(ZRShareRules::taskFolder(c.aid, c.vid), c.folder) << c.aid << " " << c.vid;
  }
}

TEST(ZRShareRules, onlyTheVideosOwnFilesDisturbIt) {
  for (const char* path : {"/t/movie", "/t/.movie.part", "/t/.movie.resume"}) {
    EXPECT_TRUE(ZRShareRules::disturbsVideo(path, "/t/movie"));
  }
  for (const char* path : {"/t/movie.srt", "/t/.movie", "/t/s/movie", "/t/s/.movie.resume", "/t/movie/x"}) {
    EXPECT_FALSE(ZRShareRules::disturbsVideo(path, "/t/movie"));
  }
}

}  // namespace
