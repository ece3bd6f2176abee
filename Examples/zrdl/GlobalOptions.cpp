#include "GlobalOptions.h"

#include <chrono>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "OptionChecks.h"

namespace zrdl {
namespace {

constexpr int kLongestGiveUp = 1'000'000;

/// The check without its words in the help, which are made for machines.
CLI::Validator unsaid(CLI::Validator check) {
  return check.description("");
}

void addHlsOptions(CLI::App& app, Options& options) {
  app.add_option("--info-base", options.site.infoBase, "Base address of the video-information service")
      ->type_name("URL")
      ->check(webAddress);
  app.add_option("--mkey", options.site.mkey, "Playback key of HLS videos")->type_name("KEY");
  app.add_option("--cookie", options.site.cookie, "Cookie that goes with the playback key")->type_name("TEXT");
  app.add_option_function<std::vector<std::string>>(
         "--cdn",
         [&options](const std::vector<std::string>& parameters) {
           for (const std::string& text : parameters) {
             const std::size_t sign = text.find('=');
             options.cdn.emplace_back(text.substr(0, sign), text.substr(sign + 1));
           }
         },
         "Further query parameter of a playlist's request;\nmay be repeated")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(nameAndValue);
  app.add_option("--decrypt", options.decrypt,
                 "Run as CMD CONTENT_PATH LOCAL_PATH for a playlist;\n"
                 "prints the segment addresses, one a line. Without\n"
                 "it a playlist that is not encrypted is made local")
      ->type_name("CMD");
  app.add_option("--segment-base", options.site.segmentBase,
                 "Address that relative segment addresses belong to,\nin place of the playlist's own")
      ->type_name("URL")
      ->check(webAddress);
}

void addNetworkOptions(CLI::App& app, Options& options) {
  app.add_option("--proxy", options.proxy, "Proxy of every request: http://HOST:PORT or\nsocks5h://HOST:PORT")
      ->type_name("URL")
      ->check(proxyAddress);
  app.add_option_function<std::string>(
         "--ca-file", [&options](const std::string& path) { options.caFile = absolutePath(path); },
         "Certificate authorities to trust, in place of the\nsystem's (PEM)")
      ->type_name("FILE")
      ->check(unsaid(CLI::ExistingFile));
  app.add_option("--user-agent", options.userAgent, "User-Agent field of every request")->type_name("TEXT");
  app.add_option_function<std::string>(
         "--limit-rate", [&options](const std::string& text) { options.limitRate = byteCount(text); },
         "Bytes that all downloads together receive in a\nsecond, also with the suffix k, M, G; 0: no limit")
      ->type_name("RATE")
      ->check(byteCountText);
}

}  // namespace

void addGlobalOptions(CLI::App& app, Options& options) {
  app.add_option("--support", options.support, "Folder of private files: database, HLS and MP4\ndownloads")
      ->type_name("DIR");
  app.add_option("--movies", options.movies, "Folder of files the user sees")->type_name("DIR");
  app.add_option("--bundle-id", options.bundleId,
                 "Name of the application's folder below the support\nfolder [" + options.bundleId + "]")
      ->type_name("ID")
      ->check(oneComponent);
  app.add_option("--app-version", options.appVersion,
                 "Version that zrdl presents itself with [" + options.appVersion + "]")
      ->type_name("V");
  app.add_option("--max", options.max, "Tasks that run at once, 1 to 255 [3]")
      ->type_name("N")
      ->check(unsaid(CLI::Range(1, 255)));
  addHlsOptions(app, options);
  app.add_option("--mp4-info", options.site.mp4Info,
                 "JSON file: \"VID-VERSION\" to {\"title\", \"url\",\n\"cover\", \"duration\", \"fileSize\"}")
      ->type_name("FILE");
  addNetworkOptions(app, options);
  app.add_option_function<int>(
         "--give-up", [&options](int seconds) { options.giveUp = std::chrono::seconds(seconds); },
         "A task that runs that long without a byte or a\nchange counts as stalled [120]")
      ->type_name("SECONDS")
      ->check(unsaid(CLI::Range(1, kLongestGiveUp)));
  app.add_flag("--json", options.json, "Print one JSON object a line");
}

}  // namespace zrdl
