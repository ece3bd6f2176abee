#include "ZRKeyedArchive.h"

#include <exception>
#include <utility>

#include <nlohmann/json.hpp>

#include "ZRValueSax.h"

namespace {

using Json = nlohmann::ordered_json;

/// The value as the JSON library writes it; nothing for a kind that no record archives.
std::optional<Json> archivable(const ZRValue& value) {
  switch (value.kind()) {
    case ZRValue::Kind::Null:
      return Json(nullptr);
    case ZRValue::Kind::Boolean:
      return Json(*value.asBoolean());
    case ZRValue::Kind::Signed:
      return Json(*value.asSigned());
    case ZRValue::Kind::Unsigned:
      return Json(*value.asUnsigned());
    case ZRValue::Kind::Double:
      return Json(*value.asDouble());
    case ZRValue::Kind::Text:
      return Json(*value.asText());
    case ZRValue::Kind::Bytes:
      return Json::binary(*value.asBytes());
    case ZRValue::Kind::Absent:
    case ZRValue::Kind::List:
    case ZRValue::Kind::Dictionary:
    case ZRValue::Kind::RequestHandler:
    case ZRValue::Kind::RecordHandler:
      return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::vector<std::uint8_t> ZRKeyedArchive::encode(const ZRDictionary& map) {
  Json json = Json::object();
  for (const auto& [key, value] : map) {
    if (std::optional<Json> item = archivable(value)) json[key] = *std::move(item);
  }
  return Json::to_cbor(json);
}

std::optional<ZRDictionary> ZRKeyedArchive::decode(std::span<const std::uint8_t> bytes) {
  const std::optional<ZRValue> value = ZRValueSax::parseCbor(bytes.data(), bytes.size());
  if (!value || value->asDictionary() == nullptr) return std::nullopt;
  return *value->asDictionary();
}

ZRValue ZRKeyedArchive::narrowed(const ZRValue& value, ZRArchiveWidth width) {
  if (value.isAbsent() || value.isNull()) return value;
  switch (width) {
    case ZRArchiveWidth::Boolean:
      return value.boolValue();
    case ZRArchiveWidth::Int32:
      return value.int32Value();
    case ZRArchiveWidth::Int64:
      return value.int64Value();
    case ZRArchiveWidth::None:
    case ZRArchiveWidth::Object:
      return value;
  }
  return value;
}
