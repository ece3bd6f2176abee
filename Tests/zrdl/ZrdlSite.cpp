#include "ZrdlSite.h"

#include <utility>

#include <wordexp.h>

std::vector<std::string> wordsOf(const std::string& line) {
  wordexp_t found{};
  std::vector<std::string> words;
  if (::wordexp(line.c_str(), &found, WRDE_NOCMD) == 0) words.assign(found.we_wordv, found.we_wordv + found.we_wordc);
  ::wordfree(&found);
  return words;
}

std::vector<std::string> ZrdlSite::with(const std::string& line) const {
  std::vector<std::string> all{"--json", "--support", home_ / support_, "--movies", home_ / "movies"};
  if (!info_.empty()) all.insert(all.end(), {"--mp4-info", home_ / "info.json"});
  const std::vector<std::string> words = wordsOf(line);
  all.insert(all.end(), words.begin(), words.end());
  return all;
}

ZrdlSite::Json ZrdlSite::listed() const {
  ZrdlProcess list(with("list"));
  EXPECT_EQ(list.wait(), 0) << list.err();
  return list.events("task");
}

void ZrdlSite::know(int vid, std::size_t size, const std::string& url) {
  const std::string number = std::to_string(vid);
  const std::string address = url.empty() ? origin_.url(mp4Path(vid)) : url;
  info_[number + "-1"] = {{"title", "video's " + number}, {"url", address}, {"duration", 60}, {"fileSize", size}};
  writeFile(home_ / "info.json", info_.dump());
}

std::filesystem::path ZrdlSite::file(int vid) const {
  const std::string number = std::to_string(vid);
  return downloadFolder() / ("73-" + number + "-1") / (number + "-1.mp4");
}

std::filesystem::path ZrdlSite::downloadFolder() const {
  return home_.path() / support_ / "com.velmor.zrdl" / "download";
}

std::string ZrdlSite::batchOf(int count) const {
  std::string lines;
  for (int vid = 1; vid <= count; ++vid) lines += Json{{"kind", "mp4"}, {"version", 1}, {"vid", vid}}.dump() + "\n";
  writeFile(home_ / "batch", lines);
  return home_ / "batch";
}

void ZrdlSite::serveHls(int segments) {
  segments_ = segments;
  const Json record = {{"video_name", "clip"}, {"url_nor", origin_.url("/p/1.m3u8?a=1")}};
  origin_.serve("/v4/video/info/1.json", Json{{"status", 200}, {"data", record}}.dump());
  origin_.serve("/p/1.m3u8", playlist("s"));
  for (int index = 0; index < segments; ++index) origin_.serve(segmentPath(index), segment(index));
}

std::string ZrdlSite::segment(int index) {
  std::string bytes = patternBytes(188 * 50, static_cast<unsigned>(index));
  bytes[0] = bytes[188] = 'G';
  return bytes;
}

std::string ZrdlSite::playlist(const std::string& prefix) const {
  std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:2\n";
  for (int index = 0; index < segments_; ++index) text += "#EXTINF:2,\n" + prefix + std::to_string(index) + ".ts\n";
  return text + "#EXT-X-ENDLIST\n";
}

std::string ZrdlSite::hlsOptions() const {
  return "--info-base " + origin_.url("/v4/video/info");
}

void ZrdlSite::expectWholeHls() const {
  for (int index = 0; index < segments_; ++index) {
    EXPECT_TRUE(readFile(hlsFile(std::to_string(index) + ".ts")) == segment(index)) << index;
  }
  EXPECT_EQ(readFile(hlsFile("1-2.local.m3u8")), playlist(""));
  EXPECT_FALSE(std::filesystem::exists(hlsFile("1-2.net.m3u8")));
}

void ZrdlSite::serveShare() {
  const std::pair<const char*, Json> answers[] = {
      {"/albumdetail.action", {{"shareUrl", origin_.url("/share")}}},
      {"/share", {{"lan", origin_.url("")}}},
      {"/ping", "pong"},
      {"/video.action", {{"url", origin_.url("/share.mp4")}}},
  };
  for (const auto& [path, data] : answers) origin_.serve(path, Json{{"status", 200}, {"data", data}}.dump());
  origin_.serve("/coverImg.action", "a picture");
}

std::string ZrdlSite::oneOfEachKind() const {
  return R"({"kind":"mp4","vid":1,"version":1}
{"kind":"hls","vid":1,"site":1,"version":2}
{"kind":"share","vid":"v1","albumId":"a1","videoName":"movie.mp4","lanOnly":true,"host":")" +
         origin_.url("/") + "\"}\n";
}

void ZrdlSite::serveHalf(const std::string& path, const std::string& bytes) {
  origin_.route(path, [bytes](const OriginRequest&, OriginConnection& out) {
    out.send(OriginConnection::head(bytes.size()) + bytes.substr(0, bytes.size() / 2));
    out.stall();
  });
}

std::vector<int> summaryOf(const ZrdlProcess& process) {
  const ZrdlProcess::Json summaries = process.events("summary");
  if (summaries.size() != 1) return {};
  const ZrdlProcess::Json& last = summaries.front();
  return {last.at("finished"), last.at("errored"), last.at("stalled"), last.at("refused")};
}
