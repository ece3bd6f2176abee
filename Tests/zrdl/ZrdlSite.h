#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "LoopbackOrigin.h"
#include "TemporaryFolder.h"
#include "ZrdlProcess.h"

/// A temporary home for `zrdl`, a web server, and the metadata of the videos on it. Videos have version 1.
class ZrdlSite : public testing::Test {
 protected:
  using Json = ZrdlProcess::Json;

  /// Makes a video known to the next processes, at `/VID.mp4` of the origin unless another address is given.
  void know(int vid, std::size_t size, const std::string& url = "");

  /// The command line: the options of this home, then `arguments`.
  std::vector<std::string> with(const std::vector<std::string>& arguments) const;

  /// Where a video's file goes.
  std::filesystem::path file(int vid) const;
  std::filesystem::path downloadFolder() const;

  /// Answers `/VID.mp4` with the first half of `file`, and sends nothing more.
  void serveHalf(int vid, const OriginFile& file);

  /// Writes a batch file with a line for each video and returns its path.
  std::string batchOf(const std::vector<int>& vids) const;

  TemporaryFolder home_;
  std::string support_ = "support";  // name of the support folder
  OriginGate gate_;
  LoopbackOrigin origin_;
  nlohmann::json info_ = nlohmann::json::object();
};

/// {"finished", "errored", "stalled", "refused"} of the last summary.
std::vector<int> summaryOf(const ZrdlProcess& process);
