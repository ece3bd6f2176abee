#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ZRBase64.h"
#include "ZRKeyedArchive.h"
#include "ZRValue.h"

/// A record as a text column holds it: its keyed archive, in Base64 lines of 64 characters; empty without a record.
template <class Record>
std::string zrArchivedText(const Record* record) {
  return record != nullptr ? ZRBase64::encodeInLines(ZRKeyedArchive::archive(*record)) : std::string();
}

/// The record in such a column; null when there is none that can be read.
template <class Record>
std::shared_ptr<Record> zrUnarchivedRecord(const ZRValue& text) {
  const std::vector<std::uint8_t> archive = ZRBase64::decode(text.textValue().value_or(""));
  return archive.empty() ? nullptr : ZRKeyedArchive::unarchive<Record>(archive);
}
