#include "ZRDownloadManager.h"
#include "ZRValue.h"

void ZRDownloadManager::cc(unsigned stype, std::int32_t version) {
  const ZRRecordHandler* const handler = opts_["cc_report_handler"].asRecordHandler();
  if (handler == nullptr || !*handler) return;
  const ZRReportHandler report = *handler;  // the handler may replace the options
  report(ZRDictionary{{"stype", stype}, {"version", version}}, ZRValue::null());
}
