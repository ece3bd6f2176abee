#include "SCJSONUtil.h"

#include <map>
#include <mutex>
#include <optional>

namespace {

/// The record classes by name. Any thread.
class Registry final {
 public:
  static Registry& shared() {
    static Registry registry;
    return registry;
  }

  void set(std::string name, SCJSONUtil::Factory factory) {
    const std::lock_guard lock(mutex_);
    factories_.insert_or_assign(std::move(name), std::move(factory));
  }

  SCJSONUtil::Factory find(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    const auto found = factories_.find(name);
    return found == factories_.end() ? nullptr : found->second;
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, SCJSONUtil::Factory, std::less<>> factories_;
};

std::optional<std::string_view> valueIn(std::span<const SCJSONRecord::NamePair> pairs, std::string_view key) {
  for (const auto& [name, value] : pairs) {
    if (name == key) return value;
  }
  return std::nullopt;
}

using Models = std::vector<std::shared_ptr<SCJSONRecord>>;

/// One record for each object of the list; what is no object makes none.
Models makeModels(std::string_view className, const ZRValue::List& list, const ZRValue& refObj) {
  Models models;
  for (const ZRValue& item : list) {
    const ZRDictionary* const object = item.asDictionary();
    if (object == nullptr) continue;
    if (auto model = SCJSONUtil::makeModel(className, *object, refObj)) models.push_back(std::move(model));
  }
  return models;
}

/// True when the key names a field, or a list of records, and was dealt with.
bool assign(SCJSONRecord& record, std::string_view key, const std::string& name, const ZRValue& value,
            const ZRValue& refObj) {
  const auto className = valueIn(record.sc_collideKeyModelMap(), key);
  const ZRValue::List* const list = value.asList();
  if (className && list != nullptr) return record.setJsonModels(name, makeModels(*className, *list, refObj));
  return record.setJsonField(name, value);
}

}  // namespace

bool SCJSONRecord::sc_unDefinedKey(std::string&, ZRValue&, const ZRValue&) {
  return false;
}

void SCJSONRecord::sc_willFinishConvert(const ZRValue&) {}

// NOLINTNEXTLINE(performance-unnecessary-value-param): those who take the records keep them
bool SCJSONRecord::setJsonModels(std::string_view, std::vector<std::shared_ptr<SCJSONRecord>>) {
  return false;
}

void SCJSONUtil::registerModel(std::string name, Factory factory) {
  Registry::shared().set(std::move(name), std::move(factory));
}

std::shared_ptr<SCJSONRecord> SCJSONUtil::makeModel(std::string_view name, const ZRDictionary& json,
                                                    const ZRValue& refObj) {
  const Factory factory = Registry::shared().find(name);
  std::shared_ptr<SCJSONRecord> record = factory ? factory() : nullptr;
  if (record) fill(*record, json, refObj);
  return record;
}

void SCJSONUtil::fill(SCJSONRecord& record, const ZRDictionary& json, const ZRValue& refObj) {
  for (const auto& [key, value] : json) {
    std::string name(valueIn(record.sc_collideKeysMap(), key).value_or(key));
    ZRValue given = value.isNull() ? ZRValue() : value;
    if (assign(record, key, name, given, refObj)) continue;
    if (record.sc_unDefinedKey(name, given, refObj)) (void)record.setJsonField(name, given);
  }
  record.sc_willFinishConvert(refObj);
}
