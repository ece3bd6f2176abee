// A host on Qt's event loop that downloads one HLS video and ends: what compare-with-curl sets in zrdl's place.
//
//     QtSegmentHost FOLDER VIDEO-INFO-BASE SEGMENT-BASE [CA-FILE]
//
// The playlist is not encrypted; its relative addresses are below SEGMENT-BASE.

#include <QCoreApplication>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include "ZRDownloadKit.h"
#include "ZRQtRunLoop.h"

namespace {

ZRDecryptionHandler decryptor(std::string segmentBase) {
  return [segmentBase = std::move(segmentBase)](const ZRDictionary& request, const ZRReplyCompletion& reply) {
    std::ifstream playlist(request["contentPath"].textValue().value_or(""));
    std::ofstream local(request["localPath"].textValue().value_or(""));
    ZRValue::List segments;
    for (std::string line; std::getline(playlist, line); local << line << '\n') {
      if (!line.empty() && line.front() != '#') segments.emplace_back(segmentBase + line);
    }
    reply(ZRDictionary{{"tsArr", std::move(segments)}}, std::nullopt);
  };
}

ZRFetchMkeyHandler noKey() {
  return [](const ZRDictionary&, const ZRReplyCompletion& reply) { reply(ZRDictionary{{"mkey", ""}}, std::nullopt); };
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return 2;
  const QCoreApplication app(argc, argv);
  ZRRunLoop::setMain(std::make_shared<ZRQtRunLoop>());
  ZRHostInfo host = ZRHostInfo::defaults();
  host.applicationSupportFolder = host.moviesFolder = argv[1];
  host.videoInfoBaseURL = argv[2];
  if (argc > 4) host.caFile = argv[4];
  ZRHost::setCurrent(host);

  const auto finished = ZRNotificationCenter::defaultCenter().addObserver(
      kZRDownloadTaskFinishedNotifi, [](const ZRNotification&) { QCoreApplication::exit(0); });
  const auto manager = ZRDownloadManager::sharedManager();
  manager->setup({{"fetch_mky_handler", noKey()}, {"decryption_handler", decryptor(argv[3])}});
  const auto task = ZRDownloadTask::taskWithParams({{"vid", 1}, {"site", 1}, {"version", 2}});
  if (!task || manager->addTask(task) != ZRAddTaskResult::Added) return 1;
  const int status = QCoreApplication::exec();
  ZRDownloadManager::shutdown();
  return status;
}
