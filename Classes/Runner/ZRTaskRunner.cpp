#include "ZRTaskRunner.h"

#include <array>
#include <charconv>
#include <limits>
#include <utility>

#include "SCNetworkDownloadApi.h"
#include "SCNetworkErrors.h"
#include "ZRBackgroundQueue.h"
#include "ZRFolderSync.h"
#include "ZRRemovedFolders.h"
#include "ZRRunLoop.h"

namespace {

/// The library's own error in place of the transport's, whose text it keeps as the cause.
ZRError asOwn(const ZRError& own, const char* reason, const ZRError& error) {
  return own.with(kZRErrorReasonKey, reason).with(kZRErrorCauseKey, error.localizedDescription());
}

ZRError ownError(const ZRError& error) {
  switch (static_cast<SCURLErrorCode>(error.code())) {
    case SCURLErrorCode::NetworkConnectionLost:
      return asOwn({ZRErrorCode::ConnectionLost, "失去网络连接"}, kZRReasonConnectionLost, error);
    case SCURLErrorCode::CannotConnectToHost:
      return asOwn({ZRErrorCode::CannotReachServer, "无法连接到服务器"}, kZRReasonCannotConnect, error);
    case SCURLErrorCode::NotConnectedToInternet:
      return asOwn({ZRErrorCode::CannotReachServer, "无法连接到服务器"}, kZRReasonNoNetwork, error);
    case SCURLErrorCode::Cancelled:
    case SCURLErrorCode::BadURL:
    case SCURLErrorCode::TimedOut:
    case SCURLErrorCode::UnsupportedURL:
    case SCURLErrorCode::TooManyRedirects:
    case SCURLErrorCode::BadServerResponse:
    case SCURLErrorCode::CannotParseResponse:
    case SCURLErrorCode::SecureConnectionFailed:
      break;
  }
  return error;
}

}  // namespace

ZRTaskRunner::~ZRTaskRunner() = default;

void ZRTaskRunner::resume() {
  ZRDownloadTask::resume();
  _executeNextPhase();
}

void ZRTaskRunner::switch2Pause() {
  _cancel();
  setTaskState(ZRTaskState::Paused);
}

void ZRTaskRunner::switch2Wait() {
  _cancel();
  setTaskState(ZRTaskState::Waiting);
}

void ZRTaskRunner::forceError(const ZRError& error) {
  setErr(error);
  _cancel();
  setTaskState(ZRTaskState::Errored);
}

std::uint64_t ZRTaskRunner::expectedBytes() const {
  const std::int64_t size = toldSize();
  return size < 1 ? fileLength_ : static_cast<std::uint64_t>(size);
}

float ZRTaskRunner::currentDownloadProgress() const {
  const std::int64_t size = toldSize();
  if (size < 1) return 0;
  return static_cast<float>(static_cast<double>(receivedBytes()) / static_cast<double>(size));
}

void ZRTaskRunner::cleanDownloadFiles() {
  const std::string folder = videoSaveDir();
  const ZRRemovedFolders::Note note(folder);
  if (!_cleanTSAndTaskInDB()) {
    log(ZRLogLevel::Failure, "can't remove the row of %@", *this);  // which speaks of the files, so they stay
    return;
  }
  ZRRemovedFolders::remove(folder);
}

void ZRTaskRunner::removeDownloadedFiles() {
  ZRRemovedFolders::remove(videoSaveDir());
}

void ZRTaskRunner::justDelayRetry() {
  slot_.retryLater([weakSelf = weak_from_this()] {
    const auto self = std::static_pointer_cast<ZRTaskRunner>(weakSelf.lock());
    if (!self) return;
    log(ZRLogLevel::Event, "delyRetry start %@...", self);
    self->_executeNextPhase();
  });
  log(ZRLogLevel::Event, "reset delyRetry %@...", *this);
}

void ZRTaskRunner::_executeNextPhase() {
  syncStateToDB();
  if (isExecuting() && !finish_) startPhase();
}

void ZRTaskRunner::finishWhenDurable(const std::string& continued) {
  finish_ = std::make_shared<Finish>();
  ZRBackgroundQueue::disk().post([finish = std::weak_ptr(finish_), task = weak_from_this(), folder = videoSaveDir(),
                                  continued, loop = ZRRunLoop::main()] {
    if (finish.expired()) return;
    const std::optional<ZRError> failure = ZRFolderSync::makeDurable(folder);
    if (finish.expired()) return;  // another download may already use what lies beside the file
    if (!failure && !continued.empty()) {
      SCNetworkDownloadApi::forgetVersion(continued);
      ZRFolderSync::syncNames(folder);
    }
    loop->post([finish, task, failure] {
      const auto self = std::static_pointer_cast<ZRTaskRunner>(task.lock());
      if (self && !finish.expired()) self->folderSynced(failure);
    });
  });
}

void ZRTaskRunner::folderSynced(const std::optional<ZRError>& failure) {
  finish_.reset();
  if (!failure) return invokeCompletionNotifi();
  log(ZRLogLevel::Failure, "%@ is not on the disk:%@;%@", *this, *failure,
      failure->userInfo()[kZRErrorCauseKey].textValue());
  filesAreKnown_ = false;
  downloadedBytes_ = 0;  // the row says no more than is there
  setExecutingPhase(0);  // from the beginning: what was lost is found and fetched again
  invokeErrorNotifi(*failure);
}

void ZRTaskRunner::_cancel() {
  finish_.reset();
  slot_.cancelCurrent();
  slot_.dropRetry();
}

void ZRTaskRunner::throwErr(const ZRError& error) {
  const ZRError own = ownError(error);
  logFailure(own);
  invokeErrorNotifi(own);
}

std::string ZRTaskRunner::fixed(double number) {
  std::array<char, std::numeric_limits<double>::max_exponent10 + 10> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, 6).ptr;
  return {text.data(), end};
}
