#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ZRPath.h"

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(ZRPath, appendPutsOneSlashBetweenComponents) {
  EXPECT_EQ(ZRPath::append("/base//", "//v//123/"), "/base/v/123");
  EXPECT_EQ(ZRPath::append("/base", "/etc/passwd"), "/base/etc/passwd");
  EXPECT_EQ(ZRPath::append("/base/", ""), "/base/");
  EXPECT_EQ(ZRPath::append("/", "x"), "/x");
}

TEST(ZRPath, isBelowResolvesDotsAsText) {
  for (const char* path : {"/base/task/a", "/base//task/./a/../b/", "/../base/task/..."}) {
    EXPECT_TRUE(ZRPath::isBelow(path, "/base/task/")) << path;
  }
  for (const auto path : {"/base/task/."sv, "/base/task/a/.."sv, "/base/task/../other"sv, "/base/task-other/a"sv,
                          "base/task/a"sv, "/base/task/a\0b"sv, ""sv}) {
    EXPECT_FALSE(ZRPath::isBelow(path, "/base/task/")) << path;
  }
  EXPECT_TRUE(ZRPath::isBelow("/a", "/"));
  EXPECT_TRUE(ZRPath::isBelow("a/../b", ""));
  EXPECT_FALSE(ZRPath::isBelow("../a", "")) << "a relative path that climbs out lies nowhere";
  EXPECT_FALSE(ZRPath::isBelow("a/../../b/c", "b"));
}

TEST(ZRPath, existsFollowsLinksAndRefusesNul) {
  const TemporaryFolder folder;
  writeFile(folder / "file", "x");
  std::filesystem::create_symlink(folder / "file", folder / "link");
  std::filesystem::create_symlink(folder / "gone", folder / "dangling");
  EXPECT_TRUE(ZRPath::exists(folder / "file"));
  EXPECT_TRUE(ZRPath::exists(folder / "link"));
  for (const std::string& name : {"dangling"s, "file/below"s, "file\0tail"s, std::string(5000, 'n')}) {
    EXPECT_FALSE(ZRPath::exists(folder / name)) << name;
  }
}
