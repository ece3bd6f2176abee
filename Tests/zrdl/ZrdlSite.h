#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "LoopbackOrigin.h"
#include "TemporaryFolder.h"
#include "ZrdlProcess.h"

/// The words of a line as a shell splits it; none of a line that is more than a simple command.
std::vector<std::string> wordsOf(const std::string& line);

/// A temporary home for `zrdl`, a web server, and the metadata of the MP4s on it, whose version is 1.
class ZrdlSite : public testing::Test {
 protected:
  using Json = ZrdlProcess::Json;

  /// A command line: the options of this home, then the words of `line`.
  std::vector<std::string> with(const std::string& line) const;

  /// What `list` tells, an object a task.
  Json listed() const;

  /// Makes an MP4 known to the next processes, at `/VID.mp4` of the origin unless another address is given.
  void know(int vid, std::size_t size, const std::string& url = "");

  static std::string mp4Path(int vid) { return "/" + std::to_string(vid) + ".mp4"; }

  /// Where an MP4 goes.
  std::filesystem::path file(int vid) const;
  std::filesystem::path downloadFolder() const;

  /// Writes a batch file with a line for each MP4 from 1 on and returns its path.
  std::string batchOf(int count) const;

  /// HLS video 1 of the main service, in version 2: its record, its playlist and that many segments.
  void serveHls(int segments);

  static std::string segment(int index);
  static std::string segmentPath(int index) { return "/p/s" + std::to_string(index) + ".ts"; }

  /// The video's playlist, the segments of which are called `prefix` and their number.
  std::string playlist(const std::string& prefix) const;

  /// The options that lead to the HLS video.
  std::string hlsOptions() const;

  std::filesystem::path hlsFile(const std::string& name) const { return downloadFolder() / "1-2" / name; }
  void expectWholeHls() const;

  /// Video "v1" of album "a1" on a device that the origin plays, together with the share service that knows it; its
  /// file is at `/share.mp4`.
  void serveShare();

  std::filesystem::path shareFile(const std::string& name) const { return home_ / "movies/Oxwell/a1/v1/" + name; }

  /// The lines of a batch file with the first MP4, the HLS video and the shared one.
  std::string oneOfEachKind() const;

  /// Answers `path` with the first half of a file, and sends nothing more.
  void serveHalf(const std::string& path, const std::string& bytes);

  std::size_t requestsTo(const std::string& path) const { return origin_.requestsTo(path).size(); }

  TemporaryFolder home_;
  std::string support_ = "support";  // name of the support folder
  OriginGate gate_;
  LoopbackOrigin origin_;
  Json info_ = Json::object();
  int segments_ = 0;
};

/// {"finished", "errored", "stalled", "refused"} of the summary.
std::vector<int> summaryOf(const ZrdlProcess& process);
