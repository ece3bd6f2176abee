#include "SCTransfer.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "SCFailure.h"
#include "ZRErrorReason.h"

namespace {

using Code = SCURLErrorCode;
using Exchange = SCTransfer::Exchange;

/// Received bytes wait for more of them at most so long, then they are written and reported.
constexpr std::chrono::milliseconds kFlushInterval{200};

/// Written bytes are told at most so often, so that a fast transfer does not keep the main loop's thread busy.
constexpr std::chrono::milliseconds kProgressInterval{10};

/// A body that nobody wants is read up to here, to keep its connection; a longer one costs the connection.
constexpr std::int64_t kDrainLimit = 64 << 10;

/// A longer body is parsed on a thread of its own: others would wait for it. This much takes a few milliseconds.
constexpr std::size_t kLargeAnswer = 128 << 10;

/// What is left to do about an answer when its body is there. It knows no transfer, so that any thread can do it.
struct Parsing {
  std::shared_ptr<SCTransferTicket> ticket;
  std::shared_ptr<const SCNetworkResponseParser> parser;
  std::string body;
  int status;

  void operator()() noexcept {
    if (!ticket->isCancelled()) tellEnd();
    try {
      ticket->postRelease(std::move(parser));
    } catch (const std::exception&) {  // out of memory; the parser goes here
    }
  }

 private:
  void tellEnd() noexcept {
    try {
      auto parsed = parse();
      auto* const result = std::get_if<SCParserResult>(&parsed);
      if (result != nullptr) return ticket->postEnd(std::nullopt, std::move(*result), status);
      ticket->postEnd(std::get<ZRError>(std::move(parsed)), {}, status);
    } catch (const std::exception&) {
      ticket->postWant(kZRReasonNoMemory);
    }
  }

  std::variant<SCParserResult, ZRError> parse() const {
    try {
      return parser->parse(body);
    } catch (...) {  // of a parser or a record's hooks
      return SCFailure::transport(Code::CannotParseResponse);
    }
  }
};

}  // namespace

SCTransfer::SCTransfer(SCTransferSpec spec, std::shared_ptr<SCTransferTicket> ticket, const SCNetworkLimits& limits,
                       SCBufferPool& pool, ZRBackgroundQueue& parsing)
    : spec_(std::move(spec)), ticket_(std::move(ticket)), limits_(limits), parsing_(parsing) {
  if (spec_.target) file_.emplace(spec_.target->path, spec_.target->resume, pool);
}

SCTransfer::~SCTransfer() = default;

std::optional<Exchange> SCTransfer::begin(Clock::time_point now) {
  if (ticket_->isCancelled()) {
    abandon();
    return std::nullopt;
  }
  if (spec_.timeout.count() > 0) wholeDeadline_ = now + spec_.timeout;
  if (spec_.refusal) return refuse(*spec_.refusal);
  auto address = SCAddress::parse(spec_.address);
  if (const auto* code = std::get_if<Code>(&address)) return refuse(SCFailure::transport(*code));
  address_ = std::get<SCAddress>(std::move(address));
  if (file_) {
    if (auto failure = file_->prepare()) return refuse(*std::move(failure));
    offset_ = reported_ = file_->length();
  }
  return nextExchange();
}

std::optional<Exchange> SCTransfer::refuse(ZRError error) {
  error_ = std::move(error);
  end();
  return std::nullopt;
}

Exchange SCTransfer::nextExchange() {
  head_ = {};
  fate_ = Fate::Unknown;
  completeLength_.reset();
  bodyEnd_.reset();
  body_.clear();
  bodySize_ = 0;
  stallDeadline_ = flushDeadline_ = Clock::time_point::max();

  Exchange exchange{address_.text, {}, !file_};
  if (file_) {
    exchange.headers = SCRangeDecision::requestFields(offset_, file_->version());
    exchange.headers.emplace_back("Accept-Encoding: identity");
  }
  if (sendsCallerHeaders_) {
    exchange.headers.insert(exchange.headers.end(), spec_.callerHeaders.begin(), spec_.callerHeaders.end());
  }
  return exchange;
}

void SCTransfer::connected(Clock::time_point now) {
  stallDeadline_ = now + limits_.stallTimeout;
}

bool SCTransfer::receiveHeadLine(std::string_view line, Clock::time_point now) {
  if (fate_ != Fate::Unknown || !head_.addLine(line)) return true;  // a trailer, or more to come
  stallDeadline_ = now + limits_.stallTimeout;                      // a head as a whole has as long as a byte
  return decide() || head_.contentLength.value_or(0) <= kDrainLimit;
}

bool SCTransfer::receiveBody(std::string_view bytes, Clock::time_point now) {
  stallDeadline_ = now + limits_.stallTimeout;
  bodySize_ += static_cast<std::int64_t>(bytes.size());
  if (fate_ == Fate::Collect) return collect(bytes);
  if (fate_ != Fate::Store) return bodySize_ <= kDrainLimit;
  if (!storeBytes(bytes)) return false;
  if (now - lastProgress_ >= kProgressInterval) postWritten(now);
  if (!file_->hasBuffered() && !holdsProgress_) {
    flushDeadline_ = Clock::time_point::max();
  } else if (flushDeadline_ == Clock::time_point::max()) {
    flushDeadline_ = now + kFlushInterval;
  }
  return true;
}

bool SCTransfer::fail(ZRError error) {
  fate_ = Fate::Fail;
  error_ = std::move(error);
  return false;
}

bool SCTransfer::refuseAnswer() {
  return fail(SCFailure::transport(Code::NetworkConnectionLost, "the answer is of no use"));
}

bool SCTransfer::decide() {
  if (!head_.isSound()) {
    return fail(SCFailure::transport(Code::NetworkConnectionLost, "the answer contradicts itself"));
  }
  if (head_.isRedirect()) return decideRedirect();
  return file_ ? decideDownload() : decidePlain();
}

bool SCTransfer::decideRedirect() {
  auto target = address_.resolve(head_.location);
  const auto* const code = std::get_if<Code>(&target);
  if (code != nullptr) return fail(SCFailure::transport(*code, "redirect to an address of no use"));
  if (++redirects_ > limits_.maxRedirects) return fail(SCFailure::transport(Code::TooManyRedirects));
  SCAddress next = std::get<SCAddress>(std::move(target));
  if (next.origin() != address_.origin()) sendsCallerHeaders_ = false;  // for good: a way back does not restore them
  address_ = std::move(next);
  return askAgain();
}

bool SCTransfer::decidePlain() {
  if (!head_.isSuccess()) return fail(SCFailure::status(head_.status));
  if (head_.status == 206) return refuseAnswer();
  if (head_.contentLength.value_or(0) > limits_.maxPlainBody) return fail(SCFailure::tooLarge());
  if (spec_.parser) body_.reserve(static_cast<std::size_t>(head_.contentLength.value_or(0)));
  fate_ = Fate::Collect;
  return true;
}

bool SCTransfer::decideDownload() {
  using Action = SCRangeDecision::Action;
  const SCRangeDecision decision = SCRangeDecision::decide(offset_, file_->version(), head_);
  switch (decision.action) {
    case Action::StoreFromZero:
    case Action::Append:
      return store(decision);
    case Action::AlreadyComplete:
      fate_ = Fate::Complete;
      return false;
    case Action::StartOver:
      offset_ = 0;
      return askAgain();
    case Action::RefuseStatus:
      return fail(SCFailure::status(head_.status));
    case Action::RefuseAnswer:
      break;
  }
  return refuseAnswer();
}

bool SCTransfer::askAgain() {
  fate_ = Fate::Again;
  return false;
}

bool SCTransfer::store(const SCRangeDecision& decision) {
  if (ticket_->isCancelled()) return fail(SCFailure::transport(Code::Cancelled));
  if (decision.action == SCRangeDecision::Action::Append) {
    file_->appendRest(decision.version);
  } else if (auto failure = file_->startOver(decision.version)) {
    return fail(*std::move(failure));
  }
  fate_ = Fate::Store;
  completeLength_ = decision.version.length;
  bodyEnd_ = decision.bodyEnd;
  if (completeLength_) file_->expect(*completeLength_);
  offset_ = reported_ = file_->length();
  return true;
}

bool SCTransfer::collect(std::string_view bytes) {
  if (bodySize_ > limits_.maxPlainBody) return fail(SCFailure::tooLarge());
  if (spec_.parser) body_.append(bytes);
  return true;
}

bool SCTransfer::storeBytes(std::string_view bytes) {
  if (ticket_->isCancelled()) return false;
  if (bodyEnd_ && offset_ + bodySize_ > *bodyEnd_) {
    return fail(SCFailure::transport(Code::NetworkConnectionLost, "more bytes than the answer told"));
  }
  auto failure = file_->append(bytes);
  addWritten();
  return failure ? fail(*std::move(failure)) : true;
}

/// Adds what was written since the last time to the progress that is to be told.
void SCTransfer::addWritten() {
  const std::int64_t chunk = file_->length() - std::exchange(reported_, file_->length());
  if (chunk == 0) return;
  flushDeadline_ = Clock::time_point::max();
  if (!spec_.target->reportsProgress) return;
  ticket_->addProgress(chunk, reported_, completeLength_.value_or(0));
  holdsProgress_ = true;
}

void SCTransfer::postWritten(Clock::time_point now) {
  if (!std::exchange(holdsProgress_, false)) return;
  lastProgress_ = now;
  ticket_->postProgress();
}

SCTransfer::Clock::time_point SCTransfer::nextDeadline() const {
  return std::min({wholeDeadline_, stallDeadline_, flushDeadline_});
}

std::optional<SCURLErrorCode> SCTransfer::tick(Clock::time_point now) {
  if (now >= wholeDeadline_) return Code::TimedOut;
  if (now >= stallDeadline_) return Code::NetworkConnectionLost;
  if (now < flushDeadline_) return std::nullopt;
  flushDeadline_ = Clock::time_point::max();
  auto failure = file_->flush();
  addWritten();
  postWritten(now);
  if (!failure) return std::nullopt;
  fail(*std::move(failure));
  return Code::NetworkConnectionLost;  // ends the exchange; the error is the file's
}

std::optional<Exchange> SCTransfer::exchangeEnded(std::optional<SCURLErrorCode> failure) {
  if (!failure && isPiece() && !ticket_->isCancelled()) askForTheRest();
  if (fate_ == Fate::Again && failure != Code::TimedOut && !ticket_->isCancelled()) return nextExchange();
  if (!ticket_->isCancelled()) conclude(failure);
  if (ticket_->isCancelled()) abandon();
  return std::nullopt;
}

/// Whether the body has arrived whole, and does not end where the file is known to end.
bool SCTransfer::isPiece() const {
  return fate_ == Fate::Store && bodyEnd_ && bodyEnd_ != completeLength_ && offset_ + bodySize_ == *bodyEnd_;
}

void SCTransfer::askForTheRest() {
  auto failure = file_->flush();
  addWritten();
  offset_ = reported_;
  fate_ = Fate::Again;
  if (failure) fail(*std::move(failure));
}

void SCTransfer::conclude(std::optional<SCURLErrorCode> failure) {
  const bool isHandled = fate_ == Fate::Fail || fate_ == Fate::Complete;  // however its last bytes fared
  if (fate_ == Fate::Unknown && !failure) failure = Code::NetworkConnectionLost;
  if (failure && !isHandled) error_ = SCFailure::transport(*failure);
  if (file_) concludeFile();
  if (ticket_->isCancelled()) return;
  return error_ || !spec_.parser || file_ ? end() : endByParser();
}

void SCTransfer::concludeFile() {
  if (fate_ == Fate::Store && (!error_ || spec_.target->resume)) {
    auto failure = file_->flush();
    if (failure && !error_) error_ = std::move(failure);
    addWritten();
  }
  if (!error_ && fate_ == Fate::Store && bodyEnd_.value_or(reported_) != reported_) {
    error_ = SCFailure::transport(Code::NetworkConnectionLost);
  }
  if (error_ || ticket_->isCancelled()) return;
  if (auto failure = file_->finish()) {
    error_ = std::move(failure);
  } else if (fate_ == Fate::Complete && spec_.target->reportsProgress) {
    ticket_->addProgress(0, reported_, reported_);
  }
}

void SCTransfer::endByParser() {
  Parsing parsing{ticket_, std::move(spec_.parser), std::move(body_), head_.status};
  if (parsing.body.size() < kLargeAnswer) return parsing();
  parsing_.post(std::move(parsing));
}

void SCTransfer::end() {
  if (file_ && error_) file_->abandon();
  ticket_->postEnd(error_, {}, head_.finalStatus());
  ticket_->postRelease(std::move(spec_.parser));
}

void SCTransfer::giveUp() noexcept {
  ticket_->postWant(kZRReasonNoMemory);
  try {
    abandon();
  } catch (const std::exception&) {  // what abandoning could not tell goes with the transfer
  }
}

void SCTransfer::abandon() {
  if (file_) file_->abandon();
  ticket_->postRelease(std::move(spec_.parser));
}
