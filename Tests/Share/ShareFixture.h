#pragma once

#include <string>
#include <vector>

#include "RunnerFixture.h"
#include "ZRShareTaskRunner.h"

/// The share runner's world for one test: a device that shares one video, on 127.0.0.2, and a share service on
/// 127.0.0.3 that knows the device's address and passes its answers on. The device has no subtitles unless it is told.
class ShareFixture : public RunnerFixture {
 protected:
  using Runner = ZRShareTaskRunner;

  ShareFixture() {
    device_.serve("/ping", R"({"status": 200})");
    device_.serve("/albumdetail.action", R"({"status": 200, "data": {"shareUrl": ")" + relay_.url("/share") + "\"}}");
    device_.serve("/coverImg.action", cover_);
    device_.serveFile("/v", {.bytes = bytes_, .etag = "\"v1\""});
    serveDetail();
    serveLookup("\"lan\": \"" + device_.url("") + "\", \"url\": \"" + relay_.url("") + "\"");
    manager()->setup(options());
  }

  /// What the service says of the device; `fields` are members of a JSON object.
  void serveLookup(const std::string& fields) {
    relay_.serve("/share", R"({"status": 200, "data": {)" + fields + "}}");
  }

  /// What the device, also through the relay, says of the video: its address and its subtitles as a JSON list.
  void serveDetail(const std::string& subtitles = "[]") {
    detail_ = R"({"status": 200, "data": {"url": ")" + device_.url("/v") + R"(", "subtitles": )" + subtitles + "}}";
    device_.serve("/video.action", detail_);
    relay_.serve("/video.action", detail_);
  }

  /// A detail with that many subtitles, "0.srt", "1.srt" and so on, which are served too.
  void serveSubtitles(unsigned count) {
    std::string list;
    for (unsigned i = 0; i < count; ++i) {
      const std::string name = std::to_string(i) + ".srt";
      device_.serve("/" + name, "subtitle " + name);
      list += (i == 0 ? "" : ",") + subtitle(name, "/" + name);
    }
    serveDetail("[" + list + "]");
  }

  std::string subtitle(const std::string& jsonName, const std::string& path) const {
    return R"({"name": ")" + jsonName + R"(", "url": ")" + device_.url(path) + "\"}";
  }

  /// A share's parameters with `more` in place of the usual ones; an absent value is left out.
  ZRDictionary params(const std::vector<ZRDictionary::Entry>& more = {}) const {
    ZRDictionary all{{"vid", "v1"},         {"albumId", "a1"},         {"videoName", "movie"}, {"albumName", "Album"},
                     {"deviceName", "Mac"}, {"host", device_.url("")}, {"lanOnly", true}};
    for (const auto& [key, value] : more) all.set(key, value);
    return all;
  }

  static std::shared_ptr<Runner> add(const ZRDictionary& params) { return addTaskOf<Runner>(params); }

  /// A task that is found through the share service.
  std::shared_ptr<Runner> addShared() { return add(params({{"lanOnly", false}, {"shareUrl", relay_.url("/share")}})); }

  /// The task's next error, which is kept from the manager, for it would act on it.
  ZRError caughtError(Runner& task) {
    std::vector<ZRError> errors;
    task.addErrorNotifi([&errors](const auto&, const ZRError& error) { errors.push_back(error); });
    EXPECT_TRUE(runUntil([&errors] { return !errors.empty(); }));
    task.addErrorNotifi({});
    return errors.at(0);
  }

  static std::size_t requests(const LoopbackOrigin& origin, const std::string& path) {
    return origin.requestsTo(path).size();
  }

  std::size_t detailRequests() const { return requests(device_, "/video.action"); }

  std::string shares() const { return home_ / "movies/Oxwell"; }
  std::string file(const std::string& name, const std::string& folder = "a1/v1") const {
    return shares() + "/" + folder + "/" + name;
  }

  const std::string bytes_ = patternBytes(5000);
  const std::string cover_ = patternBytes(900, 7);
  std::string detail_;
  LoopbackOrigin device_{"127.0.0.2"};
  LoopbackOrigin relay_{"127.0.0.3"};
  const ZRError offline_{ZRErrorCode::HostOffline, "主机已下线"};
};
