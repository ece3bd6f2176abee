#include "LoopbackOrigin.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// A TCP socket bound to a port of `address` that the system picks.
int boundSocket(const std::string& address, std::uint16_t& port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  ::inet_pton(AF_INET, address.c_str(), &name.sin_addr);
  socklen_t size = sizeof name;
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&name), size) != 0 ||
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size) != 0) {
    throw std::runtime_error("no loopback port");
  }
  port = ntohs(name.sin_port);
  return fd;
}

void makePipe(int& readEnd, int& writeEnd) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  readEnd = ends[0];
  writeEnd = ends[1];
}

/// The first byte asked for by "bytes=N-"; nothing for every other field.
std::optional<std::size_t> openRangeStart(const std::optional<std::string>& range) {
  if (!range || !range->starts_with("bytes=") || !range->ends_with('-')) return std::nullopt;
  std::size_t start = 0;
  const char* const end = range->data() + range->size() - 1;
  const auto [stop, error] = std::from_chars(range->data() + 6, end, start);
  if (error != std::errc{} || stop != end) return std::nullopt;
  return start;
}

}  // namespace

std::string OriginRequest::path() const {
  return target.substr(0, target.find('?'));
}

std::optional<std::string> OriginRequest::header(std::string_view name) const {
  for (const auto& [field, value] : headers) {
    if (field.size() == name.size() && ::strncasecmp(field.data(), name.data(), name.size()) == 0) return value;
  }
  return std::nullopt;
}

OriginGate::OriginGate() {
  int writeEnd = -1;
  makePipe(readEnd_, writeEnd);
  writeEnd_ = writeEnd;
}

OriginGate::~OriginGate() {
  open();
  ::close(readEnd_);
}

void OriginGate::open() {
  if (const int fd = writeEnd_.exchange(-1); fd >= 0) ::close(fd);
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
  if (!file.lastModified.empty()) headers.emplace_back("Last-Modified", file.lastModified);
  const std::string total = std::to_string(file.bytes.size());
  const std::optional<std::string> condition = request.header("If-Range");
  const bool current = !condition || *condition == file.etag || *condition == file.lastModified;
  const std::optional<std::size_t> start = openRangeStart(request.header("Range"));
  if (!file.ranges || !current || !start) return respond(200, file.bytes, headers);
  if (*start >= file.bytes.size()) return respond(416, {}, {{"Content-Range", "bytes */" + total}});
  headers.emplace_back("Content-Range",
                       "bytes " + std::to_string(*start) + "-" + std::to_string(file.bytes.size() - 1) + "/" + total);
  respond(206, std::string_view(file.bytes).substr(*start), headers);
}

void OriginConnection::send(std::string_view bytes) {
  while (socket_ >= 0 && !bytes.empty()) {
    std::array<pollfd, 2> fds{{{socket_, POLLOUT, 0}, {stopFd_, POLLIN, 0}}};
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
  std::array<pollfd, 3> fds{{{socket_, POLLIN, 0}, {stopFd_, POLLIN, 0}, {fd, POLLIN, 0}}};
  ::poll(fds.data(), fds.size(), -1);
  char peeked = 0;
  const bool gone = fds[0].revents != 0 && ::recv(socket_, &peeked, 1, MSG_PEEK) <= 0;
  if (gone || fds[1].revents != 0) close();
  return socket_ >= 0;
}

void OriginConnection::wait(OriginGate& gate) {
  waitReadable(gate.readEnd_);
}

void OriginConnection::stall() {
  std::array<char, 4096> dropped{};
  while (waitReadable(-1)) (void)::recv(socket_, dropped.data(), dropped.size(), 0);
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
  }
  std::string head = unread_.substr(0, end + 2);
  unread_.erase(0, end + 4);
  OriginRequest request;
  for (std::size_t at = 0, line = 0; (line = head.find("\r\n", at)) != std::string::npos; at = line + 2) {
    const std::string text = head.substr(at, line - at);
    const std::size_t colon = text.find(':');
    if (at != 0) {
      const std::size_t value = text.find_first_not_of(": ", colon);
      request.headers.emplace_back(text.substr(0, colon), value == std::string::npos ? "" : text.substr(value));
      continue;
    }
    const std::size_t space = text.find(' ');
    request.method = text.substr(0, space);
    request.target = text.substr(space + 1, text.rfind(' ') - space - 1);
  }
  return request;
}

LoopbackOrigin::LoopbackOrigin(const std::string& address) : address_(address) {
  listener_ = boundSocket(address_, port_);
  if (::listen(listener_, SOMAXCONN) != 0) throw std::runtime_error("cannot listen");
  makePipe(stopRead_, stopWrite_);
  acceptThread_ = std::thread([this] { acceptLoop(); });
}

LoopbackOrigin::~LoopbackOrigin() {
  ::close(stopWrite_);
  acceptThread_.join();
  for (std::thread& thread : threads_) thread.join();
  for (const int fd : {listener_, stopRead_, refused_}) {
    if (fd >= 0) ::close(fd);
  }
}

void LoopbackOrigin::route(const std::string& path, Handler handler) {
  const std::lock_guard lock(mutex_);
  routes_[path] = std::move(handler);
}

void LoopbackOrigin::serve(const std::string& path, std::string body, int status) {
  route(path,
        [body = std::move(body), status](const OriginRequest&, OriginConnection& out) { out.respond(status, body); });
}

void LoopbackOrigin::serveFile(const std::string& path, OriginFile file) {
  route(path, [file = std::move(file)](const OriginRequest& request, OriginConnection& out) {
    out.respondFile(request, file);
  });
}

void LoopbackOrigin::redirect(const std::string& path, const std::string& location, int status) {
  route(path, [=](const OriginRequest&, OriginConnection& out) { out.respond(status, "", {{"Location", location}}); });
}

void LoopbackOrigin::greet(std::string bytes) {
  const std::lock_guard lock(mutex_);
  greeting_ = std::move(bytes);
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

std::size_t LoopbackOrigin::connections() const {
  const std::lock_guard lock(mutex_);
  return threads_.size();
}

std::uint16_t LoopbackOrigin::refusedPort() {
  std::uint16_t port = 0;
  if (refused_ >= 0) ::close(refused_);
  refused_ = boundSocket(address_, port);  // bound, never listening
  return port;
}

void LoopbackOrigin::acceptLoop() {
  for (;;) {
    std::array<pollfd, 2> fds{{{listener_, POLLIN, 0}, {stopRead_, POLLIN, 0}}};
    ::poll(fds.data(), fds.size(), -1);
    if (fds[1].revents != 0) return;
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) continue;
    const std::lock_guard lock(mutex_);
    threads_.emplace_back([this, socket] { serveConnection(socket); });
  }
}

void LoopbackOrigin::serveConnection(int socket) {
  OriginConnection connection(socket, stopRead_);
  std::string greeting;
  {
    const std::lock_guard lock(mutex_);
    greeting = greeting_;
  }
  if (!greeting.empty()) {
    connection.send(greeting);
    connection.stall();
  }
  while (const std::optional<OriginRequest> request = connection.readRequest()) answer(*request, connection);
  connection.close();
}

void LoopbackOrigin::answer(const OriginRequest& request, OriginConnection& out) {
  Handler handler = [](const OriginRequest&, OriginConnection& to) { to.respond(404); };
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = routes_.find(request.path()); found != routes_.end()) handler = found->second;
    requests_.push_back(request);
  }
  arrived_.notify_all();
  handler(request, out);
}
