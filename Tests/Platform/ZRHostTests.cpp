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

TEST_F(ZRHostInfoTest, absoluteFoldersInTheEnvironmentWin) {
  for (const auto& [data, videos, support, movies] :
       {std::tuple("", "", home_ / ".local/share", home_ / "Videos"),
        {"data", "films", home_ / ".local/share", home_ / "Videos"},
        {"/data", "/films", std::string("/data"), std::string("/films")}}) {
    ::setenv("XDG_DATA_HOME", data, 1);
    ::setenv("XDG_VIDEOS_DIR", videos, 1);
    const ZRHostInfo info = ZRHostInfo::defaults();
    EXPECT_EQ(std::tuple(info.applicationSupportFolder, info.moviesFolder), std::tuple(support, movies));
    EXPECT_EQ(std::tuple(info.bundleIdentifier, info.homeFolder), std::tuple("PlatformTests", home_.path().string()));
  }
  EXPECT_EQ(moviesFor("XDG_VIDEOS_DIR=\"/other\"\n"), "/films");
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
  EXPECT_TRUE(space.total > 0 && space.free <= space.total);
  const auto missing = std::get<ZRError>(ZRVolume::at(folder / "missing"));
  EXPECT_EQ(std::tuple(missing.domain(), missing.code()), std::tuple(kZRPOSIXErrorDomain, ENOENT));
}
