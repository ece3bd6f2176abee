#include "ZRDownloadManager.h"
#include "ZRValue.h"

void ZRDownloadManager::cc(unsigned stype, std::int32_t version) {
  if (const ZRReportHandler report = reportHandler()) {
    report(ZRDictionary{{"stype", stype}, {"version", version}}, ZRValue::null());
  }
}

ZRReportHandler ZRDownloadManager::reportHandler() const {
  const std::lock_guard lock(callbackMutex_);
  const ZRRecordHandler* const handler = opts_[kZROptionReportHandler.name].asRecordHandler();
  return handler != nullptr ? *handler : ZRReportHandler();
}
