#include "SCCurlLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <exception>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "SCAddress.h"
#include "SCOriginQueue.h"
#include "SCTokenBucket.h"
#include "SCURL.h"

namespace {

using Code = SCURLErrorCode;
using Clock = SCTransfer::Clock;

/// What one read of a socket may bring.
constexpr long kReceiveBuffer = 256L << 10;

/// Connections kept for later requests.
constexpr long kIdleConnections = 16;

constexpr std::size_t kIdleChannels = 4;

/// While transfers run, connections that their servers have closed are looked for so often.
constexpr std::chrono::seconds kSweepInterval{2};

/// So long the thread sleeps at most when nothing can wake it, in milliseconds.
constexpr int kSleepWithoutWakeup = 20;

/// So long a request waits for a descriptor before it tries again, when nothing else ends in between.
constexpr std::chrono::milliseconds kNextDescriptor{250};

struct EasyDeleter {
  void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
struct ListDeleter {
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
struct AddressDeleter {
  void operator()(CURLU* address) const noexcept { curl_url_cleanup(address); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;
using List = std::unique_ptr<curl_slist, ListDeleter>;
using Address = std::unique_ptr<CURLU, AddressDeleter>;

void initialiseOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

Address parsed(const std::string& text) {
  Address address(curl_url());
  if (!address) return nullptr;
  const auto result = curl_url_set(address.get(), CURLUPART_URL, text.c_str(), CURLU_PATH_AS_IS);
  return result == CURLUE_OK ? std::move(address) : nullptr;
}

std::string partOf(CURLU* address, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(address, part, &text, flags) != CURLUE_OK) return {};
  std::string copy(text);
  curl_free(text);
  return copy;
}

std::string originOf(CURLU* address) {
  std::string origin = partOf(address, CURLUPART_SCHEME) + "://" + partOf(address, CURLUPART_HOST) + ":" +
                       partOf(address, CURLUPART_PORT, CURLU_DEFAULT_PORT);
  std::ranges::transform(origin, origin.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return origin;
}

Code codeOfConnectError(long systemError) {
  const bool noNetwork = systemError == ENETUNREACH || systemError == EHOSTUNREACH || systemError == ENETDOWN;
  return noNetwork ? Code::NotConnectedToInternet : Code::CannotConnectToHost;
}

/// Only the text tells a peer that went without a word from one that refused: libcurl's error number may be one of an
/// earlier exchange, and is none when the peer hung up.
Code codeOfHandshakeError(std::string_view text) {
  // TLS itself has nothing to say, or the socket has, or the end came in between.
  constexpr std::array<std::string_view, 4> kBroken{" SSL_connect: ", "Recv failure", "Send failure", "unexpected eof"};
  const bool isBroken =
      std::ranges::any_of(kBroken, [text](std::string_view part) { return text.find(part) != std::string_view::npos; });
  return isBroken ? Code::NetworkConnectionLost : Code::SecureConnectionFailed;
}

/// Whatever is not told apart here broke a connection.
std::optional<Code> codeOf(CURLcode result, long systemError, std::string_view text) {
  switch (static_cast<int>(result)) {
    case CURLE_OK:
      return std::nullopt;
    case CURLE_URL_MALFORMAT:
      return Code::BadURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_PROXY:               // it cannot connect
    case CURLE_OPERATION_TIMEDOUT:  // of connecting: the other limits are not libcurl's
      return Code::CannotConnectToHost;
    case CURLE_COULDNT_CONNECT:
      return codeOfConnectError(systemError);
    case CURLE_SSL_CONNECT_ERROR:
      return codeOfHandshakeError(text);
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_USE_SSL_FAILED:
      return Code::SecureConnectionFailed;
    default:
      return Code::NetworkConnectionLost;
  }
}

/// A header field as libcurl wants it: a blank value is written with a semicolon.
std::string fieldForCurl(const std::string& line) {
  const std::size_t colon = line.find(':');
  const bool isBlank = line.find_first_not_of(" \t\v\f", colon + 1) == std::string::npos;
  return isBlank ? line.substr(0, colon) + ";" : line;
}

List listOf(const std::vector<std::string>& lines) {
  List list;
  for (const std::string& line : lines) {
    curl_slist* const longer = curl_slist_append(list.get(), fieldForCurl(line).c_str());
    if (longer == nullptr) throw std::bad_alloc();
    (void)list.release();
    list.reset(longer);
  }
  return list;
}

bool isShortage(int error) {
  return error == EMFILE || error == ENFILE;
}

/// Whether the process lacks the few descriptors that a name's look-up takes.
bool lacksDescriptors() {
  std::array<int, 4> probes{};
  bool lacks = false;
  for (int& fd : probes) {
    fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    lacks = lacks || (fd < 0 && isShortage(errno));
  }
  for (const int fd : probes) {
    if (fd >= 0) ::close(fd);
  }
  return lacks;
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

std::variant<SCAddress, SCURLErrorCode> SCAddress::parse(const std::string& text) {
  const std::string scheme = SCURL::scheme(text);
  if (!scheme.empty() && scheme != "http" && scheme != "https") return Code::UnsupportedURL;
  const Address address = SCURL::isHttp(text) ? parsed(text) : nullptr;
  if (!address) return Code::BadURL;
  return SCAddress{text};
}

std::string SCAddress::origin() const {
  const Address address = parsed(text);
  return address ? originOf(address.get()) : std::string();
}

std::variant<SCAddress, SCURLErrorCode> SCAddress::resolve(std::string_view location) const {
  const std::string reference = SCURL::escapeIllegal(location);
  if (!SCURL::scheme(reference).empty()) return parse(reference);
  const Address address = parsed(text);
  if (!address || curl_url_set(address.get(), CURLUPART_URL, reference.c_str(), 0) != CURLUE_OK) return Code::BadURL;
  return parse(partOf(address.get(), CURLUPART_URL));
}

/// The transfers and what libcurl keeps for them.
class SCCurlLoop::Multi final {
 public:
  Multi(const SCNetworkLimits& limits, const ZRHostInfo& host);
  ~Multi();
  Multi(const Multi&) = delete;
  Multi& operator=(const Multi&) = delete;

  void start(std::unique_ptr<SCTransfer> transfer, const std::string& origin);
  void cancel(const SCTransferTicket& ticket);
  void abandonAll();
  void setMaxBytesPerSecond(std::int64_t limit);
  bool run();
  void wait();
  void wakeup() { curl_multi_wakeup(multi_); }

 private:
  /// One exchange's end of libcurl, used again for later ones.
  struct Channel {
    Multi* multi;
    std::unique_ptr<SCTransfer> transfer;
    std::string origin;            // of a plain request
    bool lacksDescriptor = false;  // seen in this exchange
    bool lacksMemory = false;
    Clock::time_point retryAt = Clock::time_point::max();
    SCTokenBucket bucket{{}};  // of a download
    Clock::time_point goesOnAt = Clock::time_point::max();
    std::array<char, CURL_ERROR_SIZE> errorText;
    List headers;
    Easy easy;  // goes before what it points to
  };
  using Channels = std::vector<std::unique_ptr<Channel>>;

  void begin(std::unique_ptr<SCTransfer> transfer, const std::string& origin);
  bool open(std::unique_ptr<SCTransfer>& transfer, const std::string& origin);
  std::unique_ptr<Channel> takeChannel();
  void configure(Channel& channel) const;
  void introduceHost(CURL* easy) const;
  bool send(Channel& channel, const SCTransfer::Exchange& exchange);
  void finishDone();
  bool failsForDescriptors(const Channel& channel, CURLcode result);
  void retryDelayed();
  void hurryDelayed();
  double shareOfOne() const;
  bool holdBack(Channel& channel, std::size_t bytes);
  void letGoOn();
  void shareAnew();
  void prepareSweep();
  void sweep();
  void finishLate();
  void finish(Channel& channel, std::optional<Code> failure);
  template <class Work>
  static bool spared(Channel& channel, Work work);
  void detach(Channel& channel);
  void release(Channel& channel);

  static std::size_t onHeadLine(char* data, std::size_t size, std::size_t count, void* channel);
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* channel);
  static int onConnected(void* channel, char*, char*, int, int);
  static curl_socket_t onSocket(void* channel, curlsocktype, curl_sockaddr* address);

  const SCNetworkLimits& limits_;
  const ZRHostInfo host_;
  CURLM* const multi_;
  bool wakes_ = false;  // false when descriptors lacked for what `wakeup` needs
  SCOriginQueue<SCTransfer> queue_;
  Channels active_;
  Channels idle_;
  Clock::time_point now_;
  Clock::time_point lackedAt_;  // the last time that a descriptor was missing
  Easy sweeper_;
  Clock::time_point sweepAt_{};
  std::int64_t maxBytesPerSecond_ = 0;  // of all downloads; 0 is no limit
  std::int64_t downloads_ = 0;
};

SCCurlLoop::Multi::Multi(const SCNetworkLimits& limits, const ZRHostInfo& host)
    : limits_(limits), host_(host), multi_(curl_multi_init()) {
  if (multi_ == nullptr) throw std::bad_alloc();
  wakes_ = curl_multi_wakeup(multi_) == CURLM_OK;
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kIdleConnections);
  idle_.reserve(kIdleChannels);
  prepareSweep();
}

SCCurlLoop::Multi::~Multi() {
  for (const auto& channel : active_) detach(*channel);
  active_.clear();
  idle_.clear();
  curl_multi_remove_handle(multi_, sweeper_.get());
  sweeper_.reset();
  curl_multi_cleanup(multi_);
}

void SCCurlLoop::Multi::start(std::unique_ptr<SCTransfer> transfer, const std::string& origin) {
  if (!origin.empty()) transfer = queue_.enter(origin, std::move(transfer));
  if (transfer) begin(std::move(transfer), origin);
}

/// It is the transfer's turn; when it ends at once, the next one's.
void SCCurlLoop::Multi::begin(std::unique_ptr<SCTransfer> transfer, const std::string& origin) {
  now_ = Clock::now();
  while (transfer && !open(transfer, origin)) transfer = origin.empty() ? nullptr : queue_.leave(origin);
}

/// False when the transfer has ended already; else it has a channel now.
bool SCCurlLoop::Multi::open(std::unique_ptr<SCTransfer>& transfer, const std::string& origin) {
  std::optional<SCTransfer::Exchange> exchange;
  try {
    exchange = transfer->begin(now_);
    if (!exchange) return false;
    auto channel = takeChannel();
    channel->origin = origin;
    active_.push_back(std::move(channel));
  } catch (const std::exception&) {
    transfer->giveUp();
    return false;
  }
  Channel& channel = *active_.back();
  channel.transfer = std::move(transfer);
  if (origin.empty()) {
    ++downloads_;
    channel.bucket = SCTokenBucket(now_);
    shareAnew();
  }
  if (!send(channel, *exchange)) finish(channel, Code::NetworkConnectionLost);
  return true;
}

std::unique_ptr<SCCurlLoop::Multi::Channel> SCCurlLoop::Multi::takeChannel() {
  if (!idle_.empty()) {
    auto channel = std::move(idle_.back());
    idle_.pop_back();
    return channel;
  }
  auto channel = std::make_unique<Channel>();
  channel->multi = this;
  channel->easy.reset(curl_easy_init());
  if (channel->easy) configure(*channel);
  return channel;
}

/// What is the same for every request.
void SCCurlLoop::Multi::configure(Channel& channel) const {
  CURL* const easy = channel.easy.get();
  curl_easy_setopt(easy, CURLOPT_PRIVATE, &channel);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Multi::onHeadLine);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &channel);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Multi::onBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &channel);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Multi::onConnected);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, &channel);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &Multi::onSocket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &channel);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, channel.errorText.data());
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // a name that does not resolve must not hold up the end
  curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, kReceiveBuffer);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits_.connectTimeout.count()));
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  introduceHost(easy);
}

/// The environment of a desktop process is no configuration of ours: without a proxy of the host there is none, and
/// with one there is no exception.
void SCCurlLoop::Multi::introduceHost(CURL* easy) const {
  const bool sendsAgent = !host_.userAgent.empty() && !SCURL::headerLine("User-Agent", host_.userAgent).empty();
  curl_easy_setopt(easy, CURLOPT_USERAGENT, sendsAgent ? host_.userAgent.c_str() : "ZRDownloadKit");
  curl_easy_setopt(easy, CURLOPT_PROXY, host_.proxy.c_str());
  curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
  curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  if (!host_.caFile.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, host_.caFile.c_str());
  // A folder of certificates beside the file would have the file parsed again for each connection.
  const bool hasFile = !host_.caFile.empty() || curl_version_info(CURLVERSION_NOW)->cainfo != nullptr;
  if (hasFile) curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
}

bool SCCurlLoop::Multi::send(Channel& channel, const SCTransfer::Exchange& exchange) {
  if (!channel.easy || !spared(channel, [&] { channel.headers = listOf(exchange.headers); })) return false;
  channel.lacksDescriptor = false;
  channel.errorText.front() = '\0';
  CURL* const easy = channel.easy.get();
  curl_easy_setopt(easy, CURLOPT_URL, exchange.address.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, channel.headers.get());
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, exchange.allowsCompression ? "" : nullptr);
  curl_easy_setopt(easy, CURLOPT_FRESH_CONNECT, 0L);
  return curl_multi_add_handle(multi_, easy) == CURLM_OK;
}

void SCCurlLoop::Multi::cancel(const SCTransferTicket& ticket) {
  const auto found =
      std::ranges::find_if(active_, [&ticket](const auto& channel) { return &channel->transfer->ticket() == &ticket; });
  if (found == active_.end()) {
    const auto waiting = queue_.remove([&ticket](const auto& transfer) { return &transfer.ticket() == &ticket; });
    if (waiting) waiting->abandon();
    return;
  }
  (*found)->transfer->abandon();
  detach(**found);
  release(**found);
}

void SCCurlLoop::Multi::abandonAll() {
  for (const auto& channel : active_) channel->transfer->abandon();
}

bool SCCurlLoop::Multi::run() {
  if (active_.empty()) return false;
  now_ = Clock::now();
  letGoOn();
  if (now_ >= sweepAt_) sweep();
  int running = 0;
  curl_multi_perform(multi_, &running);
  finishDone();
  finishLate();
  retryDelayed();
  return active_.empty();
}

void SCCurlLoop::Multi::setMaxBytesPerSecond(std::int64_t limit) {
  maxBytesPerSecond_ = limit;
  shareAnew();
}

double SCCurlLoop::Multi::shareOfOne() const {
  return static_cast<double>(maxBytesPerSecond_) / static_cast<double>(std::max<std::int64_t>(downloads_, 1));
}

/// Whether the bytes must wait; they are offered again when the download goes on.
bool SCCurlLoop::Multi::holdBack(Channel& channel, std::size_t bytes) {
  if (maxBytesPerSecond_ == 0 || !channel.origin.empty()) return false;
  if (channel.bucket.take(bytes, shareOfOne(), now_)) return false;
  channel.goesOnAt = channel.bucket.readyAt(bytes, shareOfOne());
  channel.transfer->heldBack();
  return true;
}

void SCCurlLoop::Multi::letGoOn() {
  for (std::size_t i = active_.size(); i-- > 0;) {  // backwards, as in `finishLate`
    Channel& channel = *active_[i];
    if (now_ < channel.goesOnAt) continue;
    channel.goesOnAt = Clock::time_point::max();
    if (curl_easy_pause(channel.easy.get(), CURLPAUSE_CONT) != CURLE_OK) finish(channel, Code::NetworkConnectionLost);
  }
}

/// The shares are other ones now, so those that wait ask again.
void SCCurlLoop::Multi::shareAnew() {
  for (const auto& channel : active_) {
    if (channel->goesOnAt != Clock::time_point::max()) channel->goesOnAt = now_;
  }
}

/// libcurl looks for connections that their servers have closed only when it makes a new one. So a long download makes
/// one now and then that goes nowhere.
void SCCurlLoop::Multi::prepareSweep() {
  sweeper_.reset(curl_easy_init());
  if (!sweeper_) throw std::bad_alloc();
  constexpr curl_opensocket_callback kNoSocket = [](void*, curlsocktype, curl_sockaddr*) { return CURL_SOCKET_BAD; };
  curl_easy_setopt(sweeper_.get(), CURLOPT_URL, "http://127.0.0.1/");
  curl_easy_setopt(sweeper_.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(sweeper_.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(sweeper_.get(), CURLOPT_OPENSOCKETFUNCTION, kNoSocket);
}

void SCCurlLoop::Multi::sweep() {
  sweepAt_ = now_ + kSweepInterval;
  (void)curl_multi_add_handle(multi_, sweeper_.get());
}

void SCCurlLoop::Multi::finishDone() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode result = message->data.result;
    char* channel = nullptr;
    long systemError = 0;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &channel);
    curl_easy_getinfo(message->easy_handle, CURLINFO_OS_ERRNO, &systemError);
    if (channel == nullptr) {
      curl_multi_remove_handle(multi_, sweeper_.get());
      continue;
    }
    Channel& done = *reinterpret_cast<Channel*>(channel);
    if (failsForDescriptors(done, result)) {
      detach(done);
      done.retryAt = now_ + kNextDescriptor;
    } else {
      finish(done, codeOf(result, systemError, done.errorText.data()));
    }
  }
}

/// A failed look-up does not tell why, so it counts as well when descriptors are short now or were a moment ago.
bool SCCurlLoop::Multi::failsForDescriptors(const Channel& channel, CURLcode result) {
  const bool isLookUp = result == CURLE_COULDNT_RESOLVE_HOST || result == CURLE_COULDNT_RESOLVE_PROXY ||
                        result == CURLE_SSL_CACERT_BADFILE;
  const bool lacks = (result == CURLE_COULDNT_CONNECT && channel.lacksDescriptor) || (isLookUp && lacksDescriptors());
  if (lacks) lackedAt_ = now_;
  return lacks || (isLookUp && now_ - lackedAt_ < kNextDescriptor);
}

void SCCurlLoop::Multi::retryDelayed() {
  for (const auto& channel : active_) {
    if (now_ < channel->retryAt) continue;
    channel->retryAt = Clock::time_point::max();
    channel->lacksDescriptor = false;
    (void)curl_multi_add_handle(multi_, channel->easy.get());  // a handle that was there before is welcome
  }
}

void SCCurlLoop::Multi::finishLate() {
  for (std::size_t i = active_.size(); i-- > 0;) {  // backwards: a finished one makes way for the last
    Channel& channel = *active_[i];
    std::optional<Code> code;
    const bool isWhole = spared(channel, [&] { code = channel.transfer->tick(now_); });
    if (code || !isWhole) finish(channel, code);
  }
}

// The end is posted first: the main loop's thread goes on while this one tidies up.
void SCCurlLoop::Multi::finish(Channel& channel, std::optional<Code> failure) {
  std::optional<SCTransfer::Exchange> next;
  const bool isWhole =
      !channel.lacksMemory && spared(channel, [&] { next = channel.transfer->exchangeEnded(failure); });
  if (!isWhole) channel.transfer->giveUp();
  detach(channel);
  if (!next) {
    release(channel);
  } else if (!send(channel, *next)) {
    finish(channel, Code::NetworkConnectionLost);
  }
}

void SCCurlLoop::Multi::detach(Channel& channel) {
  curl_multi_remove_handle(multi_, channel.easy.get());
}

void SCCurlLoop::Multi::release(Channel& channel) {
  channel.transfer.reset();
  channel.lacksMemory = false;
  channel.retryAt = Clock::time_point::max();
  channel.goesOnAt = Clock::time_point::max();
  const std::string origin = std::exchange(channel.origin, {});
  const auto found = std::ranges::find_if(active_, [&channel](const auto& other) { return other.get() == &channel; });
  if (idle_.size() < kIdleChannels) idle_.push_back(std::move(*found));
  *found = std::move(active_.back());
  active_.pop_back();
  hurryDelayed();
  if (origin.empty()) {
    --downloads_;
    shareAnew();
  }
  if (auto next = origin.empty() ? nullptr : queue_.leave(origin)) begin(std::move(next), origin);
}

/// What has ended may leave a descriptor to the one that has waited longest.
void SCCurlLoop::Multi::hurryDelayed() {
  const auto first = std::ranges::min_element(active_, {}, [](const auto& channel) { return channel->retryAt; });
  if (first != active_.end() && (*first)->retryAt != Clock::time_point::max()) (*first)->retryAt = now_;
}

void SCCurlLoop::Multi::wait() {
  Clock::time_point deadline = active_.empty() ? Clock::time_point::max() : sweepAt_;
  for (const auto& channel : active_) {
    deadline = std::min({deadline, channel->transfer->nextDeadline(), channel->retryAt, channel->goesOnAt});
  }
  int milliseconds = INT_MAX;
  if (deadline != Clock::time_point::max()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    milliseconds = static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
  }
  if (!wakes_) milliseconds = std::min(milliseconds, kSleepWithoutWakeup);
  curl_multi_poll(multi_, nullptr, 0, milliseconds, nullptr);
}

/// Does the work; false when memory ran out in it, which ends the transfer but neither libcurl nor the host.
template <class Work>
bool SCCurlLoop::Multi::spared(Channel& channel, Work work) {
  try {
    work();
    return true;
  } catch (const std::exception&) {
    channel.lacksMemory = true;
    return false;
  }
}

std::size_t SCCurlLoop::Multi::onHeadLine(char* data, std::size_t size, std::size_t count, void* channel) {
  auto& self = *static_cast<Channel*>(channel);
  bool goesOn = false;
  spared(self, [&] { goesOn = self.transfer->receiveHeadLine({data, size * count}, self.multi->now_); });
  return goesOn ? size * count : 0;
}

std::size_t SCCurlLoop::Multi::onBody(char* data, std::size_t size, std::size_t count, void* channel) {
  auto& self = *static_cast<Channel*>(channel);
  if (self.multi->holdBack(self, size * count)) return CURL_WRITEFUNC_PAUSE;
  bool goesOn = false;
  spared(self, [&] { goesOn = self.transfer->receiveBody({data, size * count}, self.multi->now_); });
  return goesOn ? size * count : 0;
}

// A request that meets a connection which the server has closed is sent again by libcurl, which must not take another
// old one for that (RFC 9112, section 9.3.1).
int SCCurlLoop::Multi::onConnected(void* channel, char*, char*, int, int) {
  auto& self = *static_cast<Channel*>(channel);
  curl_easy_setopt(self.easy.get(), CURLOPT_FRESH_CONNECT, 1L);
  self.transfer->connected(self.multi->now_);
  return CURL_PREREQFUNC_OK;
}

curl_socket_t SCCurlLoop::Multi::onSocket(void* channel, curlsocktype, curl_sockaddr* address) {
  const int fd = openSocket(address->family, address->socktype, address->protocol);
  if (fd < 0 && isShortage(errno)) static_cast<Channel*>(channel)->lacksDescriptor = true;
  return fd < 0 ? CURL_SOCKET_BAD : fd;
}

SCCurlLoop::SCCurlLoop(const SCNetworkLimits& limits, const ZRHostInfo& host) {
  initialiseOnce();
  multi_ = std::make_unique<Multi>(limits, host);
}

SCCurlLoop::~SCCurlLoop() = default;

void SCCurlLoop::start(std::unique_ptr<SCTransfer> transfer, const std::string& origin) {
  multi_->start(std::move(transfer), origin);
}

void SCCurlLoop::cancel(const SCTransferTicket& ticket) {
  multi_->cancel(ticket);
}

void SCCurlLoop::abandonAll() {
  multi_->abandonAll();
}

void SCCurlLoop::setMaxBytesPerSecond(std::int64_t limit) {
  multi_->setMaxBytesPerSecond(limit);
}

bool SCCurlLoop::run() {
  return multi_->run();
}

void SCCurlLoop::wait() {
  multi_->wait();
}

void SCCurlLoop::wakeup() {
  multi_->wakeup();
}
