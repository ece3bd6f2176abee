#include "Mp4Metadata.h"

#include <fstream>
#include <utility>

#include <nlohmann/json.hpp>

#include "JsonScalar.h"
#include "StorableText.h"
#include "UsageError.h"

namespace site {
namespace {

nlohmann::ordered_json readJson(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw UsageError("cannot read " + file);
  try {
    return nlohmann::ordered_json::parse(in, nullptr, false);
  } catch (const std::ios_base::failure&) {  // a folder, for one
    throw UsageError("cannot read " + file);
  }
}

}  // namespace

Mp4Metadata Mp4Metadata::fromFile(const std::string& file) {
  const nlohmann::ordered_json json = readJson(file);
  if (json.is_discarded()) throw UsageError(file + " is not JSON");
  if (!json.is_object()) throw UsageError(file + " is not a JSON object of videos");
  Mp4Metadata metadata;
  for (const auto& [key, info] : json.items()) {
    if (!info.is_object()) throw UsageError(file + ": an entry is not a JSON object");
    metadata.byKey_[key] = storable(scalarEntries(info));
  }
  return metadata;
}

void Mp4Metadata::set(std::int64_t vid, std::int32_t version, ZRDictionary info) {
  byKey_[mp4Key(vid, version)] = storable(std::move(info));
}

std::optional<ZRDictionary> Mp4Metadata::find(std::int64_t vid, std::int32_t version) const {
  const auto found = byKey_.find(mp4Key(vid, version));
  return found == byKey_.end() ? std::nullopt : std::optional(found->second);
}

std::string mp4Key(std::int64_t vid, std::int64_t version) {
  return std::to_string(vid) + "-" + std::to_string(version);
}

}  // namespace site
