#pragma once

#include <optional>
#include <string>
#include <vector>

#include "RunnerFixture.h"
#include "ZRM3u8TaskRunner.h"

/// The HLS runner's world for one test: an origin that serves the record, the playlist and the segments, and a host
/// that has a key and "decrypts" the playlist into `tsArr_`.
class M3u8Fixture : public RunnerFixture {
 protected:
  using Runner = ZRM3u8TaskRunner;

  M3u8Fixture() {
    ZRHostInfo info = ZRHost::current();
    info.videoInfoBaseURL = origin_.url("/v4/video/info");
    info.shortVersion = "9.9";
    ZRHost::setCurrent(info);
    ZRClock::setSource([this] { return now_; });
    serveHlsRecord();
    origin_.serve("/p.m3u8", "encrypted");
    manager()->setup(hlsHost());
  }

  /// Replies that arrived too late to be delivered hold the loop that holds them.
  ~M3u8Fixture() override {
    ZRDownloadManager::shutdown();
    loop_->drain();
  }

  /// A host with both callbacks; `more` adds options or replaces them.
  ZRDictionary hlsHost(const ZRDictionary& more = {}) {
    ZRDictionary all =
        options({{"fetch_mky_handler", ZRFetchMkeyHandler([this](const auto& request, const auto& reply) {
                    keyRequests_.push_back(request);
                    reply(keyReply_, keyError_);
                  })},
                 {"decryption_handler",
                  ZRDecryptionHandler([this](const auto& request, const auto& reply) { decrypt(request, reply); })}});
    for (const auto& [key, value] : more) all.set(key, value);
    return all;
  }

  void decrypt(const ZRDictionary& request, const ZRReplyCompletion& reply) {
    EXPECT_EQ(request.size(), 2U);
    decrypted_.push_back(readFile(*request["contentPath"].textValue()));
    if (decryptionFailures_ > 0) {
      --decryptionFailures_;
      return reply(std::nullopt, ZRError("host", 7, "no"));
    }
    writeFile(*request["localPath"].textValue(), "#EXTM3U");
    reply(ZRDictionary{{"tsArr", tsArr_}}, std::nullopt);
  }

  /// What the service says of video 7; `fields` are members of a JSON object.
  void serveRecord(const std::string& fields) {
    origin_.serve("/v4/video/info/7.json", R"({"status": 200, "data": {"videoId": 99, "aid": 3, )" + fields + "}}");
  }

  /// A record with the playlist's address, and `more` members.
  void serveHlsRecord(const std::string& more = {}) {
    serveRecord(R"("url_high": ")" + origin_.url("/p.m3u8?a=1") + '"' + more);
  }

  static std::string segment(unsigned seed, std::size_t size = 376) {
    std::string bytes = patternBytes(size, seed);
    for (std::size_t at = 0; at < size; at += 188) bytes[at] = 'G';
    return bytes;
  }

  /// Serves `count` good segments and names them in the playlist.
  void serveSegments(unsigned count) {
    tsArr_.clear();
    for (unsigned i = 0; i < count; ++i) {
      const std::string path = "/" + std::to_string(i) + ".ts";
      origin_.serve(path, segment(i));
      tsArr_.emplace_back(origin_.url(path));
    }
  }

  static ZRDictionary params(int version = 1) {
    return {{"aid", 3}, {"vid", "7"}, {"site", 1}, {"version", version}, {"albumPic", "http://a"}};
  }
  static std::shared_ptr<Runner> add() { return addTaskOf<Runner>(params()); }

  std::size_t requestsTo(const std::string& path) const { return origin_.requestsTo(path).size(); }
  std::size_t recordRequests() const { return requestsTo("/v4/video/info/7.json"); }

  std::size_t countLogged(std::uint64_t level, const std::string& msg) const {
    return static_cast<std::size_t>(std::count(log_.begin(), log_.end(), LogLine{level, msg}));
  }

  std::string file(const std::string& name) const { return downloadFolder() + "/7-1/" + name; }

  double now_ = 1e9;
  LoopbackOrigin origin_;
  std::optional<ZRDictionary> keyReply_ = ZRDictionary{{"mkey", "K"}, {"cookie", "c=1"}};
  std::optional<ZRError> keyError_;
  ZRValue::List tsArr_;
  unsigned decryptionFailures_ = 0;
  std::vector<ZRDictionary> keyRequests_;
  std::vector<std::string> decrypted_;  // what was found at each contentPath
};
