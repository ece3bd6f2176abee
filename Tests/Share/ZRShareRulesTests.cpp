#include <gtest/gtest.h>

#include "ZRShareRules.h"

namespace {

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

TEST(ZRShareRules, namesAreJudgedByWhereTheirPathEnds) {
  for (const auto& [name, path] :
       {std::pair("movie", "/t/movie"), std::pair("/movie", "/t/movie"), std::pair("a/b//c/", "/t/a/b/c"),
        std::pair("a/../movie", "/t/movie"), std::pair("./.m", "/t/.m"), std::pair("..m", "/t/..m"),
        std::pair("/etc/passwd", "/t/etc/passwd"), std::pair("片 名'\"\\\n", "/t/片 名'\"\\\n")}) {
    EXPECT_EQ(ZRShareRules::pathInFolder("/t", name), path);
  }
}

TEST(ZRShareRules, namesAreAsLongAsTheFileSystemAllows) {
  EXPECT_TRUE(ZRShareRules::pathInFolder("/t", std::string(255, 'x')));
  EXPECT_FALSE(ZRShareRules::pathInFolder("/t", std::string(256, 'x') + "/m"));
  EXPECT_FALSE(ZRShareRules::pathInFolder("/t", "x/.removing-1/m"));
  std::string deep;
  for (int i = 0; i < 2045; ++i) deep += "x/";
  EXPECT_TRUE(ZRShareRules::pathInFolder("/t", deep + "xx"));
  EXPECT_FALSE(ZRShareRules::pathInFolder("/t", deep + "xxx"));
}

TEST(ZRShareRules, bothIdsNameAFolderOfTheirOwn) {
  EXPECT_EQ(ZRShareRules::taskFolder("a1", "v..1"), "a1/v..1");
  for (const char* id : {"x/y", "/x", "x/", "x/../v", "../a1", ".", "..", "", ".removing-1"}) {
    EXPECT_EQ(ZRShareRules::taskFolder("a1", id), std::nullopt) << id;
    EXPECT_EQ(ZRShareRules::taskFolder(id, "v1"), std::nullopt) << id;
  }
}

TEST(ZRShareRules, videoIsDisturbedByWhatMeetsItsFiles) {
  for (const auto& [name, video, disturbs] :
       {std::tuple("movie", "movie", true), std::tuple(".movie.resume", "movie", true),
        std::tuple(".movie.part", "movie", true), std::tuple("x", ".x.part", true), std::tuple("x", "x/movie", true),
        std::tuple("movie/x", "movie", true), std::tuple("x", ".x.part/movie", true),
        std::tuple("movie.srt", "movie", false), std::tuple(".movie", "movie", false),
        std::tuple("s/movie", "movie", false), std::tuple("s/.movie.part", "movie", false)}) {
    EXPECT_EQ(ZRShareRules::disturbsVideo("/t/" + std::string(name), "/t/" + std::string(video)), disturbs) << name;
  }
}

}  // namespace
