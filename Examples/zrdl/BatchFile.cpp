#include "BatchFile.h"

#include <fstream>
#include <iostream>
#include <utility>

#include <nlohmann/json.hpp>
#include <unistd.h>

#include "JsonScalar.h"
#include "UsageError.h"

namespace zrdl {
namespace {

bool hasText(const ZRDictionary& params, std::string_view key) {
  return !params[key].textValue().value_or("").empty();
}

LabelledRequest requestOfLine(const std::string& line, std::size_t number) {
  LabelledRequest request;
  request.label = "line " + std::to_string(number);
  request.line = number;
  const auto json = nlohmann::ordered_json::parse(line, nullptr, false);
  if (!json.is_object()) {
    request.fault = "it is not a JSON object";
    return request;
  }
  request.params = site::scalarEntries(json);
  if (const std::string* kind = request.params["kind"].asText()) request.kind = *kind;
  if (!request.hasKnownKind()) request.fault = "its \"kind\" is not \"hls\", \"mp4\" or \"share\"";
  request.params.remove("kind");
  if (request.kind == "share" && !(hasText(request.params, kZRParamVid) && hasText(request.params, kZRParamAlbumId))) {
    request.fault = "a share needs \"vid\" and \"albumId\"";
  }
  return request;
}

}  // namespace

std::vector<LabelledRequest> readBatch(std::istream& in) {
  std::vector<LabelledRequest> requests;
  std::string line;
  for (std::size_t number = 1; std::getline(in, line); ++number) {
    if (line.find_first_not_of(" \t\r") != std::string::npos) requests.push_back(requestOfLine(line, number));
  }
  return requests;
}

std::vector<LabelledRequest> readBatchFile(const std::string& file) {
  if (file == "-") {
    if (::isatty(STDIN_FILENO) != 0) std::cerr << "zrdl: reading one JSON object a line; Ctrl-D ends them\n";
    return readBatch(std::cin);
  }
  std::ifstream in(file);
  if (!in) throw site::UsageError("cannot read " + file);
  std::vector<LabelledRequest> requests = readBatch(in);
  if (in.bad()) throw site::UsageError("cannot read " + file);  // a folder, for one
  return requests;
}

}  // namespace zrdl
