#include "DemoOrigin.h"

#include <stdexcept>
#include <thread>

#include <httplib.h>

#include "DemoCipher.h"
#include "DemoContent.h"
#include "DemoServices.h"

namespace site {
namespace {

constexpr const char* kHost = "127.0.0.1";

}  // namespace

struct DemoOrigin::Server {
  const DemoHlsAccess access{.mkey = DemoCipher::randomKey(), .cookie = "demo=" + DemoCipher::randomKey()};
  httplib::Server http;
  int port = 0;
  std::thread thread;
};

DemoOrigin::DemoOrigin(unsigned slowness) : server_(std::make_unique<Server>()) {
  server_->port = server_->http.bind_to_any_port(kHost);
  if (server_->port < 0) throw std::runtime_error("no loopback port for the demo");
  addDemoHlsService(server_->http, address(""), server_->access, slowness);
  addDemoVideoSite(server_->http, slowness);
  addDemoShareDevice(server_->http, address(""), slowness);
  server_->thread = std::thread([this] { server_->http.listen_after_bind(); });
  while (!server_->http.is_running()) std::this_thread::yield();  // `stop` before that would be lost
}

DemoOrigin::~DemoOrigin() {
  server_->http.stop();
  server_->thread.join();
}

std::string DemoOrigin::mkey() const {
  return server_->access.mkey;
}

std::string DemoOrigin::cookie() const {
  return server_->access.cookie;
}

std::string DemoOrigin::address(const std::string& path) const {
  return "http://" + std::string(kHost) + ":" + std::to_string(server_->port) + path;
}

}  // namespace site
