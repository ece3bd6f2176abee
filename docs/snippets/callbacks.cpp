#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "Snippets.h"

// [fetch-key]
ZRFetchMkeyHandler fetchKeyFrom(Site& site) {
  return [&site](const ZRDictionary& request, const ZRReplyCompletion& completion) {
    site.askForKey(request["vid"].int64Value(), [completion](const std::optional<std::string>& key) {
      if (key) {
        completion(ZRDictionary{{"mkey", *key}}, std::nullopt);
      } else {
        completion(std::nullopt, ZRError(ZRErrorCode::ResourceUnusable, "没有下载权限"));
      }
    });
  };
}
// [fetch-key]

// [decrypt]
ZRDecryptionHandler decryptWith(Site& site) {
  return [&site](const ZRDictionary& request, const ZRReplyCompletion& completion) {
    std::ifstream encrypted(*request["contentPath"].asText(), std::ios::binary);
    std::istringstream playlist(site.decrypt(std::string(std::istreambuf_iterator(encrypted), {})));
    std::ofstream local(*request["localPath"].asText(), std::ios::binary);
    ZRValue::List addresses;
    for (std::string line; std::getline(playlist, line);) {
      if (line.empty() || line.starts_with('#')) {
        local << line << '\n';
      } else {
        local << addresses.size() << ".ts\n";
        addresses.emplace_back(line);
      }
    }
    if (addresses.empty() || !local.flush()) {
      completion(std::nullopt, ZRError("com.example.player", 1, "no playlist"));
    } else {
      completion(ZRDictionary{{"tsArr", std::move(addresses)}}, std::nullopt);
    }
  };
}
// [decrypt]

// [fetch-info]
ZRFetch73InfoHandler fetchInfoFrom(Site& site) {
  return [&site](const ZRDictionary& request, const ZRReplyCompletion& completion) {
    const auto answer = [completion](const std::optional<Site::Film>& film) {
      if (!film) return completion(std::nullopt, ZRError(ZRErrorCode::ResourceUnusable, "视频已下架"));
      const auto storable = [](const std::string& text, const char* quote) {
        return std::regex_replace(text, std::regex("'"), quote);  // the store takes no text that holds a '
      };
      completion(ZRDictionary{{"title", storable(film->title, "’")},
                              {"url", storable(film->url, "%27")},
                              {"cover", storable(film->cover, "%27")},
                              {"duration", film->duration},
                              {"fileSize", film->bytes}},
                 std::nullopt);
    };
    site.askForFilm(request["vid"].int64Value(), request["version"].int32Value(), answer);
  };
}
// [fetch-info]

// [records]
ZRLoggerHandler logTo(std::ostream& file) {
  return [&file](const ZRDictionary& record, const ZRValue&) {
    file << record["level"].int64Value() << ' ' << *record["msg"].asText() << '\n';
  };
}

ZRReportHandler countIn(std::map<std::int64_t, int>& reports) {
  return [&reports](const ZRDictionary& report, const ZRValue&) { ++reports[report["stype"].int64Value()]; };
}
// [records]
