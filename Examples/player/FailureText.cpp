#include "FailureText.h"

#include <QCoreApplication>
#include <algorithm>
#include <utility>

namespace player {
namespace {

constexpr std::pair<const char*, const char*> kTexts[] = {
    {kZRReasonDiskFull, QT_TRANSLATE_NOOP("Failure", "The disk is full")},
    {kZRReasonFileFailure, QT_TRANSLATE_NOOP("Failure", "A file cannot be written or read")},
    {kZRReasonFileSync, QT_TRANSLATE_NOOP("Failure", "The disk did not keep the video")},
    {kZRReasonFileBusy, QT_TRANSLATE_NOOP("Failure", "Another download writes this file")},
    {kZRReasonNoThread, QT_TRANSLATE_NOOP("Failure", "The system has too many programs running")},
    {kZRReasonNoMemory, QT_TRANSLATE_NOOP("Failure", "The system is out of memory")},
    {kZRReasonCancelled, QT_TRANSLATE_NOOP("Failure", "Cancelled")},
    {kZRReasonBadAddress, QT_TRANSLATE_NOOP("Failure", "The address is not valid")},
    {kZRReasonBadScheme, QT_TRANSLATE_NOOP("Failure", "The address is neither http nor https")},
    {kZRReasonTimedOut, QT_TRANSLATE_NOOP("Failure", "The server took too long")},
    {kZRReasonCannotConnect, QT_TRANSLATE_NOOP("Failure", "The server cannot be reached")},
    {kZRReasonNoNetwork, QT_TRANSLATE_NOOP("Failure", "There is no network")},
    {kZRReasonConnectionLost, QT_TRANSLATE_NOOP("Failure", "The connection was lost")},
    {kZRReasonTooManyRedirects, QT_TRANSLATE_NOOP("Failure", "The server sends from address to address")},
    {kZRReasonTlsRefused, QT_TRANSLATE_NOOP("Failure", "The connection is not secure")},
    {kZRReasonHttpStatus, QT_TRANSLATE_NOOP("Failure", "The server refuses it (%1)")},
    {kZRReasonServiceRefused, QT_TRANSLATE_NOOP("Failure", "The service refuses it")},
    {kZRReasonBadAnswer, QT_TRANSLATE_NOOP("Failure", "The server's answer makes no sense")},
    {kZRReasonAnswerTooLarge, QT_TRANSLATE_NOOP("Failure", "The server's answer is too large")},
    {kZRReasonNoPlaylistAddress, QT_TRANSLATE_NOOP("Failure", "There is no such version of the video")},
    {kZRReasonNoSegmentAddress, QT_TRANSLATE_NOOP("Failure", "A part of the video has no address")},
    {kZRReasonPlaylistDecryption, QT_TRANSLATE_NOOP("Failure", "The playlist cannot be decrypted")},
    {kZRReasonSegmentCheck, QT_TRANSLATE_NOOP("Failure", "A part of the video is damaged")},
    {kZRReasonNoMp4Address, QT_TRANSLATE_NOOP("Failure", "The site tells no address")},
    {kZRReasonNoShareAddress, QT_TRANSLATE_NOOP("Failure", "The device tells no address")},
    {kZRReasonBadName, QT_TRANSLATE_NOOP("Failure", "The name cannot be used for a file")},
    {kZRReasonHostOffline, QT_TRANSLATE_NOOP("Failure", "The device is offline")},
    {kZRReasonFileDeleted, QT_TRANSLATE_NOOP("Failure", "The device has deleted the file")},
};

}  // namespace

QString failureText(const ZRError& error) {
  const std::string reason = error.userInfo()[kZRErrorReasonKey].textValue().value_or("");
  const auto* const found = std::ranges::find(kTexts, reason, [](const auto& entry) { return entry.first; });
  if (found == std::end(kTexts)) return QString::fromStdString(error.localizedDescription());
  return QCoreApplication::translate("Failure", found->second)
      .replace(QStringLiteral("%1"), QString::number(error.userInfo()[kZRErrorHttpStatusKey].int64Value()));
}

}  // namespace player
