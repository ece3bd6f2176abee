#include "SoakOrigin.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <random>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "LoopbackOrigin.h"
#include "SoakContent.h"

namespace {

/// The answers, with a fault in four of ten.
class Answers final {
 public:
  explicit Answers(unsigned seed) : random_(seed) {
    std::string segments = "#EXTM3U\n";
    for (int vid = 1; vid <= kSoakVideos; ++vid) {
      const std::string name = std::to_string(vid);
      if (isSoakMp4(vid)) {
        serve("/" + name + ".mp4", soakMp4(vid));
        continue;
      }
      const std::string record = R"({"video_name":"film","url_nor":")" + origin_.url("/" + name + ".m3u8") + "\"}";
      serve("/info/" + name + ".json", R"({"status":200,"data":)" + record + "}");
      serve("/" + name + ".m3u8", "#EXTM3U\n");
      for (int index = 0; index < kSoakSegments; ++index) {
        serve("/" + name + "/" + std::to_string(index) + ".ts", soakSegment(vid, index));
      }
    }
  }

  std::string url() const { return origin_.url(""); }

  void beGood() {
    isGood_ = true;
    gate_.open();
  }

 private:
  void serve(const std::string& path, const std::string& bytes) {
    origin_.route(path, [this, file = OriginFile{.bytes = bytes, .etag = "\"v1\""}](const OriginRequest& request,
                                                                                    OriginConnection& out) {
      const std::string half = file.bytes.substr(0, file.bytes.size() / 2);
      switch (isGood_ ? 9 : draw()) {
        case 0:
          out.send(OriginConnection::head(file.bytes.size()) + half);
          return out.reset();
        case 1:
          out.send(OriginConnection::head(file.bytes.size()) + half);
          return out.close();
        case 2:
          out.send(OriginConnection::head(file.bytes.size()) + half);
          out.wait(gate_);
          return out.close();
        case 3:
          return out.respond(503, "<html>");
        default:
          return out.respondFile(request, file);
      }
    });
  }

  int draw() {
    const std::lock_guard lock(mutex_);
    return std::uniform_int_distribution(0, 9)(random_);
  }

  std::mutex mutex_;
  std::mt19937 random_;  // under mutex_
  std::atomic<bool> isGood_ = false;
  OriginGate gate_;
  LoopbackOrigin origin_;
};

}  // namespace

SoakOrigin::SoakOrigin(unsigned seed) {
  std::array<int, 2> in{};
  std::array<int, 2> out{};
  if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  std::string name = "Soak";
  std::string mode = "--serve";
  std::string number = std::to_string(seed);
  const std::array<char*, 4> argv{name.data(), mode.data(), number.data(), nullptr};
  const int failed = ::posix_spawn(&pid_, "/proc/self/exe", &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(in[0]);
  ::close(out[1]);
  input_ = in[1];
  char byte = 0;
  while (failed == 0 && ::read(out[0], &byte, 1) == 1 && byte != '\n') port_ += byte;
  ::close(out[0]);
  if (port_.empty()) throw std::runtime_error("no origin");
}

SoakOrigin::~SoakOrigin() {
  ::close(input_);
  ::waitpid(pid_, nullptr, 0);
}

void SoakOrigin::beGood() const {
  if (::write(input_, "g", 1) != 1) throw std::runtime_error("the origin is gone");
}

int SoakOrigin::serve(unsigned seed) {
  Answers answers(seed);
  const std::string url = answers.url();
  std::puts(url.substr(url.rfind(':') + 1).c_str());
  std::fflush(stdout);
  char byte = 0;
  while (::read(STDIN_FILENO, &byte, 1) == 1) answers.beGood();
  return 0;
}
