#include "LoopbackOrigin.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// What a TLS client begins with.
constexpr char kTlsHandshake = 0x16;

sockaddr* anyAddress(sockaddr_in& name) {
  return reinterpret_cast<sockaddr*>(&name);
}

int newSocket(int flags = 0) {
  return ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
}

/// A TCP socket bound to a port of `address` that the system picks, and its name.
std::pair<int, sockaddr_in> boundSocket(const std::string& address) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  ::inet_pton(AF_INET, address.c_str(), &name.sin_addr);
  socklen_t size = sizeof name;
  const int fd = newSocket();
  if (::bind(fd, anyAddress(name), size) != 0 || ::getsockname(fd, anyAddress(name), &size) != 0) {
    throw std::runtime_error("no loopback port");
  }
  return {fd, name};
}

/// The first byte asked for by "bytes=N-"; nothing for every other field.
std::optional<std::size_t> openRangeStart(const std::optional<std::string>& range) {
  std::size_t start = 0;
  int length = -1;
  const bool isRange = range && std::sscanf(range->c_str(), "bytes=%zu-%n", &start, &length) == 1;
  return isRange && length == static_cast<int>(range->size()) ? std::optional(start) : std::nullopt;
}

}  // namespace

std::string OriginRequest::path() const {
  return target.substr(0, target.find('?'));
}

std::optional<std::string> OriginRequest::header(std::string_view name) const {
  const auto found = std::ranges::find(headers, name, [](const auto& field) { return field.first; });
  return found != headers.end() ? std::optional(found->second) : std::nullopt;
}

OriginGate::OriginGate() : fd_(::eventfd(0, EFD_CLOEXEC)) {
  if (fd_ < 0) throw std::runtime_error("no eventfd");
}

OriginGate::~OriginGate() {
  open();
  ::close(fd_);
}

void OriginGate::open() {
  ::eventfd_write(fd_, 1);
}

void OriginConnection::respond(int status, std::string_view body, const Headers& headers) {
  std::string answer = "HTTP/1.1 " + std::to_string(status) + " Status\r\n";
  answer += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  for (const auto& [name, value] : headers) answer += name + ": " + value + "\r\n";
  send(answer.append("\r\n").append(body));
}

void OriginConnection::respondFile(const OriginRequest& request, const OriginFile& file) {
  Headers headers{{"Accept-Ranges", "bytes"}};
  if (!file.etag.empty()) headers.emplace_back("ETag", file.etag);
  const std::string total = std::to_string(file.bytes.size());
  const std::optional<std::string> condition = request.header("If-Range");
  const bool current = !condition || *condition == file.etag;
  const std::optional<std::size_t> start = openRangeStart(request.header("Range"));
  if (!current || !start) return respond(200, file.bytes, headers);
  if (*start >= file.bytes.size()) return respond(416, {}, {{"Content-Range", "bytes */" + total}});
  headers.emplace_back("Content-Range",
                       "bytes " + std::to_string(*start) + "-" + std::to_string(file.bytes.size() - 1) + "/" + total);
  respond(206, std::string_view(file.bytes).substr(*start), headers);
}

std::string OriginConnection::head(std::size_t size) {
  return "HTTP/1.1 200 OK\r\nETag: \"v1\"\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n";
}

void OriginConnection::send(std::string_view bytes) {
  while (socket_ >= 0 && !bytes.empty()) {
    std::array<pollfd, 2> fds{{{socket_, POLLOUT, 0}, {end_.fd_, POLLIN, 0}}};
    ::poll(fds.data(), fds.size(), -1);
    const ssize_t sent =
        fds[1].revents != 0 ? -1 : ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0) return close();
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

/// Waits for `fd` or the socket; false when the client or the test is gone.
bool OriginConnection::waitReadable(int fd) {
  if (socket_ < 0) return false;
  std::array<pollfd, 3> fds{{{socket_, POLLIN, 0}, {end_.fd_, POLLIN, 0}, {fd, POLLIN, 0}}};
  ::poll(fds.data(), fds.size(), -1);
  char peeked = 0;
  const bool gone = fds[0].revents != 0 && ::recv(socket_, &peeked, 1, MSG_PEEK) <= 0;
  if (gone || fds[1].revents != 0) close();
  return socket_ >= 0;
}

void OriginConnection::wait(OriginGate& gate) {
  waitReadable(gate.fd_);
}

void OriginConnection::stall() {
  std::array<char, 4096> dropped{};
  while (waitReadable(-1)) (void)::recv(socket_, dropped.data(), dropped.size(), 0);
}

void OriginConnection::hangUp() {
  ::shutdown(socket_, SHUT_WR);
}

void OriginConnection::close() {
  if (socket_ >= 0) ::close(socket_);
  socket_ = -1;
}

void OriginConnection::reset() {
  const linger abort{1, 0};
  if (socket_ >= 0) ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  close();
}

std::optional<OriginRequest> OriginConnection::readRequest() {
  std::size_t end = 0;
  while ((end = unread_.find("\r\n\r\n")) == std::string::npos) {
    if (!waitReadable(-1)) return std::nullopt;
    std::array<char, 4096> piece{};
    const ssize_t got = ::recv(socket_, piece.data(), piece.size(), 0);
    if (got <= 0) return std::nullopt;
    unread_.append(piece.data(), static_cast<std::size_t>(got));
    if (unread_.starts_with(kTlsHandshake)) {
      unread_.clear();
      return OriginRequest{"", std::string(LoopbackOrigin::kTls), {}};
    }
  }
  std::istringstream head(unread_.substr(0, end));
  unread_.erase(0, end + 4);
  OriginRequest request;
  std::string line;
  head >> request.method >> request.target;
  std::getline(head, line);
  while (std::getline(head, line)) {
    if (line.ends_with('\r')) line.pop_back();
    const std::size_t colon = std::min(line.find(':'), line.size());
    const std::size_t value = std::min(line.find_first_not_of(": ", colon), line.size());
    request.headers.emplace_back(line.substr(0, colon), line.substr(value));
  }
  return request;
}

LoopbackOrigin::LoopbackOrigin(const std::string& address) : address_(address) {
  const auto [listener, name] = boundSocket(address_);
  if (::listen(listener, SOMAXCONN) != 0) throw std::runtime_error("cannot listen");
  listener_ = sockets_.emplace_back(listener);
  port_ = ntohs(name.sin_port);
  acceptThread_ = std::thread([this] { acceptLoop(); });
}

LoopbackOrigin::~LoopbackOrigin() {
  end_.open();
  acceptThread_.join();
  for (std::thread& thread : threads_) thread.join();
  for (const int fd : sockets_) ::close(fd);
}

void LoopbackOrigin::route(const std::string& path, Handler handler) {
  const std::lock_guard lock(mutex_);
  routes_[path] = std::move(handler);
}

void LoopbackOrigin::serve(const std::string& path, std::string body, int status, OriginConnection::Headers headers) {
  route(path, [=, body = std::move(body), headers = std::move(headers)](const OriginRequest&, OriginConnection& out) {
    out.respond(status, body, headers);
  });
}

void LoopbackOrigin::serveFile(const std::string& path, OriginFile file) {
  route(path, [file = std::move(file)](const OriginRequest& request, OriginConnection& out) {
    out.respondFile(request, file);
  });
}

void LoopbackOrigin::redirect(const std::string& path, const std::string& location, int status) {
  serve(path, "", status, {{"Location", location}});
}

std::string LoopbackOrigin::url(std::string_view path) const {
  return "http://" + address_ + ":" + std::to_string(port_) + std::string(path);
}

std::vector<OriginRequest> LoopbackOrigin::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<OriginRequest> LoopbackOrigin::requestsTo(std::string_view path) const {
  std::vector<OriginRequest> all = requests();
  std::erase_if(all, [path](const OriginRequest& request) { return request.path() != path; });
  return all;
}

bool LoopbackOrigin::waitForRequests(std::size_t count, std::chrono::milliseconds deadline) const {
  std::unique_lock lock(mutex_);
  return arrived_.wait_for(lock, deadline, [&] { return requests_.size() >= count; });
}

std::uint16_t LoopbackOrigin::refusedPort() {
  const auto [bound, name] = boundSocket(address_);  // never listening
  sockets_.push_back(bound);
  return ntohs(name.sin_port);
}

std::uint16_t LoopbackOrigin::unansweringPort() {
  auto [listener, name] = boundSocket(address_);
  sockets_.push_back(listener);
  if (::listen(listener, 0) != 0) throw std::runtime_error("cannot listen");
  for (int i = 0; i < 4; ++i) {
    (void)::connect(sockets_.emplace_back(newSocket(SOCK_NONBLOCK)), anyAddress(name), sizeof name);
  }
  return ntohs(name.sin_port);
}

void LoopbackOrigin::acceptLoop() {
  for (;;) {
    std::array<pollfd, 2> fds{{{listener_, POLLIN, 0}, {end_.fd_, POLLIN, 0}}};
    ::poll(fds.data(), fds.size(), -1);
    if (fds[1].revents != 0) return;
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) continue;
    const std::lock_guard lock(mutex_);
    threads_.emplace_back([this, socket] { serveConnection(socket); });
  }
}

void LoopbackOrigin::serveConnection(int socket) {
  OriginConnection connection(socket, end_);
  while (const std::optional<OriginRequest> request = connection.readRequest()) answer(*request, connection);
  connection.close();
}

void LoopbackOrigin::answer(const OriginRequest& request, OriginConnection& out) {
  Handler handler = [](const OriginRequest&, OriginConnection& to) { to.respond(404); };
  std::unique_lock lock(mutex_);
  if (const auto found = routes_.find(request.path()); found != routes_.end()) handler = found->second;
  requests_.push_back(request);
  lock.unlock();
  arrived_.notify_all();
  handler(request, out);
}
