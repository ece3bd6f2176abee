#include "ZRTaskRunner.h"

#include <array>
#include <charconv>
#include <limits>
#include <utility>

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

void ZRTaskRunner::switch2Finish() {
  setExecutingPhase(_finishedPhase());
  setTaskState(ZRTaskState::Finished);
}

void ZRTaskRunner::forceError(const ZRError& error) {
  setErr(error);
  _cancel();
  setTaskState(ZRTaskState::Errored);
}

float ZRTaskRunner::currentDownloadProgress() const {
  const std::uint64_t expected = expectedBytes();
  if (expected == 0) return 0;
  return static_cast<float>(static_cast<double>(receivedBytes()) / static_cast<double>(expected));
}

void ZRTaskRunner::cleanDownloadFiles() {
  if (!_cleanTSAndTaskInDB()) {
    _log(2, "can't remove the row of %@", *this);  // which speaks of the files, so they stay
    return;
  }
  removeDownloadedFiles();
}

void ZRTaskRunner::removeDownloadedFiles() {
  const std::string folder = videoSaveDir();
  if (!folder.empty()) ZRRemovedFolders::remove(folder);
}

void ZRTaskRunner::justDelayRetry() {
  slot_.retryLater([weakSelf = weak_from_this()] {
    const auto self = std::static_pointer_cast<ZRTaskRunner>(weakSelf.lock());
    if (!self) return;
    _log(1, "delyRetry start %@...", self);
    self->_executeNextPhase();
  });
  _log(1, "reset delyRetry %@...", *this);
}

void ZRTaskRunner::_executeNextPhase() {
  syncStateToDB();
  if (isExecuting() && !finish_) _startPhase(executingPhase_);
}

void ZRTaskRunner::_executePhase(std::uint64_t phase) {
  setExecutingPhase(phase);
  _executeNextPhase();
}

void ZRTaskRunner::_finishWhenDurable(const std::string& continued) {
  finish_ = std::make_shared<Finish>();
  ZRBackgroundQueue::disk().post([finish = std::weak_ptr(finish_), task = _weak<ZRTaskRunner>(),
                                  folder = videoSaveDir(), continued, loop = ZRRunLoop::main()] {
    if (finish.expired()) return;
    const std::optional<ZRError> failure = ZRFolderSync::makeDurable(folder);
    if (finish.expired()) return;  // another download may already use what lies beside the file
    if (!failure && !continued.empty()) {
      SCNetworkDownloadApi::forgetVersion(continued);
      ZRFolderSync::syncNames(folder);
    }
    loop->post([finish, task, failure] {
      const auto self = task.lock();
      if (self && !finish.expired()) self->_folderSynced(failure);
    });
  });
}

void ZRTaskRunner::_folderSynced(const std::optional<ZRError>& failure) {
  finish_.reset();
  if (!failure) return invokeCompletionNotifi();
  _log(2, "%@ is not on the disk:%@;%@", *this, *failure, failure->userInfo()[kZRErrorCauseKey].textValue());
  filesAreKnown_ = false;
  setValueForKey(0, "downloadedBytes");  // of the kinds that count them: the row says no more than is there
  setExecutingPhase(0);                  // from the beginning: what was lost is found and fetched again
  invokeErrorNotifi(*failure);
}

void ZRTaskRunner::_cancel() {
  finish_.reset();
  slot_.cancelCurrent();
  slot_.dropRetry();
}

void ZRTaskRunner::setTaskState(ZRTaskState state) {
  ZRDownloadTask::setTaskState(state);
  slot_.dropRetry();
}

ZRError ZRTaskRunner::_mappedTransportError(const ZRError& error) {
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
    case SCURLErrorCode::DataLengthExceedsMaximum:
    case SCURLErrorCode::SecureConnectionFailed:
      break;
  }
  return error;
}

ZRError ZRTaskRunner::_diskFullError() {
  return ZRError(ZRErrorCode::DiskFull, "磁盘空间不足").with(kZRErrorReasonKey, kZRReasonDiskFull);
}

std::shared_ptr<SCNetworkDownloadApi> ZRTaskRunner::_makeDownload(std::string url, std::string path) {
  auto download = std::make_shared<SCNetworkDownloadApi>();
  download->setUrlString(std::move(url));
  download->setMethod(0);
  download->setDownloadFilePath(std::move(path));
  return download;
}

std::string ZRTaskRunner::_fixed(double number) {
  std::array<char, std::numeric_limits<double>::max_exponent10 + 10> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, 6).ptr;
  return {text.data(), end};
}

ZRReplyCompletion ZRTaskRunner::_onMainLoop(ZRReplyCompletion completion) {
  const auto answerOnce = [pending = std::make_shared<ZRReplyCompletion>(std::move(completion))](
                              const std::optional<ZRDictionary>& reply, const std::optional<ZRError>& error) {
    const ZRReplyCompletion answer = std::exchange(*pending, nullptr);
    if (answer) answer(reply, error);
  };
  return [answerOnce, loop = ZRRunLoop::main()](const std::optional<ZRDictionary>& reply,
                                                const std::optional<ZRError>& error) {
    if (loop->isLoopThread()) {
      answerOnce(reply, error);
    } else {
      loop->post([answerOnce, reply, error] { answerOnce(reply, error); });
    }
  };
}
