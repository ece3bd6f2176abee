// The one source file that knows which runners there are.

#include "ZR73Mp4TaskRunner.h"
#include "ZRDownloadTask.h"
#include "ZRM3u8TaskRunner.h"
#include "ZRShareTaskRunner.h"

std::shared_ptr<ZRDownloadTask> ZRDownloadTask::taskWithParams(const ZRDictionary& params) {
  return ZRM3u8TaskRunner::taskWithParams(params);
}

std::shared_ptr<ZRDownloadTask> ZRDownloadTask::taskWith73Params(const ZRDictionary& params) {
  return ZR73Mp4TaskRunner::taskWithParams(params);
}

std::shared_ptr<ZRDownloadTask> ZRDownloadTask::taskWithShareParams(const ZRDictionary& params) {
  return ZRShareTaskRunner::taskWithParams(params);
}

void ZRDownloadTask::setupWithDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db) {
  ZRM3u8TaskRunner::setupWithDB(db);
  ZR73Mp4TaskRunner::setupWithDB(db);
  ZRShareTaskRunner::setupWithDB(db);
}

void ZRDownloadTask::loadTasksFromDB(const std::shared_ptr<ZRDownloadDataBaseProtocol>& db, ZRTaskList& finishedArr,
                                     ZRTaskList& unFinished) {
  ZRM3u8TaskRunner::loadTasksFromDB(db, finishedArr, unFinished);
  ZR73Mp4TaskRunner::loadTasksFromDB(db, finishedArr, unFinished);
  ZRShareTaskRunner::loadTasksFromDB(db, finishedArr, unFinished);
}
