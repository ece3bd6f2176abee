#include "ZrdlSite.h"

void ZrdlSite::know(int vid, std::size_t size, const std::string& url) {
  const std::string number = std::to_string(vid);
  info_[number + "-1"] = {{"title", "video " + number},
                          {"url", url.empty() ? origin_.url("/" + number + ".mp4") : url},
                          {"duration", 60},
                          {"fileSize", size}};
  writeFile(home_ / "info.json", info_.dump());
}

std::vector<std::string> ZrdlSite::with(const std::vector<std::string>& arguments) const {
  std::vector<std::string> all{"--json", "--support", home_ / support_, "--movies", home_ / "movies"};
  if (!info_.empty()) all.insert(all.end(), {"--mp4-info", home_ / "info.json"});
  all.insert(all.end(), arguments.begin(), arguments.end());
  return all;
}

std::filesystem::path ZrdlSite::downloadFolder() const {
  return home_.path() / support_ / "com.velmor.zrdl" / "download";
}

std::filesystem::path ZrdlSite::file(int vid) const {
  const std::string number = std::to_string(vid);
  return downloadFolder() / ("73-" + number + "-1") / (number + "-1.mp4");
}

void ZrdlSite::serveHalf(int vid, const OriginFile& file) {
  origin_.route("/" + std::to_string(vid) + ".mp4", [file](const OriginRequest&, OriginConnection& out) {
    const std::string_view bytes = file.bytes;
    out.send("HTTP/1.1 200 OK\r\nETag: " + file.etag + "\r\nContent-Length: " + std::to_string(bytes.size()) +
             "\r\n\r\n");
    out.send(bytes.substr(0, bytes.size() / 2));
    out.stall();
  });
}

std::string ZrdlSite::batchOf(const std::vector<int>& vids) const {
  std::string lines;
  for (const int vid : vids) lines += R"({"kind":"mp4","version":1,"vid":)" + std::to_string(vid) + "}\n";
  writeFile(home_ / "batch", lines);
  return home_ / "batch";
}

std::vector<int> summaryOf(const ZrdlProcess& process) {
  const std::vector<ZrdlProcess::Json> summaries = process.events("summary");
  if (summaries.size() != 1) return {};
  const ZrdlProcess::Json& last = summaries.front();
  return {last.at("finished"), last.at("errored"), last.at("stalled"), last.at("refused")};
}
