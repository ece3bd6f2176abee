#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "ZRDictionary.h"
#include "ZRField.h"
#include "ZRObject.h"
#include "ZRValue.h"

/// A record that `SCJSONUtil` can fill from a JSON object. Hooks that a record does not need keep these versions.
///
/// The hooks run on the agent's thread and touch nothing but the record, which no one else holds yet.
class SCJSONRecord : public ZRObject {
 public:
  using NamePair = std::pair<std::string_view, std::string_view>;

  /// JSON key → field name, for keys that are spelled otherwise than the field.
  virtual std::span<const NamePair> sc_collideKeysMap() const { return {}; }

  /// JSON key → registered name of the record class of the objects in the list under that key.
  virtual std::span<const NamePair> sc_collideKeyModelMap() const { return {}; }

  /// A JSON key that names no field. May change both; true assigns the value to the field now named by `key`.
  virtual bool sc_unDefinedKey(std::string& key, ZRValue& value, const ZRValue& refObj);

  /// All keys are done.
  virtual void sc_willFinishConvert(const ZRValue& refObj);

  /// Assigns a field by its name; false when the record has no such field.
  virtual bool setJsonField(std::string_view name, const ZRValue& value) = 0;

  /// Takes the records made for a key of `sc_collideKeyModelMap`; false when the record has no such list.
  virtual bool setJsonModels(std::string_view name, std::vector<std::shared_ptr<SCJSONRecord>> models);
};

/// The JSON-to-record mapper.
///
/// Keys are visited in document order. A key is first renamed by `sc_collideKeysMap`; if it then names a field, the
/// value is assigned, with the coercions of `ZRValue` (a number given as text, a text given as a number); a JSON null
/// reads as absent. Every other key, renamed or not, goes to `sc_unDefinedKey`. After the last key
/// `sc_willFinishConvert` is called.
class SCJSONUtil {
 public:
  using Factory = std::function<std::shared_ptr<SCJSONRecord>()>;

  /// Makes a record class known by name; a second registration of a name replaces the first. Any thread.
  static void registerModel(std::string name, Factory factory);

  /// A new record filled from `json`; null when the name is not registered.
  static std::shared_ptr<SCJSONRecord> makeModel(std::string_view name, const ZRDictionary& json,
                                                 const ZRValue& refObj);

  static void fill(SCJSONRecord& record, const ZRDictionary& json, const ZRValue& refObj);
};
