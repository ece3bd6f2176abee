#include "ZRShareVideoDetail.h"

namespace {

template <class Record>
bool assignField(Record& record, std::string_view name, const ZRValue& value) {
  const auto* const field = zrFindField<Record>(name);
  if (field != nullptr) field->set(record, value);
  return field != nullptr;
}

}  // namespace

std::span<const ZRField<ZRShareSubtitle>> ZRShareSubtitle::fields() {
  using Self = ZRShareSubtitle;
  static constexpr ZRField<Self> kFields[] = {
      zrField<Self, &Self::name_>("name"),
      zrField<Self, &Self::url_>("url"),
      zrField<Self, &Self::subId_>("subId"),
      zrField<Self, &Self::isDefault_>("isDefault"),
  };
  return kFields;
}

bool ZRShareSubtitle::setJsonField(std::string_view name, const ZRValue& value) {
  return assignField(*this, name, value);
}

std::string ZRShareSubtitle::description() const {
  return "subtitle:" + name_.value_or("");
}

void ZRShareVideoDetail::registerModels() {
  SCJSONUtil::registerModel("ZRShareVideoDetail", [] { return std::make_shared<ZRShareVideoDetail>(); });
  SCJSONUtil::registerModel("ZRShareSubtitle", [] { return std::make_shared<ZRShareSubtitle>(); });
}

std::span<const ZRField<ZRShareVideoDetail>> ZRShareVideoDetail::fields() {
  using Self = ZRShareVideoDetail;
  static constexpr ZRField<Self> kFields[] = {
      zrField<Self, &Self::url_>("url"),
      zrField<Self, &Self::uuid_>("uuid"),
      zrField<Self, &Self::pathMd5_>("pathMd5"),
  };
  return kFields;
}

std::span<const SCJSONRecord::NamePair> ZRShareVideoDetail::sc_collideKeyModelMap() const {
  static constexpr NamePair kModels[] = {{"subtitles", "ZRShareSubtitle"}};
  return kModels;
}

bool ZRShareVideoDetail::setJsonField(std::string_view name, const ZRValue& value) {
  return assignField(*this, name, value);
}

bool ZRShareVideoDetail::setJsonModels(std::string_view name, std::vector<std::shared_ptr<SCJSONRecord>> models) {
  if (name != "subtitles") return false;
  subtitles_.clear();
  for (const auto& model : models) {
    if (auto subtitle = std::dynamic_pointer_cast<ZRShareSubtitle>(model)) subtitles_.push_back(std::move(subtitle));
  }
  return true;
}

std::string ZRShareVideoDetail::description() const {
  return "subtitles:" + std::to_string(subtitles_.size());
}
