#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ZRHost.h"
#include "ZRVolume.h"

#ifdef __linux__

namespace {

/// A home folder of its own, with every variable that says otherwise unset.
class ZRHostInfoTest : public testing::Test {
 protected:
  ZRHostInfoTest() {
    ::setenv("HOME", home_.path().c_str(), 1);
    for (const char* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_VIDEOS_DIR"}) ::unsetenv(variable);
  }

  std::string moviesFor(const std::string& userDirs) const {
    writeFile(home_ / ".config/user-dirs.dirs", userDirs);
    return ZRHostInfo::defaults().moviesFolder;
  }

  TemporaryFolder home_;
};

}  // namespace

TEST_F(ZRHostInfoTest, defaultsAreBelowTheHomeFolder) {
  const ZRHostInfo info = ZRHostInfo::defaults();
  EXPECT_EQ(info.bundleIdentifier, "PlatformTests");
  EXPECT_EQ(info.homeFolder, home_.path());
  EXPECT_EQ(info.applicationSupportFolder, home_ / ".local/share");
  EXPECT_EQ(info.moviesFolder, home_ / "Videos");
}

TEST_F(ZRHostInfoTest, absoluteFoldersInTheEnvironmentWin) {
  ::setenv("XDG_DATA_HOME", "/data", 1);
  ::setenv("XDG_VIDEOS_DIR", "/films", 1);
  EXPECT_EQ(ZRHostInfo::defaults().applicationSupportFolder, "/data");
  EXPECT_EQ(moviesFor("XDG_VIDEOS_DIR=\"/other\"\n"), "/films");

  ::setenv("XDG_DATA_HOME", "data", 1);
  ::setenv("XDG_VIDEOS_DIR", "films", 1);
  EXPECT_EQ(ZRHostInfo::defaults().applicationSupportFolder, home_ / ".local/share");
  EXPECT_EQ(ZRHostInfo::defaults().moviesFolder, "/other");
}

TEST_F(ZRHostInfoTest, readsTheVideosFolderOfTheUserDirectories) {
  EXPECT_EQ(moviesFor("# XDG_VIDEOS_DIR=\"/no\"\nXDG_MUSIC_DIR=\"/no\"\n  XDG_VIDEOS_DIR=\"$HOME/Films/Own\"\n"),
            home_ / "Films/Own");
  EXPECT_EQ(moviesFor("XDG_VIDEOS_DIR=\"/mnt/films\""), "/mnt/films");
  EXPECT_EQ(moviesFor("XDG_VIDEOS_DIR=\"$HOME/\""), home_.path());
  EXPECT_EQ(moviesFor("XDG_VIDEOS_DIR=\"$HOMEWARD/x\"\nXDG_VIDEOS_DIR=\"films\"\nXDG_VIDEOS_DIR="), home_ / "Videos");
}

#endif

TEST(ZRHost, measuresAVolumeOrSaysWhyNot) {
  const TemporaryFolder folder;
  const auto space = std::get<ZRVolume>(ZRVolume::at(folder.path().string()));
  EXPECT_GT(space.total, 0U);
  EXPECT_LE(space.free, space.total);
  const auto missing = std::get<ZRError>(ZRVolume::at(folder / "missing"));
  EXPECT_EQ(missing.domain(), kZRPOSIXErrorDomain);
  EXPECT_EQ(missing.code(), ENOENT);
}

TEST(ZRHost, aProbeTakesThePlaceOfTheFileSystem) {
  ZRVolume::setProbe([](const std::string&) { return ZRError(ZRErrorCode::DiskFull, "full"); });
  const auto space = ZRVolume::at("/");
  ZRVolume::setProbe(nullptr);
  EXPECT_EQ(std::get<ZRError>(space).description(), "Error Domain=com.velmor.inc Code=100 \"full\"");
  EXPECT_TRUE(std::holds_alternative<ZRVolume>(ZRVolume::at("/")));
}
