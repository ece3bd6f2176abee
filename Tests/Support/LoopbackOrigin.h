#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// One request as the origin read it.
struct OriginRequest {
  std::string method;
  std::string target;  ///< as it stood in the request line, query included
  std::vector<std::pair<std::string, std::string>> headers;

  /// `target` without its query.
  std::string path() const;

  /// The first header field of exactly that name; nothing when it was not sent.
  std::optional<std::string> header(std::string_view name) const;
};

/// A condition that the test opens, once and for good, and handlers wait for. Any thread. Like all that a handler
/// refers to, it must outlive the origin: declare it first.
class OriginGate final {
 public:
  OriginGate();
  ~OriginGate();
  OriginGate(const OriginGate&) = delete;
  OriginGate& operator=(const OriginGate&) = delete;

  void open();

 private:
  friend class OriginConnection;
  friend class LoopbackOrigin;
  const int fd_;  // readable once the gate is open
};

/// What `LoopbackOrigin::serveFile` serves, with its tag, quotes included; an empty one is not sent.
struct OriginFile {
  std::string bytes{};
  std::string etag{};
};

/// The server's end of one connection, for the handler that answers a request. A connection is kept for the next
/// request unless the handler closes or resets it. All calls return at once when the client or the test is gone.
class OriginConnection final {
 public:
  using Headers = std::vector<std::pair<std::string, std::string>>;

  /// A whole answer with its Content-Length.
  void respond(int status, std::string_view body = {}, const Headers& headers = {});

  /// An answer as a static file server gives it: 200, 206 or 416 by Range and If-Range (RFC 9110, section 14).
  void respondFile(const OriginRequest& request, const OriginFile& file);

  /// The status line and the fields of a whole answer of that size with the tag "v1", for bodies that come in pieces.
  static std::string head(std::size_t size);

  /// Raw bytes: status line, fields or a piece of a body.
  void send(std::string_view bytes);

  /// Waits until the test opens `gate`.
  void wait(OriginGate& gate);

  /// Sends nothing more until the client closes the connection.
  void stall();

  /// Ends the connection with FIN, of its own direction alone, or of both, or with RST.
  void hangUp();
  void close();
  void reset();

 private:
  friend class LoopbackOrigin;
  OriginConnection(int socket, const OriginGate& end) : socket_(socket), end_(end) {}

  bool waitReadable(int fd);
  std::optional<OriginRequest> readRequest();

  int socket_;
  const OriginGate& end_;  // of the origin
  std::string unread_;
};

/// A scripted HTTP/1.1 server on loopback, for tests: real sockets, a port that the system picks, a thread a
/// connection.
///
///     LoopbackOrigin origin;
///     origin.serveFile("/a.mp4", {.bytes = patternBytes(5000), .etag = "\"v1\""});
///     origin.route("/slow", [&](const OriginRequest&, OriginConnection& out) {
///       out.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
///       out.wait(gate);
///       out.send("67890");
///     });
///     request->setUrlString(origin.url("/a.mp4"));
///
/// Routes are found by path, the query left out; an unknown path is answered by 404. A greeting in TLS is a request to
/// `kTls`. Handlers run on the connection's thread; everything else may be called from any thread. The destructor ends
/// every connection and joins the threads.
class LoopbackOrigin final {
 public:
  using Handler = std::function<void(const OriginRequest& request, OriginConnection& out)>;
  static constexpr const char* kTls = "TLS";

  explicit LoopbackOrigin(const std::string& address = "127.0.0.1");
  ~LoopbackOrigin();
  LoopbackOrigin(const LoopbackOrigin&) = delete;
  LoopbackOrigin& operator=(const LoopbackOrigin&) = delete;

  /// Sets or replaces the answer to `path`.
  void route(const std::string& path, Handler handler);
  void serve(const std::string& path, std::string body, int status = 200, OriginConnection::Headers headers = {});
  void serveFile(const std::string& path, OriginFile file);
  void redirect(const std::string& path, const std::string& location, int status = 302);

  /// `http://127.0.0.1:PORT` and the path.
  std::string url(std::string_view path) const;

  /// Every request so far, in the order of arrival.
  std::vector<OriginRequest> requests() const;

  /// The requests so far to that path.
  std::vector<OriginRequest> requestsTo(std::string_view path) const;

  /// Waits until at least `count` requests arrived; false when `deadline` passed first.
  bool waitForRequests(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(20)) const;

  /// A port of the same address that refuses connections as long as this origin lives.
  std::uint16_t refusedPort();

  /// One that answers none: its queue of one is full and nobody takes from it.
  std::uint16_t unansweringPort();

 private:
  void acceptLoop();
  void serveConnection(int socket);
  void answer(const OriginRequest& request, OriginConnection& out);

  // Set once.
  std::string address_;
  std::uint16_t port_ = 0;
  int listener_ = -1;
  OriginGate end_;
  std::vector<int> sockets_;  // all that are no connections

  // Any thread, under mutex_.
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::map<std::string, Handler, std::less<>> routes_;
  std::vector<OriginRequest> requests_;
  std::vector<std::thread> threads_;

  std::thread acceptThread_;
};
