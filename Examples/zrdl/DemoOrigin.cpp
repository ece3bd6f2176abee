#include "DemoOrigin.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <thread>

#include <httplib.h>

#include "DemoContent.h"

namespace zrdl {
namespace {

constexpr const char* kAddress = "127.0.0.1";
constexpr const char* kVideoPath = "/video.mp4";
constexpr std::size_t kPiece = 128UL * 1024;
constexpr std::chrono::milliseconds kPauseAfterPiece{12};  // some 9 MiB each second

bool sendPiece(std::size_t offset, std::size_t length, httplib::DataSink& sink) {
  const std::string piece = DemoContent::bytes(offset, std::min(length, kPiece));
  std::this_thread::sleep_for(kPauseAfterPiece);
  return sink.write(piece.data(), piece.size());
}

void answerVideo(const httplib::Request&, httplib::Response& response) {
  response.set_header("Accept-Ranges", "bytes");
  response.set_header("ETag", "\"zrdl-demo-1\"");
  response.set_content_provider(DemoContent::kSize, "video/mp4", sendPiece);
}

}  // namespace

struct DemoOrigin::Server {
  httplib::Server http;
  int port = 0;
  std::thread thread;
};

DemoOrigin::DemoOrigin() : server_(std::make_unique<Server>()) {
  server_->http.Get(kVideoPath, answerVideo);
  server_->port = server_->http.bind_to_any_port(kAddress);
  if (server_->port < 0) throw std::runtime_error("no loopback port for the demo");
  server_->thread = std::thread([this] { server_->http.listen_after_bind(); });
  while (!server_->http.is_running()) std::this_thread::yield();  // `stop` before that would be lost
}

DemoOrigin::~DemoOrigin() {
  server_->http.stop();
  server_->thread.join();
}

std::string DemoOrigin::videoAddress() const {
  return "http://" + std::string(kAddress) + ":" + std::to_string(server_->port) + kVideoPath;
}

}  // namespace zrdl
