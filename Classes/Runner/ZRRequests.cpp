#include "ZRRequests.h"

std::shared_ptr<SCNetworkBaseApi> ZRRequests::makeRequest(std::string url,
                                                          std::shared_ptr<const SCNetworkResponseParser> parser) {
  auto request = std::make_shared<SCNetworkBaseApi>();
  request->setUrlString(std::move(url));
  request->setMethod(0);
  request->setResponseParser(std::move(parser));
  return request;
}

std::shared_ptr<SCNetworkDownloadApi> ZRRequests::makeDownload(std::string url, std::string path) {
  auto download = std::make_shared<SCNetworkDownloadApi>();
  download->setUrlString(std::move(url));
  download->setMethod(0);
  download->setDownloadFilePath(std::move(path));
  return download;
}
