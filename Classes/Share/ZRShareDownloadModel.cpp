#include "ZRShareDownloadModel.h"

std::shared_ptr<ZRShareDownloadModel> ZRShareDownloadModel::modelWithParams(const ZRDictionary& params) {
  auto model = std::make_shared<ZRShareDownloadModel>();
  for (const auto& field : fields()) field.set(*model, params[field.name]);
  return model;
}

std::optional<ZRDictionary> ZRShareDownloadModel::toDic() const {
  if (!vid_ || !albumId_ || !host_ || !albumName_) return std::nullopt;
  ZRDictionary dic;
  dic.set("title", ZRValue::orAbsent(videoName_));  // an absent text sets nothing
  dic.set("duration", duration_);
  dic.set("vid", *vid_);
  dic.set("albumId", *albumId_);
  dic.set("host", *host_);
  dic.set("albumName", *albumName_);
  dic.set("fileSize", fileSize_);
  dic.set("site", site());
  dic.set("lanOnly", lanOnly_);
  dic.set("deviceName", ZRValue::orAbsent(deviceName_));
  dic.set("shareUrl", ZRValue::orAbsent(shareUrl_));
  return dic;
}

std::span<const ZRField<ZRShareDownloadModel>> ZRShareDownloadModel::fields() {
  using Self = ZRShareDownloadModel;
  using enum ZRArchiveWidth;
  constexpr auto kNoColumn = ZRColumnType::None;
  static constexpr ZRField<Self> kFields[] = {
      zrField<Self, &Self::duration_>("duration", kNoColumn, Int32),
      zrField<Self, &Self::fileSize_>("fileSize", kNoColumn, Int64),
      zrField<Self, &Self::vid_>("vid", kNoColumn, Object),
      zrField<Self, &Self::albumId_>("albumId", kNoColumn, Object),
      zrField<Self, &Self::albumName_>("albumName", kNoColumn, Object),
      zrField<Self, &Self::deviceName_>("deviceName", kNoColumn, Object),
      zrField<Self, &Self::videoName_>("videoName", kNoColumn, Object),
      zrField<Self, &Self::shareUrl_>("shareUrl", kNoColumn, Object),
      zrField<Self, &Self::host_>("host", kNoColumn, Object),
      zrField<Self, &Self::lanOnly_>("lanOnly", kNoColumn, Boolean),
  };
  return kFields;
}

void ZRShareDownloadModel::setValueForKey(const ZRValue& value, std::string_view name) {
  const auto* const field = zrFindField<ZRShareDownloadModel>(name);
  if (field != nullptr) field->set(*this, value);
}

std::string ZRShareDownloadModel::description() const {
  return "share:" + albumId_.value_or("") + "/" + vid_.value_or("");
}
