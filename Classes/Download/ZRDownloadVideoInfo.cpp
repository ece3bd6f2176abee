#include "ZRDownloadVideoInfo.h"

#include <memory>
#include <utility>

namespace {

/// The JSON keys of one version.
struct VersionKeys {
  std::int32_t version;
  std::string_view m3u8Url;
  std::string_view mp4Url;
  std::string_view fileSize;
};

constexpr VersionKeys kVersionKeys[] = {
    {2, "url_nor", "url_nor_mp4", "file_size_nor"},
    {1, "url_high", "url_high_mp4", "file_size_high"},
    {21, "url_super", "url_super_mp4", "file_size_super"},
    {31, "url_original", "url_original_mp4", "file_size_original"},
    {12, "url_nor_NS", "url_nor_NS_mp4", "file_size_nor_NS"},
    {11, "url_high_NS", "url_high_NS_mp4", "file_size_high_NS"},
    {121, "url_super_NS", "url_super_NS_mp4", "file_size_super_NS"},
    {131, "url_original_NS", "url_original_NS_mp4", "file_size_original_NS"},
    {263, "url_nor_265", "url_nor_265_mp4", "file_size_nor_265"},
    {261, "url_high_265", "url_high_265_mp4", "file_size_high_265"},
    {265, "url_super_265", "url_super_265_mp4", "file_size_super_265"},
    {267, "url_original_265", "url_original_265_mp4", "file_size_original_265"},
    {262, "url_nor_265_NS", "url_nor_265_NS_mp4", "file_size_nor_265_NS"},
    {260, "url_high_265_NS", "url_high_265_NS_mp4", "file_size_high_265_NS"},
    {264, "url_super_265_NS", "url_super_265_NS_mp4", "file_size_super_265_NS"},
    {266, "url_original_265_NS", "url_original_265_NS_mp4", "file_size_original_265_NS"},
};

std::optional<std::string_view> keyOf(std::int32_t version, std::string_view VersionKeys::*key) {
  for (const VersionKeys& keys : kVersionKeys) {
    if (keys.version == version) return keys.*key;
  }
  return std::nullopt;
}

/// What the service says is short of what the segments need.
constexpr double kSizeScale = 1.175;

bool isEmpty(const std::optional<std::string>& text) {
  return !text || text->empty();
}

}  // namespace

void ZRDownloadVideoInfo::registerModel() {
  SCJSONUtil::registerModel("ZRDownloadVideoInfo", [] { return std::make_shared<ZRDownloadVideoInfo>(); });
}

std::optional<std::string_view> ZRDownloadVideoInfo::m3u8UrlKey() const {
  return keyOf(version_, &VersionKeys::m3u8Url);
}

std::optional<std::string_view> ZRDownloadVideoInfo::mp4UrlKey() const {
  return keyOf(version_, &VersionKeys::mp4Url);
}

std::optional<std::string_view> ZRDownloadVideoInfo::fileSizeKey() const {
  return keyOf(version_, &VersionKeys::fileSize);
}

ZRDictionary ZRDownloadVideoInfo::toDic() const {
  ZRDictionary dic;
  dic.set("title", ZRValue::orAbsent(videoName_));  // an absent text sets nothing
  dic.set("cover", ZRValue::orAbsent(videoPic_));
  dic.set("playOrder", playOrder_);
  dic.set("duration", duration_);
  dic.set("vid", videoId_);
  dic.set("site", site_);
  dic.set("version", version_);
  dic.set("fileSize", totalSize_);
  dic.set("albumId", aid_);
  dic.set("albumName", ZRValue::orAbsent(albumName_));
  dic.set("cid", cid_);
  dic.set("cateCode", ZRValue::orAbsent(cateCode_));
  dic.set("tvPreviewPic", ZRValue::orAbsent(tvPreviewPic_));
  dic.set("pvpicW", pvpicW_);
  dic.set("pvpicH", pvpicH_);
  dic.set("pvpicD", pvpicD_);
  dic.set("isShafa", isShafa());
  return dic;
}

std::optional<std::array<std::int32_t, 3>> ZRDownloadVideoInfo::previewTiles(std::string_view tvPreviewPic) {
  constexpr std::string_view kMarker = "big_";
  const std::size_t marker = tvPreviewPic.rfind(kMarker);
  if (marker == std::string_view::npos) return std::nullopt;
  std::string_view rest = tvPreviewPic.substr(marker + kMarker.size());
  rest = rest.substr(0, rest.rfind('.'));
  std::array<std::int32_t, 3> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const std::size_t end = rest.find('_');
    const bool isLast = i + 1 == numbers.size();
    if (isLast != (end == std::string_view::npos)) return std::nullopt;
    numbers[i] = ZRValue(rest.substr(0, end)).int32Value();
    rest.remove_prefix(isLast ? rest.size() : end + 1);
  }
  return numbers;
}

std::span<const ZRField<ZRDownloadVideoInfo>> ZRDownloadVideoInfo::fields() {
  using Self = ZRDownloadVideoInfo;
  using enum ZRArchiveWidth;
  constexpr auto kNoColumn = ZRColumnType::None;
  static constexpr ZRField<Self> kFields[] = {
      zrField<Self, &Self::videoId_>("videoId", kNoColumn, Int64),
      zrField<Self, &Self::aid_>("aid", kNoColumn, Int64),
      zrField<Self, &Self::site_>("site", kNoColumn, Int32),
      zrField<Self, &Self::cid_>("cid", kNoColumn, Int32),
      zrField<Self, &Self::version_>("version", kNoColumn, Int32),
      zrField<Self, &Self::duration_>("duration", kNoColumn, Int32),
      zrField<Self, &Self::playOrder_>("playOrder", kNoColumn, Int32),
      zrField<Self, &Self::albumName_>("albumName", kNoColumn, Object),
      zrField<Self, &Self::videoPic_>("videoPic", kNoColumn, Object),
      zrField<Self, &Self::totalSize_>("totalSize", kNoColumn, Int64),
      zrField<Self, &Self::videoName_>("videoName", kNoColumn, Object),
      zrField<Self, &Self::m3u8Url_>("m3u8Url", kNoColumn, Object),
      zrField<Self, &Self::cateCode_>("cateCode", kNoColumn, Object),
      zrField<Self, &Self::tvPreviewPic_>("tvPreviewPic", kNoColumn, Object),
      zrField<Self, &Self::pvpicW_>("pvpicW", kNoColumn, Int32),
      zrField<Self, &Self::pvpicH_>("pvpicH", kNoColumn, Int32),
      zrField<Self, &Self::pvpicD_>("pvpicD", kNoColumn, Int32),
      zrField<Self, &Self::uploadFrom_>("uploadFrom", kNoColumn, Int32),
      zrField<Self, &Self::mp4Url_>("mp4Url", kNoColumn, Object),
  };
  return kFields;
}

std::span<const SCJSONRecord::NamePair> ZRDownloadVideoInfo::sc_collideKeysMap() const {
  static constexpr NamePair kNames[] = {
      {"fee", "notFree"},  // no such field: the key is dropped
      {"video_name", "videoName"}, {"album_name", "albumName"},    {"video_order", "playOrder"},
      {"cate_code", "cateCode"},   {"total_duration", "duration"}, {"tv_preview_pic", "tvPreviewPic"},
  };
  return kNames;
}

bool ZRDownloadVideoInfo::sc_unDefinedKey(std::string& key, ZRValue& value, const ZRValue& refObj) {
  version_ = refObj.int32Value();
  if (key == m3u8UrlKey()) {
    key = "m3u8Url";
    return true;
  }
  if (key == mp4UrlKey()) {
    key = "mp4Url";
    return true;
  }
  if (key == fileSizeKey()) {
    key = "totalSize";
    value = static_cast<double>(value.int64Value()) * kSizeScale;
    return true;
  }
  if (isEmpty(videoPic_) && (key == "hor_high_pic" || key == "hor_big_pic")) videoPic_ = value.textValue();
  return false;
}

void ZRDownloadVideoInfo::sc_willFinishConvert(const ZRValue&) {
  const auto tiles = tvPreviewPic_ ? previewTiles(*tvPreviewPic_) : std::nullopt;
  if (!tiles) return;
  pvpicW_ = (*tiles)[0];
  pvpicH_ = (*tiles)[1];
  pvpicD_ = (*tiles)[2];
}

bool ZRDownloadVideoInfo::setJsonField(std::string_view name, const ZRValue& value) {
  const auto* const field = zrFindField<ZRDownloadVideoInfo>(name);
  if (field == nullptr) return false;
  if (!value.isAbsent()) field->set(*this, value);  // a null clears nothing: a cover stays that stood in for it
  return true;
}

std::string ZRDownloadVideoInfo::description() const {
  return "playOrder:" + std::to_string(playOrder_);
}
