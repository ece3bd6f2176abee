#pragma once

#include "SCJSONUtil.h"

/// Writes down every call, in order.
class Film final : public SCJSONRecord {
 public:
  std::string description() const override { return calls_; }
  std::span<const NamePair> sc_collideKeysMap() const override {
    static constexpr NamePair kNames[] = {{"video_name", "name"}, {"fee", "notFree"}, {"subs", "parts"}};
    return kNames;
  }
  std::span<const NamePair> sc_collideKeyModelMap() const override {
    static constexpr NamePair kClasses[] = {{"subs", "Film"}, {"others", "Film"}};
    return kClasses;
  }
  bool sc_unDefinedKey(std::string& key, ZRValue& value, const ZRValue& refObj) override {
    calls_ += "undefined " + key + " " + refObj.textValue().value_or("-") + ", ";
    if (key != "size_high") return false;
    key = "size";
    value = ZRValue(value.doubleValue() * 2);
    return true;
  }
  void sc_willFinishConvert(const ZRValue& refObj) override { calls_ += "end " + refObj.textValue().value_or("-"); }
  bool setJsonField(std::string_view name, const ZRValue& value) override {
    if (name != "name" && name != "size") return false;
    calls_ += std::string(name) + "=" + (value.isAbsent() ? "absent" : value.textValue().value_or("?")) + ", ";
    return true;
  }
  bool setJsonModels(std::string_view name, std::vector<std::shared_ptr<SCJSONRecord>> models) override {
    if (name != "parts") return false;
    for (const auto& model : models) calls_ += "(" + model->description() + ") ";
    return true;
  }

 private:
  std::string calls_;
};
