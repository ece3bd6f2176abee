#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/// A loopback port that answers no connection: its queue of one is full and nobody takes from it.
class UnansweringPort final {
 public:
  UnansweringPort() {
    name_.sin_family = AF_INET;
    name_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name_;
    const int listener = newSocket(0);
    if (::bind(listener, address(), size) != 0 || ::getsockname(listener, address(), &size) != 0 ||
        ::listen(listener, 0) != 0) {
      throw std::runtime_error("no loopback port");
    }
    for (int i = 0; i < 4; ++i) (void)::connect(newSocket(SOCK_NONBLOCK), address(), size);
  }
  ~UnansweringPort() {
    for (const int fd : sockets_) ::close(fd);
  }
  UnansweringPort(const UnansweringPort&) = delete;
  UnansweringPort& operator=(const UnansweringPort&) = delete;

  std::string url() const { return "http://127.0.0.1:" + std::to_string(ntohs(name_.sin_port)) + "/"; }

 private:
  int newSocket(int flags) {
    sockets_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
    return sockets_.back();
  }
  sockaddr* address() { return reinterpret_cast<sockaddr*>(&name_); }

  sockaddr_in name_{};
  std::vector<int> sockets_;
};
