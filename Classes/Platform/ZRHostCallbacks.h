#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

#include "ZRDictionary.h"
#include "ZRError.h"

class ZRValue;

/// \file
/// The callbacks that a host puts into the options of `ZRDownloadManager::setup`.
///
/// The library calls them on the main loop's thread, except that a log record made on another thread is delivered
/// there. A callback must not throw. An option that holds a callback of another type counts as absent.

/// Ends a request to the host: a reply dictionary, or an error; either may be absent. Call it once, on any thread, at
/// once or later; a call whose task is gone by then does nothing.
using ZRReplyCompletion =
    std::function<void(const std::optional<ZRDictionary>& reply, const std::optional<ZRError>& error)>;

/// A request that the host answers through `completion`.
using ZRRequestHandler = std::function<void(const ZRDictionary& request, ZRReplyCompletion completion)>;

/// A request handler of one purpose: it is made of any callable of that shape, but not of another purpose's.
template <class Purpose>
class ZRRequestHandlerFor final : public ZRRequestHandler {
 public:
  /// Empty, or what calls `callable`.
  ///@{
  ZRRequestHandlerFor() = default;
  template <class Callable>
  requires(std::same_as<Callable, ZRRequestHandler> || !std::derived_from<Callable, ZRRequestHandler>)
      ZRRequestHandlerFor(Callable callable)
      : ZRRequestHandler(std::move(callable)) {}
  ///@}
};

/// A record that the host only receives; `reserved` is always the null marker.
using ZRRecordHandler = std::function<void(const ZRDictionary& record, const ZRValue& reserved)>;

/// "fetch_mky_handler": {"aid": integer, "vid": integer} → {"mkey": text, "cookie": text (optional)}.
using ZRFetchMkeyHandler = ZRRequestHandlerFor<struct ZRFetchMkeyPurpose>;

/// "decryption_handler": {"contentPath": text, "localPath": text} → {"tsArr": list of segment URLs, in order}.
/// The host reads the playlist at contentPath and writes the playable one at localPath first. Where it came from, the
/// task tells whose `localFullFilePath` is localPath (`ZRDownloadTask::m3u8Url`).
using ZRDecryptionHandler = ZRRequestHandlerFor<struct ZRDecryptionPurpose>;

/// "fetch_73Info_Handler": {"vid": integer, "version": integer} →
/// {"title": text, "url": text, "cover": text, "duration": integer, "fileSize": integer of bytes}.
using ZRFetch73InfoHandler = ZRRequestHandlerFor<struct ZRFetch73InfoPurpose>;

/// How much a log record matters.
enum class ZRLogLevel : unsigned {
  Trace = 0,    ///< a step of the routine
  Event = 1,    ///< a notable event: a task is added or removed, the limit changes
  Failure = 2,  ///< something went wrong
};

/// "logger_handler": {"level": the number of a `ZRLogLevel`; "tag": text; "msg": text}. Called inside library
/// operations, so it must not call back into the manager or a task.
using ZRLoggerHandler = ZRRecordHandler;

/// "cc_report_handler": {"stype": 201 a task was added, 202 a task finished; "version": integer}.
using ZRReportHandler = ZRRecordHandler;
