#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LoopbackOrigin.h"
#include "TemporaryFolder.h"

namespace {

/// What the command prints, and then its status.
std::string outputOf(const std::string& command) {
  std::FILE* const pipe = ::popen(command.c_str(), "r");
  std::string said;
  for (int c = 0; (c = std::fgetc(pipe)) != EOF;) said.push_back(static_cast<char>(c));
  return said + std::to_string(::pclose(pipe) >> 8);
}

}  // namespace

TEST(ToolkitHosts, tellARefusalACutAndWhatTheNextRunDoes) {
  for (const std::string& program : std::vector<std::string>{ZR_TOOLKIT_HOSTS}) {
    SCOPED_TRACE(program);
    const TemporaryFolder home;
    const std::string bytes = patternBytes(5000);
    LoopbackOrigin origin;
    const auto cut = [&](const OriginRequest&, OriginConnection& out) {
      out.send(OriginConnection::head(5000) + bytes.substr(0, 2500));
      out.close();
    };
    const std::string path = home / ("data/" + program.substr(program.rfind('/') + 1) + "/download/73-42-2/42-2.mp4");
    const struct {
      const char* what;
      LoopbackOrigin::Handler answer;
      std::string said;
    } runs[] = {
        {"refused", [](const auto&, auto& out) { out.respond(403); },
         "executing, 0 of 5000 bytes\nfailed: httpStatus 403\n1"},
        {"cut", cut, "executing, 0 of 5000 bytes\nfailed: connectionLost 101\nerrored, 2500 of 5000 bytes\n1"},
        {"gone on with",
         [&](const auto& request, auto& out) { out.respondFile(request, {.bytes = bytes, .etag = "\"v1\""}); },
         "executing, 2500 of 5000 bytes\nfinished, 5000 of 5000 bytes\nplay " + path + "\n0"},
        {"there", [](const auto&, auto& out) { out.respond(500); },
         "finished, 5000 of 5000 bytes\nplay " + path + "\n0"},
    };
    for (const auto& run : runs) {
      origin.route("/film.mp4", run.answer);
      EXPECT_EQ(outputOf("XDG_DATA_HOME=" + (home / "data") + " timeout 60 " + program + " " + origin.url("/film.mp4") +
                         " 5000"),
                run.said)
          << run.what;
    }
    EXPECT_EQ(origin.requestsTo("/film.mp4").back().header("Range"), "bytes=2500-");
    EXPECT_EQ(readFile(path), bytes);
  }
}
