#pragma once

#include <cstdint>
#include <string>

#include <nlohmann/json.hpp>

#include "ZRDownloadKit.h"

namespace site {

/// A JSON text, number, boolean or null as a value of the library; lists and objects are absent.
inline ZRValue scalarValue(const nlohmann::ordered_json& json) {
  if (json.is_string()) return json.get<std::string>();
  if (json.is_boolean()) return json.get<bool>();
  if (json.is_number_unsigned()) return json.get<std::uint64_t>();
  if (json.is_number_integer()) return json.get<std::int64_t>();
  if (json.is_number()) return json.get<double>();
  if (json.is_null()) return ZRValue::null();
  return {};
}

/// The scalars of a JSON object, in its order.
inline ZRDictionary scalarEntries(const nlohmann::ordered_json& object) {
  ZRDictionary entries;
  for (const auto& [key, value] : object.items()) entries.set(key, scalarValue(value));
  return entries;
}

}  // namespace site
