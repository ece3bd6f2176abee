#pragma once

#include <memory>
#include <string>

namespace site {

/// A web server on loopback that plays all the others of the demo: the video-information service with an HLS video,
/// the second site with an MP4, a sharing device and the share service that knows it.
class DemoOrigin final {
 public:
  /// An origin that sends at the pace of a home connection, or `slowness` times as slowly. Throws `std::runtime_error`
  /// when no port can be had.
  explicit DemoOrigin(unsigned slowness = 1);
  ~DemoOrigin();
  DemoOrigin(const DemoOrigin&) = delete;
  DemoOrigin& operator=(const DemoOrigin&) = delete;

  /// The HLS video 1: what the key service says, without which the playlist is neither sent nor can be read.
  std::string mkey() const;
  std::string cookie() const;
  std::string infoBase() const { return address("/v4/video/info"); }

  /// A picture for either video.
  std::string coverAddress() const { return address("/hls/clip.jpg"); }

  /// The second site's MP4, with ranges and a strong ETag.
  std::string videoAddress() const { return address("/video.mp4"); }

  /// The sharing device.
  std::string deviceAddress() const { return address("/device/"); }

 private:
  struct Server;

  std::string address(const std::string& path) const;

  const std::unique_ptr<Server> server_;
};

}  // namespace site
