#pragma once

#include <memory>
#include <string>
#include <utility>

#include "SCNetworkBaseApi.h"
#include "SCNetworkDownloadApi.h"
#include "SCNetworkResponseParser.h"

/// The requests of the runners, each of them a GET.
class ZRRequests final {
 public:
  /// Reads an answer of a service or of a sharing device: all of them tell their outcome under "status".
  template <class Parser = SCNetworkJsonResponseParser>
  static std::shared_ptr<Parser> makeParser(std::string targetKeyPath) {
    auto parser = std::make_shared<Parser>();
    parser->setCheckKeyPath("status");
    parser->setOkValue("200");
    parser->setTargetKeyPath(std::move(targetKeyPath));
    return parser;
  }

  /// A question whose answer `parser` reads.
  static std::shared_ptr<SCNetworkBaseApi> makeRequest(std::string url,
                                                       std::shared_ptr<const SCNetworkResponseParser> parser);

  /// A download of `url` into the file at `path`, without resume.
  static std::shared_ptr<SCNetworkDownloadApi> makeDownload(std::string url, std::string path);
};
