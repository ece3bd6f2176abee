#include "DemoServices.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "DemoCipher.h"
#include "DemoClip.h"
#include "DemoContent.h"

namespace site {
namespace {

using Json = nlohmann::ordered_json;
using Request = httplib::Request;
using Response = httplib::Response;
using Source = std::function<std::string(std::size_t offset, std::size_t length)>;

/// How fast something is sent.
struct Pace {
  std::size_t piece;  // bytes
  std::chrono::milliseconds pause;

  constexpr Pace operator*(unsigned slowness) const { return {piece, pause * slowness}; }
};
constexpr Pace kVideoPace{128UL * 1024, std::chrono::milliseconds(15)};  // some 8 MiB each second
constexpr Pace kSharePace{128UL * 1024, std::chrono::milliseconds(20)};
constexpr Pace kSegmentPace{4UL * 1024, std::chrono::milliseconds(40)};

/// A service's answer as the library expects it.
void answerData(Response& response, Json data) {
  response.set_content(Json{{"status", 200}, {"data", std::move(data)}}.dump(), "application/json");
}

void answerPaced(Response& response, std::size_t size, const char* type, const Pace& pace, Source source) {
  const auto sendPiece = [pace, source = std::move(source)](std::size_t offset, std::size_t left,
                                                            httplib::DataSink& sink) {
    const std::string piece = source(offset, std::min(left, pace.piece));
    std::this_thread::sleep_for(pace.pause);
    return sink.write(piece.data(), piece.size());
  };
  response.set_content_provider(size, type, sendPiece);
}

void answerContent(Response& response, const DemoContent& content, const Pace& pace) {
  response.set_header("Accept-Ranges", "bytes");
  response.set_header("ETag", "\"zrdl-demo-2\"");
  answerPaced(response, content.size(), "video/mp4", pace,
              [content](std::size_t offset, std::size_t length) { return content.bytes(offset, length); });
}

void answerSegment(Response& response, std::string_view segment, const Pace& pace) {
  answerPaced(response, segment.size(), "video/mp2t", pace, [segment](std::size_t offset, std::size_t length) {
    return std::string(segment.substr(offset, length));
  });
}

void answerPicture(Response& response) {
  const std::string_view picture = DemoClip::picture();
  response.set_content(picture.data(), picture.size(), "image/jpeg");
}

void answerPlaylist(const Request& request, Response& response, const DemoHlsAccess& access) {
  if (request.get_param_value("mkey") != access.mkey || request.get_header_value("Cookie") != access.cookie) {
    response.status = 403;
    return;
  }
  response.set_content(DemoCipher::sealed(access.mkey, DemoClip::playlist()), "application/octet-stream");
}

/// The library adds the part of an HLS video's size that the service leaves out.
constexpr double kUnannouncedShare = 1.175;

Json videoInfo(const std::string& origin) {
  return {{"video_name", "HLS 演示"},
          {"album_name", "ZRDownloadKit"},
          {"total_duration", DemoClip::kSeconds},
          {"tv_preview_pic", origin + "/hls/clip.jpg"},
          {"url_nor", origin + "/hls/clip.m3u8?quality=nor"},
          {"file_size_nor", static_cast<std::size_t>(static_cast<double>(DemoClip::size()) / kUnannouncedShare)}};
}

Json shareDetail(const std::string& origin) {
  const std::string device = origin + "/device/";
  return {{"url", device + "movie.mp4"},
          {"subtitles",
           {{{"name", "中文.srt"}, {"url", device + "subtitle?language=zh"}},
            {{"name", "English.srt"}, {"url", device + "subtitle?language=en"}}}}};
}

void answerSubtitle(const Request& request, Response& response) {
  const std::string text = request.get_param_value("language") == "zh" ? "演示" : "A demonstration";
  response.set_content("1\n00:00:00,000 --> 00:00:06,000\n" + text + "\n", "application/x-subrip");
}

}  // namespace

void addDemoHlsService(httplib::Server& server, const std::string& origin, const DemoHlsAccess& access,
                       unsigned slowness) {
  server.Get("/v4/video/info/1.json",
             [origin](const Request&, Response& response) { answerData(response, videoInfo(origin)); });
  server.Get("/hls/clip.m3u8",
             [access](const Request& request, Response& response) { answerPlaylist(request, response, access); });
  server.Get("/hls/clip.jpg", [](const Request&, Response& response) { answerPicture(response); });
  server.Get(R"(/hls/(clip-\d+\.ts))", [slowness](const Request& request, Response& response) {
    const std::string_view segment = DemoClip::segment(request.matches[1].str());
    if (segment.empty()) {
      response.status = 404;
    } else {
      answerSegment(response, segment, kSegmentPace * slowness);
    }
  });
}

void addDemoVideoSite(httplib::Server& server, unsigned slowness) {
  server.Get("/video.mp4", [slowness](const Request&, Response& response) {
    answerContent(response, kDemoVideo, kVideoPace * slowness);
  });
}

void addDemoShareDevice(httplib::Server& server, const std::string& origin, unsigned slowness) {
  server.Get("/device/albumdetail.action", [origin](const Request&, Response& response) {
    answerData(response, {{"shareUrl", origin + "/share"}});
  });
  server.Get("/share", [origin](const Request&, Response& response) {
    answerData(response, {{"lan", origin + "/device"}, {"url", origin + "/relay"}});
  });
  server.Get("/device/ping", [](const Request&, Response& response) { answerData(response, "pong"); });
  server.Get("/device/video.action",
             [origin](const Request&, Response& response) { answerData(response, shareDetail(origin)); });
  server.Get("/device/coverImg.action", [](const Request&, Response& response) { answerPicture(response); });
  server.Get("/device/subtitle", answerSubtitle);
  server.Get("/device/movie.mp4", [slowness](const Request&, Response& response) {
    answerContent(response, kDemoShare, kSharePace * slowness);
  });
}

}  // namespace site
