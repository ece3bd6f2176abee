#include "ZRDownloadDataBaseProtocol.h"

ZRResultSet::~ZRResultSet() = default;
ZRDownloadDataBaseProtocol::~ZRDownloadDataBaseProtocol() = default;

bool ZRDownloadDataBaseProtocol::executeTogether(const std::vector<std::string>& statements) {
  return executeBatchUpdate(statements);
}
