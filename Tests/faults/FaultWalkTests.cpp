#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>

#include "FaultCalls.h"
#include "ZrdlSite.h"

namespace fs = std::filesystem;

namespace {

/// One call that fails, as CALL:N:ERRNO: its name, which use of it, and the error's number, 0 for the end of the
/// process there.
using Fault = std::string;

/// What the system may say to a call.
const std::map<std::string, std::vector<int>, std::less<>> kErrors{
    {"open", {EMFILE, EIO, EACCES, ENOSPC}},
    {"read", {EIO}},
    {"pwrite", {ENOSPC, EIO}},
    {"fdatasync", {EIO, ENOSPC}},
    {"rename", {EIO, EACCES, ENOSPC}},
    {"ftruncate", {EIO, EACCES}},
    {"unlink", {EACCES, EIO}},
    {"mkdir", {ENOSPC, EACCES}},
    {"close", {EIO}},
    {"socket", {EMFILE, ENOBUFS}},
    {"connect", {ENETUNREACH, EACCES}},
    {"pthread_create", {EAGAIN}},
};

constexpr int kKilled = 1000 + SIGKILL;

std::string setting(const char* name, const char* otherwise = "") {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : otherwise;
}

/// Runs a command of the setting's, when there is one.
void runSetting(const char* name) {
  const std::string command = setting(name);
  EXPECT_TRUE(command.empty() || std::system(command.c_str()) == 0) << command;
}

}  // namespace

/// Tells a story of `zrdl` once for each call that may fail in it, and again without a fault. The environment says how:
///
///   ZR_FAULT_WALK    all (every error of every call), kill (the process, before any call), CALL:N:ERRNO (that one);
///                    otherwise one error for each call
///   ZR_FAULT_SAMPLE  how many of them a story is told with, 60 without
///   ZR_FAULT_CUT     with kill: a command that keeps what the disk holds, run before the kill and after as many ends
///   of
///                    their own, and ZR_FAULT_MOUNT one that puts it in the place of the temporary folder afterwards
class FaultWalk : public ZrdlSite {
 protected:
  FaultWalk() {
    know(1, video_.bytes.size());
    origin_.serveFile("/1.mp4", video_);
    serveHls(4);
    serveShare();  // without subtitles: a share with some on disk stands still in another process
    origin_.serveFile("/share.mp4", video_);
    writeFile(home_ / "all", oneOfEachKind());
  }

  /// Runs `command` with every fault of the walk, each time from the folders as they are now.
  void walk(const std::string& command) {
    fs::create_directories(home_ / "support");
    fs::create_directories(home_ / "movies");
    fs::create_directories(home_ / "kept");
    for (const char* const folder : kFolders) fs::copy(home_ / folder, home_.path() / "kept" / folder, kDeep);
    for (const Fault& fault : faultsOf(command)) {
      const std::string verdict = verdictOf(command, fault);
      if (!verdict.empty()) ADD_FAILURE() << fault << " " << verdict << told_;
    }
  }

  std::string hls() const { return hlsOptions() + " hls 1 --site 1 --version 2"; }
  std::string share() const { return "share v1 --album-id a1 --name movie.mp4 --lan-only --host " + origin_.url(""); }
  std::string all(const std::string& command) const { return hlsOptions() + " --max 4 " + command; }

  OriginFile video_{.bytes = patternBytes(2'500'000), .etag = "\"v1\""};

 private:
  static constexpr const char* kFolders[] = {"support", "movies"};
  static constexpr auto kDeep = fs::copy_options::recursive;

  /// Runs `zrdl` under the shim and leaves what it told in `told_`.
  int run(const std::string& command, const std::string& fault) {
    writeFile(home_ / "counts", std::string(kFaultCalls.size() * 4, '\0'));
    ::setenv("ZR_FAULT", fault.c_str(), 1);
    ::setenv("ZR_FAULT_BELOW", home_.path().c_str(), 1);
    ::setenv("ZR_FAULT_COUNTS", (home_ / "counts").c_str(), 1);
    ::setenv("LD_PRELOAD", FAULT_SHIM, 1);
    ZrdlProcess process(with("--give-up 10 " + command));
    ::unsetenv("LD_PRELOAD");
    const int status = process.wait();
    told_ = "\nexit " + std::to_string(status) + "\n" + process.err();
    for (const char* const name : {"errored", "failure", "stalled", "refused", "finished", "removed", "summary"}) {
      for (const Json& event : process.events(name)) told_ += event.dump() + "\n";
    }
    created_ = process.events("created").size();
    removed_ = process.values("removed", "taskId");
    stalled_ = !process.events("stalled").empty();
    mute_ = process.err().empty() && process.events("errored").empty() && process.events("failure").empty();
    return status;
  }

  std::vector<Fault> faultsOf(const std::string& command) {
    const std::string wish = setting("ZR_FAULT_WALK");
    if (wish.find(':') != std::string::npos) return {wish};
    EXPECT_EQ(run(command, ""), 0) << told_;
    const std::string bytes = readFile(home_ / "counts");
    std::vector<Fault> faults;
    for (std::size_t index = 0; index < kFaultCalls.size(); ++index) {
      std::uint32_t count = 0;
      bytes.copy(reinterpret_cast<char*>(&count), sizeof count, index * sizeof count);
      const std::string call(kFaultCalls[index]);
      if ((call == "any") != (wish == "kill")) continue;
      const std::vector<int> errors = wish == "kill" ? std::vector<int>{0} : kErrors.at(call);
      for (unsigned at = 1; at <= count; ++at) {
        for (std::size_t error = 0; error < errors.size(); ++error) {
          if (wish != "all" && error != at % errors.size()) continue;
          faults.push_back(call + ":" + std::to_string(at) + ":" + std::to_string(errors[error]));
        }
      }
    }
    const std::size_t size = std::stoul(setting("ZR_FAULT_SAMPLE", wish == "all" ? "1000000" : "60"));
    const std::size_t kept = std::min(size, faults.size());  // spread over the whole story
    for (std::size_t at = 0; at < kept; ++at) faults[at] = faults[at * faults.size() / kept];
    faults.resize(kept);
    if (isCut_) faults.resize(kept + size, "any:1000000:0");  // after the end
    return faults;
  }

  /// What does not hold after a run with the fault, or after one more without; empty when all does.
  std::string verdictOf(const std::string& command, const Fault& fault) {
    for (const char* const folder : kFolders) {
      fs::remove_all(home_ / folder);
      fs::copy(home_.path() / "kept" / folder, home_ / folder, kDeep);
    }
    EXPECT_TRUE(!isCut_ || std::system(("sync -f " + home_.path().string()).c_str()) == 0);
    const int status = run(command, fault);
    if (isCut_ && status != kKilled) runSetting("ZR_FAULT_CUT");
    runSetting("ZR_FAULT_MOUNT");
    if (status == -1) return "hangs";
    if (status >= 1000 && !(status == kKilled && fault.ends_with(":0"))) return "ends by a signal";
    if (stalled_) return "stalls";
    if (status == 1 && mute_) return "fails without a word";
    const Json before = rows();
    if (before.is_null()) return "cannot be listed any more";
    if (!isCut_) {  // which may cost the database its last writes
      for (const Json& row : before) {
        if (std::count(removed_.begin(), removed_.end(), row.at("taskId")) > 0) return "calls removed what is there";
      }
      if (before.size() < created_) return "has no row of what was created";
    }
    if (const std::string wrong = wrongRow(before); !wrong.empty()) return wrong;
    const bool isWell = status == 0 && !isCut_;
    return command.starts_with("rm ") ? restOfRemoval(before, isWell) : restOfDownload(command, before, isWell);
  }

  Json rows() const {
    ZrdlProcess list(with("list"));
    return list.wait() == 0 ? list.events("task") : Json();
  }

  /// A finished row whose files are not the origin's, and an unfinished one that knows of more bytes than there are.
  std::string wrongRow(const Json& rows) const {
    for (const Json& row : rows) {
      const std::string id = row.at("taskId");
      if (row.at("state") == 4 && !isWhole(id)) return id + " is finished and not whole";
      const fs::path cover = shareFile("v1.jpg");  // may be missing: it is asked for once
      if (id == "share-1" && fs::exists(cover) && readFile(cover) != "a picture") return "the cover is not whole";
      const fs::path path = row.at("path").is_string() ? row.at("path").get<std::string>() : "";
      if (id == "1" || row.at("state") == 4 || row.at("bytes") == 0) continue;
      const std::size_t size = fs::exists(path) ? fs::file_size(path) : 0;
      if (row.at("bytes") > size + 1) return id + " counts " + row.at("bytes").dump() + " of " + std::to_string(size);
    }
    return "";
  }

  bool isWhole(const std::string& id) const {
    if (id == "73-1") return readFile(file(1)) == video_.bytes;
    if (id == "share-1") return readFile(shareFile("movie.mp4")) == video_.bytes;
    for (int index = 0; index < segments_; ++index) {
      if (readFile(hlsFile(std::to_string(index) + ".ts")) != segment(index)) return false;
    }
    return readFile(hlsFile("1-2.local.m3u8")) == playlist("");
  }

  std::string restOfDownload(const std::string& command, const Json& before, bool isWell) {
    const bool isStored = !before.empty();
    if (isWell && !isStored) return "ends well without a row";
    const int second = run(isStored ? all("resume") : command, "");
    if (second != 0) return "does not finish in a second run";
    const Json after = rows();
    if (after.empty()) return "has no row in the end";
    for (const Json& row : after) {
      if (row.at("state") != 4) return row.at("taskId").get<std::string>() + " is not finished in the end";
    }
    return wrongRow(after);
  }

  std::string restOfRemoval(const Json& before, bool isWell) {
    if (isWell && !before.empty()) return "ends well and leaves a row";
    std::string rest;
    for (const Json& row : before) rest += " " + row.at("taskId").get<std::string>();
    if (!rest.empty() && run("rm" + rest, "") != 0) return "cannot remove in a second run";
    if (!rows().empty()) return "has a row in the end";
    if (isCut_) return "";  // the row goes first: a cut right after it costs the folder's space, and tells no lie
    for (const fs::path& folder : {file(1).parent_path(), hlsFile(""), shareFile("")}) {
      if (fs::exists(folder)) return "leaves " + folder.string();
    }
    return "";
  }

  const bool isCut_ = !setting("ZR_FAULT_CUT").empty();
  std::string told_;
  std::size_t created_ = 0;
  Json removed_;
  bool stalled_ = false;
  bool mute_ = false;
};

TEST_F(FaultWalk, anMp4) {
  walk("mp4 1 --version 1");
}

TEST_F(FaultWalk, anMp4OfAServerThatTellsNoVersion) {
  video_.etag.clear();
  origin_.serveFile("/1.mp4", video_);
  walk("mp4 1 --version 1");
}

TEST_F(FaultWalk, anHls) {
  walk(hls());
}

TEST_F(FaultWalk, aShare) {
  walk(share());
}

TEST_F(FaultWalk, aResumption) {
  serveHalf("/1.mp4", video_.bytes);
  serveHalf("/share.mp4", video_.bytes);
  serveHalf(segmentPath(2), segment(2));
  ZrdlProcess halves(with(all("--give-up 1 batch " + home_ / "all")));
  ASSERT_EQ(halves.wait(), 1) << halves.err();
  ASSERT_EQ(summaryOf(halves), (std::vector<int>{0, 0, 3, 0}));
  origin_.serveFile("/1.mp4", video_);
  origin_.serveFile("/share.mp4", video_);
  origin_.serve(segmentPath(2), segment(2));
  walk(all("resume"));
}

TEST_F(FaultWalk, aRemoval) {
  ZrdlProcess whole(with(all("batch " + home_ / "all")));
  ASSERT_EQ(whole.wait(), 0) << whole.err();
  walk("rm 73-1 1 share-1");
}
