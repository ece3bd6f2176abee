#include "Snippets.h"

// [identity]
void introduce(const std::string& serviceURL) {
  ZRHostInfo info = ZRHostInfo::defaults();
  info.bundleIdentifier = "com.example.player";
  info.shortVersion = "5.2.0";
  info.videoInfoBaseURL = serviceURL;  // for HLS videos alone
  ZRHost::setCurrent(std::move(info));
}
// [identity]

// [setup]
ZRDictionary playerOptions(Site& site, std::ostream& log, std::map<std::int64_t, int>& reports) {
  return {{"fetch_mky_handler", fetchKeyFrom(site)},     {"decryption_handler", decryptWith(site)},
          {"fetch_73Info_Handler", fetchInfoFrom(site)}, {"logger_handler", logTo(log)},
          {"cc_report_handler", countIn(reports)},       {"max_concurrent_count", 2}};
}

void setUp(const ZRDictionary& options) {
  ZRDownloadManager::sharedManager()->setup(options);
}
// [setup]

// [continue]
void goOn() {
  const auto manager = ZRDownloadManager::sharedManager();
  manager->starTasks(manager->allUnFinishTaskArr());
}
// [continue]

// [end]
void endDownloads() {
  ZRDownloadManager::shutdown();
  const auto loop = std::dynamic_pointer_cast<ZRDefaultRunLoop>(ZRRunLoop::main());
  if (loop) loop->drain();
}
// [end]

// [reload]
void beginAgain(const ZRDictionary& options) {
  ZRDownloadManager::shutdown();
  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup(options);
  manager->starTasks(manager->allUnFinishTaskArr());
}
// [reload]
