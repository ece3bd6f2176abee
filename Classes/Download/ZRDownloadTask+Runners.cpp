// The one source file of this folder that knows the runners.

#include "ZR73Mp4TaskRunner.h"
#include "ZRDownloadTask.h"

// HLS videos and shares have no runner yet: their factories refuse every dictionary.

std::shared_ptr<ZRDownloadTask> ZRDownloadTask::taskWithParams(const ZRDictionary&) {
  return nullptr;
}

std::shared_ptr<ZRDownloadTask> ZRDownloadTask::taskWith73Params(const ZRDictionary& params) {
  return ZR73Mp4TaskRunner::taskWithParams(params);
}

std::shared_ptr<ZRDownloadTask> ZRDownloadTask::taskWithShareParams(const ZRDictionary&) {
  return nullptr;
}

void ZRDownloadTask::setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db) {
  ZR73Mp4TaskRunner::setupWithDB(db);
}

void ZRDownloadTask::loadTasksFromDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, ZRTaskList& finishedArr,
                                     ZRTaskList& unFinished) {
  ZR73Mp4TaskRunner::loadTasksFromDB(db, finishedArr, unFinished);
}
