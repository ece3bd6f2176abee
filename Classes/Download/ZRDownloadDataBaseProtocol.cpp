#include "ZRDownloadDataBaseProtocol.h"

ZRResultSet::~ZRResultSet() = default;
ZRDownloadDataBaseProtocol::~ZRDownloadDataBaseProtocol() = default;
