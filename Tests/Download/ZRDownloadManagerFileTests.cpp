#include <filesystem>
#include <future>

#include <sys/stat.h>

#include "LibraryFixture.h"
#include "ZRRemovedFolders.h"

namespace fs = std::filesystem;

namespace {

using ZRManagerFileTest = LibraryFixture;

TEST_F(ZRManagerFileTest, foldersAreMadeWhereTheyBelong) {
  using M = ZRDownloadManager;
  const std::string app = home_ / "support/com.example.player";
  for (const auto& [made, folder] : {std::pair(M::pathByRelativeBasePath("v/123"), app + "/download/v/123"),
                                     {M::pathByRelativeBasePath(std::nullopt), app},
                                     {M::downloadShareBasePath(), home_ / "movies/Oxwell"},
                                     {M::pathByRelativeShareBasePath("/a/b"), home_ / "movies/Oxwell/a/b"},
                                     {M::pathByRelativeShareBasePath(std::nullopt), home_ / "movies"}}) {
    EXPECT_EQ(made, folder);
    EXPECT_TRUE(fs::is_directory(folder));
  }
}

TEST_F(ZRManagerFileTest, fileInTheFoldersPlaceIsDeleted) {
  writeFile(downloadFolder(), "in the way");
  EXPECT_EQ(ZRDownloadManager::downloadBasePath(), downloadFolder());
  EXPECT_TRUE(fs::is_directory(downloadFolder()));
  fs::remove_all(home_ / "support");
  writeFile(home_ / "support", "a file where the host's folder should be");
  EXPECT_EQ(ZRDownloadManager::downloadBasePath(), downloadFolder());
  EXPECT_FALSE(fs::exists(downloadFolder()));
}

TEST_F(ZRManagerFileTest, leftoversAreSweptAtTheFirstSetup) {
  const std::string stale[] = {downloadFolder() + "/.removing-1/0.ts", home_ / "movies/Oxwell/a/b/.removing-2/v.mp4"};
  const std::string kept[] = {home_ / "outside/.removing-3/keep.txt", downloadFolder() + "/73-1-2/1-2.mp4"};
  for (const auto& files : {stale, kept}) {
    for (int i = 0; i < 2; ++i) writeFile(files[i], "x");
  }
  fs::create_directory_symlink(home_ / "outside", home_ / "movies/Oxwell/link");
  manager()->setup(options());
  ZRBackgroundQueue::shared().waitUntilIdle();
  for (const std::string& file : stale) EXPECT_FALSE(fs::exists(file)) << file;
  for (const std::string& file : kept) EXPECT_TRUE(fs::exists(file)) << file;
}

TEST_F(ZRManagerFileTest, notedFolderGoesUnlessATaskHasIt) {
  const std::string shares = home_ / "movies/Oxwell";
  const auto note = [&](const std::string& folder, bool isAside = false, unsigned other = 0) {
    writeFile(folder + "/m.mp4", "x");
    struct stat found {};
    ASSERT_EQ(::stat(folder.c_str(), &found), 0);
    const std::string name = "/.removing-" + std::to_string(found.st_ino + other);
    fs::create_symlink(folder, (folder.starts_with(shares) ? shares : downloadFolder()) + name + ".note");
    if (isAside) fs::rename(folder, fs::path(folder).parent_path().string() + name);
  };
  note(downloadFolder() + "/73-9-1");
  manager()->setup(options());
  EXPECT_FALSE(fs::exists(downloadFolder() + "/73-9-1") || fs::exists(home_ / "movies"));  // nobody needs that yet
  for (const auto& task :
       {ZRDownloadTask::taskWithShareParams({{"vid", "v1"}, {"albumId", "a1"}, {"videoName", "m.mp4"}}),
        ZRDownloadTask::taskWith73Params({{"vid", 1}, {"version", 1}}),
        ZRDownloadTask::taskWithParams({{"vid", 1}, {"site", 1}, {"version", 2}})}) {
    ASSERT_EQ(manager()->addTask(task), ZRAddTaskResult::Added);
  }
  const struct {
    std::string folder;
    bool stays;
    bool isAside = false;
    unsigned other = 0;  // the note means another folder that was there, none of these
  } cases[] = {
      {downloadFolder() + "/73-1-1", true},
      {downloadFolder() + "/73-9-1", false},
      {downloadFolder() + "/1-2", true, true},
      {downloadFolder() + "/73-9-3", false, true},
      {shares + "/a1/v1", true, true},
      {shares + "/a1/v2", false, true},
      {downloadFolder() + "/73-9-2", true, 0, 1'000'000},
      {shares + "/a1/v3", false},
      {home_ / "movies/other/a1/v2", true},
      {downloadFolder() + "/../../mine", true},
  };
  for (const auto& [folder, stays, isAside, other] : cases) note(folder, isAside, other);
  ZRRemovedFolders::sweep();  // leaves to the notes what they speak of
  ZRBackgroundQueue::shared().waitUntilIdle();
  ZRDownloadManager::shutdown();
  manager()->setup({{"logger_handler", ZRLoggerHandler([this](const ZRDictionary& record, const ZRValue&) {
                       if (record["msg"] == ZRValue("share:0/1")) throw std::bad_alloc();
                       log_.push_back({record["level"].uint64Value(), record["msg"].textValue().value_or("")});
                     })}});
  EXPECT_TRUE(manager()->db() == nullptr && manager()->allUnFinishTaskArr().empty());
  EXPECT_TRUE(logged(2, "can't load the tasks: out of memory") && fs::exists(cases[1].folder + "/m.mp4"));
  manager()->setup(options());
  ZRBackgroundQueue::shared().waitUntilIdle();
  for (const auto& [folder, stays, isAside, other] : cases) {
    EXPECT_EQ(fs::exists(folder + "/m.mp4"), stays) << folder;
  }
  for (const auto& entry : fs::recursive_directory_iterator(home_.path())) {
    EXPECT_EQ(entry.path().string().find("/.removing-"), std::string::npos) << entry;
  }
  std::string order;
  for (const auto& task : manager()->allUnFinishTaskArr()) order += task->taskId() + " ";
  EXPECT_EQ(order, "1 73-1 share-1 ") << "by their kinds, whatever the order of adding";

  std::promise<void> free;
  ZRBackgroundQueue::shared().post([busy = free.get_future().share()] { busy.wait(); });
  for (const auto& task : manager()->allUnFinishTaskArr()) manager()->removeTask(task);
  EXPECT_FALSE(fs::exists(shares + "/a1/v1"));
  EXPECT_EQ(ZRRemovedFolders::notes().size(), 3U) << "until the files have gone";
  free.set_value();
  ZRBackgroundQueue::shared().waitUntilIdle();
  EXPECT_TRUE(ZRRemovedFolders::notes().empty());
}

}  // namespace
