#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ZRPath.h"

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(ZRPath, appendPutsOneSlashBetweenComponents) {
  EXPECT_EQ(ZRPath::append("/base", "v/123"), "/base/v/123");
  EXPECT_EQ(ZRPath::append("/base//", "//v//123/"), "/base/v/123");
  EXPECT_EQ(ZRPath::append("/base", "/etc/passwd"), "/base/etc/passwd");
  EXPECT_EQ(ZRPath::append("/base", "../x"), "/base/../x");
  EXPECT_EQ(ZRPath::append("/base/", ""), "/base/");
  EXPECT_EQ(ZRPath::append("/", "x"), "/x");
  EXPECT_EQ(ZRPath::append("", "x/y"), "x/y");
}

TEST(ZRPath, isBelowResolvesDotsAsText) {
  const auto below = [](std::string_view path) { return ZRPath::isBelow(path, "/base/task/"); };
  EXPECT_TRUE(below("/base/task/a"));
  EXPECT_TRUE(below("/base//task/./a/../b/"));
  EXPECT_TRUE(below("/../base/task/..."));
  EXPECT_FALSE(below("/base/task"));
  EXPECT_FALSE(below("/base/task/a/.."));
  EXPECT_FALSE(below("/base/task/../other"));
  EXPECT_FALSE(below("/base/task-other/a"));
  EXPECT_FALSE(below("base/task/a"));
  EXPECT_FALSE(below("/base/task/a\0b"sv));
  EXPECT_FALSE(below(""));
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
  EXPECT_FALSE(ZRPath::exists(folder / "dangling"));
  EXPECT_FALSE(ZRPath::exists(folder / "file/below"));
  EXPECT_FALSE(ZRPath::exists((folder / "file") + "\0tail"s));
  EXPECT_FALSE(ZRPath::exists(folder / std::string(5000, 'n')));
}
