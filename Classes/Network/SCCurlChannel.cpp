#include "SCCurlChannel.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <utility>

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/socket.h>

#include "SCCurlFailure.h"
#include "SCURL.h"
#include "ZRFileDescriptor.h"

namespace {

using Code = SCURLErrorCode;

/// What one read of a socket may bring: the most that libcurl 7.88 takes. Half of it costs a large file a sixth more
/// processor time.
constexpr long kReceiveBuffer = 512L << 10;

/// A header field as libcurl wants it: a blank value is written with a semicolon.
std::string fieldForCurl(const std::string& line) {
  const std::size_t colon = line.find(':');
  const bool isBlank = line.find_first_not_of(" \t\v\f", colon + 1) == std::string::npos;
  return isBlank ? line.substr(0, colon) + ";" : line;
}

/// A socket that no child of the host inherits.
int openSocket(int family, int type, int protocol) {
#ifdef SOCK_CLOEXEC
  return ::socket(family, type | SOCK_CLOEXEC, protocol);
#else
  const int fd = ::socket(family, type, protocol);
  if (fd >= 0) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
#endif
}

}  // namespace

/// What libcurl calls.
struct SCCurlChannel::Callbacks {
  static std::size_t headLine(char* data, std::size_t size, std::size_t count, void* channel) {
    auto& self = *static_cast<SCCurlChannel*>(channel);
    bool goesOn = false;
    self.spared([&] { goesOn = self.transfer_->receiveHeadLine({data, size * count}, self.now_); });
    return goesOn ? size * count : 0;
  }

  static std::size_t body(char* data, std::size_t size, std::size_t count, void* channel) {
    auto& self = *static_cast<SCCurlChannel*>(channel);
    if (self.share_ && self.share_->holdsBack(size * count, self.now_)) {
      self.transfer_->heldBack();
      return CURL_WRITEFUNC_PAUSE;
    }
    bool goesOn = false;
    self.spared([&] { goesOn = self.transfer_->receiveBody({data, size * count}, self.now_); });
    return goesOn ? size * count : 0;
  }

  // A request that meets a connection which the server has closed is sent again by libcurl, which must not take another
  // old one for that (RFC 9112, section 9.3.1).
  static int connected(void* channel, char*, char*, int, int) {
    auto& self = *static_cast<SCCurlChannel*>(channel);
    curl_easy_setopt(self.easy(), CURLOPT_FRESH_CONNECT, 1L);
    self.transfer_->connected(self.now_);
    return CURL_PREREQFUNC_OK;
  }

  static curl_socket_t socket(void* channel, curlsocktype, curl_sockaddr* address) {
    const int fd = openSocket(address->family, address->socktype, address->protocol);
    if (fd >= 0) return fd;
    static_cast<SCCurlChannel*>(channel)->lacksDescriptor_ = ZRFileDescriptor::isShortage(errno);
    return CURL_SOCKET_BAD;
  }
};

void SCCurlChannel::EasyCloser::operator()(void* easy) const noexcept {
  curl_easy_cleanup(easy);
}

void SCCurlChannel::ListCloser::operator()(void* list) const noexcept {
  curl_slist_free_all(static_cast<curl_slist*>(list));
}

SCCurlChannel::SCCurlChannel(const SCNetworkLimits& limits, const ZRHostInfo& host, const Clock::time_point& now)
    : now_(now), errorText_(CURL_ERROR_SIZE, '\0'), easy_(curl_easy_init()) {
  if (!easy_) throw std::bad_alloc();
  configure(limits);
  introduce(host);
}

SCCurlChannel::~SCCurlChannel() = default;

/// What is the same for every request.
void SCCurlChannel::configure(const SCNetworkLimits& limits) {
  CURL* const easy = easy_.get();
  curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Callbacks::headLine);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Callbacks::body);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Callbacks::connected);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &Callbacks::socket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText_.data());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // a name that does not resolve must not hold up the end
  curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kReceiveBuffer);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connectTimeout.count()));
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
}

/// The environment of a desktop process is no configuration of ours: without a proxy of the host there is none, and
/// with one there is no exception.
void SCCurlChannel::introduce(const ZRHostInfo& host) {
  CURL* const easy = easy_.get();
  const bool sendsAgent = !host.userAgent.empty() && !SCURL::headerLine("User-Agent", host.userAgent).empty();
  curl_easy_setopt(easy, CURLOPT_USERAGENT, sendsAgent ? host.userAgent.c_str() : "ZRDownloadKit");
  curl_easy_setopt(easy, CURLOPT_PROXY, host.proxy.c_str());
  curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
  curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  if (!host.caFile.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, host.caFile.c_str());
  // A folder of certificates beside the file would have the file parsed again for each connection.
  const bool hasFile = !host.caFile.empty() || curl_version_info(CURLVERSION_NOW)->cainfo != nullptr;
  if (hasFile) curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
}

void SCCurlChannel::occupy(std::unique_ptr<SCTransfer>&& transfer, const std::string& origin, SCRateLimit& limit) {
  origin_ = origin;
  if (origin.empty()) share_.emplace(limit, now_);
  transfer_ = std::move(transfer);
}

std::string SCCurlChannel::vacate() {
  transfer_.reset();
  share_.reset();
  lacksMemory_ = false;
  return std::exchange(origin_, {});
}

SCCurlChannel* SCCurlChannel::of(void* easy) {
  char* channel = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &channel);
  return reinterpret_cast<SCCurlChannel*>(channel);
}

bool SCCurlChannel::prepare(const SCTransfer::Exchange& exchange) {
  if (!spared([&] { headers_ = listOf(exchange.headers); })) return false;
  lacksDescriptor_ = false;
  errorText_.front() = '\0';
  curl_easy_setopt(easy(), CURLOPT_HTTPHEADER, headers_.get());
  curl_easy_setopt(easy(), CURLOPT_ACCEPT_ENCODING, exchange.allowsCompression ? "" : nullptr);
  curl_easy_setopt(easy(), CURLOPT_FRESH_CONNECT, 0L);
  return curl_easy_setopt(easy(), CURLOPT_URL, exchange.address.c_str()) == CURLE_OK;
}

SCCurlChannel::List SCCurlChannel::listOf(const std::vector<std::string>& lines) {
  List list;
  for (const std::string& line : lines) {
    curl_slist* const longer = curl_slist_append(static_cast<curl_slist*>(list.get()), fieldForCurl(line).c_str());
    if (longer == nullptr) throw std::bad_alloc();
    (void)list.release();
    list.reset(longer);
  }
  return list;
}

std::optional<Code> SCCurlChannel::failureOf(int result) const {
  long systemError = 0;
  curl_easy_getinfo(easy(), CURLINFO_OS_ERRNO, &systemError);
  return SCCurlFailure::codeOf(result, systemError, errorText_.c_str());
}

SCCurlChannel::Clock::time_point SCCurlChannel::nextDeadline() const {
  return std::min(transfer_->nextDeadline(), share_ ? share_->goesOnAt() : Clock::time_point::max());
}

bool SCCurlChannel::goOnIfDue() {
  if (!share_ || !share_->takeTurn(now_)) return true;
  return curl_easy_pause(easy(), CURLPAUSE_CONT) == CURLE_OK;
}

std::optional<SCCurlChannel::LateEnd> SCCurlChannel::tick() {
  std::optional<Code> code;
  const bool isWhole = spared([&] { code = transfer_->tick(now_); });
  return code || !isWhole ? std::optional(LateEnd{code}) : std::nullopt;
}

std::optional<SCTransfer::Exchange> SCCurlChannel::exchangeEnded(std::optional<Code> failure) {
  std::optional<SCTransfer::Exchange> next;
  const bool isWhole = !lacksMemory_ && spared([&] { next = transfer_->exchangeEnded(failure); });
  if (!isWhole) transfer_->giveUp();
  return next;
}

/// Does the work; false when memory ran out in it.
template <class Work>
bool SCCurlChannel::spared(Work work) {
  try {
    work();
    return true;
  } catch (const std::exception&) {
    lacksMemory_ = true;
    return false;
  }
}
