#include <set>

#include "ShareFixture.h"

using namespace std::string_literals;

namespace {

/// What a device can do with the names that it chooses.
class ZRShareTaskRunnerNamesTest : public ShareFixture {
 protected:
  ZRShareTaskRunnerNamesTest() {
    writeFile(home_ / "movies/mine.mkv", "mine");
    writeFile(file("keep", "a1/other"), "another task's");
    before_ = outsideTheTask();
    device_.serve("/s", "subtitle");
  }

  std::string folder() const { return shares() + "/a1/v1"; }

  /// Everything in the home but the library's own files and the folder of the task a1/v1, also on its way out.
  std::set<std::string> outsideTheTask() const {
    std::set<std::string> paths;
    fs::recursive_directory_iterator it(home_.path());
    for (std::error_code gone; it != fs::recursive_directory_iterator(); it.increment(gone)) {
      const std::string path = it->path();
      const bool own = path == folder() || path == home_ / "support" || path.starts_with(shares() + "/a1/.removing-") ||
                       path.starts_with(shares() + "/.removing-");
      if (own) it.disable_recursion_pending();
      if (!own) paths.insert(path);
    }
    return paths;
  }

  void expectNothingElseTouched() {
    EXPECT_EQ(outsideTheTask(), before_);
    EXPECT_EQ(readFile(home_ / "movies/mine.mkv"), "mine");
    EXPECT_EQ(readFile(file("keep", "a1/other")), "another task's");
  }

  /// Removes the task; all that it has touched, in its life and at its end, is its own folder.
  void removeHarmlessly(const std::shared_ptr<Runner>& task) {
    (void)task->videoInfoDic();
    (void)task->localFullFilePath();
    expectNothingElseTouched();
    manager()->removeTask(task);
    ZRBackgroundQueue::shared().waitUntilIdle();
    expectNothingElseTouched();
  }

  /// Runs the task until it is refused, and removes it.
  void expectRefused(const ZRDictionary& params) {
    const std::size_t before = detailRequests();
    const auto task = failed(add(params), refusal_);
    EXPECT_EQ(requests(device_, "/v") + requests(device_, "/s"), 0U);
    EXPECT_EQ(detailRequests(), before + 1);
    removeHarmlessly(task);
  }

  const ZRError refusal_{ZRErrorCode::ResourceUnusable, "找不到share下载地址"};
  std::set<std::string> before_;
};

class HostileName : public ZRShareTaskRunnerNamesTest, public ::testing::WithParamInterface<std::string> {};

TEST_P(HostileName, isRefusedAsAVideosASubtitlesAndAsAnId) {
  serveDetail("[" + subtitle("0.srt", "/s") + "]");
  expectRefused(params({{"videoName", GetParam()}}));
  EXPECT_EQ(requests(device_, "/coverImg.action"), 0U);

  const bool storable = GetParam().find('\0') == std::string::npos;
  for (const char* key : {"vid", "albumId"}) {
    const auto task = Runner::taskWithParams(params({{key, GetParam()}}));
    ASSERT_EQ(manager()->addTask(task), storable ? ZRAddTaskResult::Added : ZRAddTaskResult::Refused);
    if (storable) failed(task, refusal_);
    removeHarmlessly(task);
  }
  EXPECT_EQ(requests(device_, "/coverImg.action"), 0U);

  std::string escaped;
  for (const char c : GetParam()) escaped += c == '\0' ? "\\u0000" : std::string(1, c);
  serveDetail("[" + subtitle(escaped, "/s") + "]");
  expectRefused(params());
}

INSTANTIATE_TEST_SUITE_P(ZRShareTaskRunnerNamesTest, HostileName,
                         ::testing::Values(".."s, "."s, ""s, "/"s, "a/.."s, "/.."s, "\0"s, "../v1/x"s, "../a2"s,
                                           "../other/keep"s, "a/../../x"s, "../../../mine.mkv"s, "x\0y"s,
                                           std::string(300, 'x')),
                         [](const auto& row) { return "name" + std::to_string(row.index); });

TEST_F(ZRShareTaskRunnerNamesTest, slashesAreFoldersInsideTheTasksOwn) {
  for (const auto& [name, stored] : {std::pair("/movie", "movie"), std::pair("/etc/movie", "etc/movie"),
                                     std::pair("a/../movie", "movie"), std::pair("a/b/movie", "a/b/movie")}) {
    serveDetail("[" + subtitle("/sub/"s + name + ".srt", "/s") + "]");
    const auto task = finished(add(params({{"videoName", name}})));
    EXPECT_EQ(readFile(file(stored)), bytes_);
    EXPECT_EQ(readFile(file("sub/"s + stored + ".srt")), "subtitle");
    EXPECT_EQ(task->localRelativeFilePath(), "a1/v1/"s + stored);
    removeHarmlessly(task);
  }
}

TEST_F(ZRShareTaskRunnerNamesTest, linksAreNotFollowed) {
  fs::create_directories(folder());
  fs::create_directory_symlink(home_ / "movies", file("folder"));
  fs::create_symlink(home_ / "movies/mine.mkv", file("link"));
  fs::create_symlink(home_ / "movies/new", file("dangling"));
  fs::create_symlink(home_ / "movies/new", file("v1.jpg"));
  for (const char* name : {"link", "dangling", "folder", "folder/new", "folder/deep/new"}) {
    for (const bool isSubtitle : {false, true}) {
      if (isSubtitle && fs::exists(file(name))) continue;  // a subtitle that is there
      serveDetail(isSubtitle ? "[" + subtitle(name, "/s") + "]" : "[]");
      failed(add(params({{"videoName", isSubtitle ? "movie" : name}})), refusal_);
      expectNothingElseTouched();
      ASSERT_TRUE(update("DELETE FROM task_share_meta_tb"));  // the links are to stay
    }
  }
  EXPECT_EQ(requests(device_, "/s"), 0U);
  EXPECT_FALSE(logged(0, "shareDownloadCoverImg:SCNetworkDownloadApi GET " + device_.url("/coverImg.action")));
}

TEST_F(ZRShareTaskRunnerNamesTest, whatWouldMeetTheVideosFilesIsPassedOver) {
  for (const char* name : {"v1.jpg", ".v1.jpg.part", "v1.jpg/movie"}) {
    serveDetail("[" + subtitle("v1.jpg", "/s") + "," + subtitle("good", "/s") + "]");
    const std::size_t before = requests(device_, "/s");
    const auto task = finished(add(params({{"videoName", name}})));
    EXPECT_EQ(readFile(file(name)), bytes_);
    EXPECT_EQ(readFile(file("good")), "subtitle");
    EXPECT_TRUE((*task->videoInfoDic())["cover"].isAbsent());
    EXPECT_EQ(requests(device_, "/s") - before, 1U);
    removeHarmlessly(task);
  }
  EXPECT_EQ(requests(device_, "/coverImg.action"), 0U);
}

TEST_F(ZRShareTaskRunnerNamesTest, absentNameAndIdsWithASeparatorAreRefused) {
  expectRefused(params({{"videoName", ZRValue()}}));
  writeFile(file("movie"), bytes_);
  for (const auto& [album, vid] : {std::pair("a1/v1", "movie"), std::pair("a1", "x/../v1")}) {
    removeHarmlessly(failed(add(params({{"albumId", album}, {"vid", vid}})), refusal_));
  }
  EXPECT_EQ(readFile(file("movie")), bytes_);
}

}  // namespace
