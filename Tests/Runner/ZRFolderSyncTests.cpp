#include <cerrno>

#include <gmock/gmock.h>

#include "DiskProbe.h"
#include "TemporaryFolder.h"
#include "ZRFolderSync.h"
#include "ZRValue.h"

namespace {

class ZRFolderSyncTest : public ::testing::Test {
 protected:
  void makeFiles(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) writeFile(folder_ + "/sub/" + std::to_string(i), "x");
  }

  bool exists(const char* name) const { return std::filesystem::exists(folder_ + "/sub/" + name); }

  TemporaryFolder home_;
  DiskProbe disk_;
  const std::string folder_ = home_ / "task";
};

TEST_F(ZRFolderSyncTest, fewFilesAreSyncedOneByOneAndManyAtOnce) {
  makeFiles(2);
  EXPECT_EQ(ZRFolderSync::makeDurable(folder_), std::nullopt);
  EXPECT_THAT(disk_.takeSynced(), testing::IsSupersetOf({folder_, folder_ + "/sub", folder_ + "/sub/0",
                                                         folder_ + "/sub/1", home_.path().string()}));
  ZRFolderSync::makeFileDurable(folder_ + "/sub/0");
  EXPECT_THAT(disk_.takeSynced(), testing::ElementsAre(folder_ + "/sub", folder_ + "/sub/0"));
  makeFiles(ZRFolderSync::kFewFiles + 1);
  EXPECT_EQ(ZRFolderSync::makeDurable(folder_), std::nullopt);
  EXPECT_THAT(disk_.takeSynced(), testing::ElementsAre(folder_));
  EXPECT_NE(ZRFolderSync::makeDurable(home_ / "missing"), std::nullopt);
  disk_.setHook([](const std::string&) { return EINVAL; });  // of a file system that cannot sync
  EXPECT_EQ(ZRFolderSync::makeDurable(folder_), std::nullopt);
}

TEST_F(ZRFolderSyncTest, aFileThatFailsIsDeletedAndTheOthersStay) {
  for (const std::size_t files : {2U, 20U}) {
    for (const auto& [error, code] : {std::pair(EIO, ZRErrorCode::ResourceUnusable), {ENOSPC, ZRErrorCode::DiskFull}}) {
      makeFiles(files);
      disk_.setHook([&, failing = error](const std::string& path) {
        return path.ends_with("/1") || (path == folder_ && files == 20U) ? failing : 0;
      });
      const auto failure = ZRFolderSync::makeDurable(folder_);
      ASSERT_TRUE(failure);
      EXPECT_EQ(failure->code(), static_cast<std::int64_t>(code));
      EXPECT_EQ(failure->userInfo()["reason"].textValue() == "fileSync", error == EIO);
      EXPECT_FALSE(exists("1"));
      EXPECT_TRUE(exists("0"));
    }
  }
}

}  // namespace
