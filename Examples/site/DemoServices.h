#pragma once

#include <string>

namespace httplib {
class Server;
}

namespace site {

/// What opens the demo's HLS video: the playback key and the cookie that goes with it.
struct DemoHlsAccess {
  std::string mkey;
  std::string cookie;
};

// The services that the demo's origin plays, below its address `origin`. They send `slowness` times as slowly as a home
// connection would.

/// Information about video 1, and its playlist: sent to who has `access`, and encrypted with its key. Its segments.
void addDemoHlsService(httplib::Server& server, const std::string& origin, const DemoHlsAccess& access,
                       unsigned slowness);

/// The MP4 of the second site.
void addDemoVideoSite(httplib::Server& server, unsigned slowness);

/// A device that shares one video with a cover and two subtitles, and the service that tells where the device is.
void addDemoShareDevice(httplib::Server& server, const std::string& origin, unsigned slowness);

}  // namespace site
