#include "DemoSite.h"

#include <cstdint>

#include "DemoContent.h"
#include "DemoDecryptor.h"

namespace site {
namespace {

constexpr std::int64_t kVid = 1;
constexpr std::int32_t kMp4Version = 1;
constexpr std::int32_t kHlsVersion = 2;

}  // namespace

Answers demoAnswers(const DemoOrigin& origin) {
  Answers answers;
  answers.playbackKey = {{"mkey", origin.mkey()}, {"cookie", origin.cookie()}};
  answers.decryptor = std::make_unique<DemoDecryptor>(origin.mkey());
  answers.mp4.set(
      kVid, kMp4Version,
      {{"title", "MP4 演示"}, {"url", origin.videoAddress()}, {"duration", 60}, {"fileSize", kDemoVideo.size()}});
  return answers;
}

TaskRequest demoHls() {
  return {"hls", {{"vid", kVid}, {"site", 1}, {"version", kHlsVersion}}};
}

TaskRequest demoMp4() {
  return {"mp4", {{"vid", kVid}, {"version", kMp4Version}}};
}

TaskRequest demoShare(const DemoOrigin& origin) {
  return {"share",
          {{"vid", "demo"},
           {"albumId", "zrdl"},
           {"videoName", "LAN 演示.mp4"},
           {"albumName", "ZRDownloadKit"},
           {"deviceName", "zrdl"},
           {"host", origin.deviceAddress()}}};
}

}  // namespace site
