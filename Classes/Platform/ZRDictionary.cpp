#include "ZRDictionary.h"

#include <algorithm>

#include "ZRValue.h"

namespace {

template <class Entries>
auto find(Entries& entries, std::string_view key) {
  return std::find_if(entries.begin(), entries.end(), [key](const auto& entry) { return entry.first == key; });
}

}  // namespace

ZRDictionary::ZRDictionary() = default;
ZRDictionary::ZRDictionary(const ZRDictionary& other) = default;
ZRDictionary::ZRDictionary(ZRDictionary&& other) noexcept = default;
ZRDictionary& ZRDictionary::operator=(const ZRDictionary& other) = default;
ZRDictionary& ZRDictionary::operator=(ZRDictionary&& other) noexcept = default;
ZRDictionary::~ZRDictionary() = default;

ZRDictionary::ZRDictionary(std::initializer_list<Entry> entries) {
  for (const Entry& entry : entries) set(entry.first, entry.second);
}

ZRDictionary ZRDictionary::withDistinctEntries(Entries entries) {
  ZRDictionary dictionary;
  dictionary.entries_ = std::move(entries);
  return dictionary;
}

const ZRValue& ZRDictionary::operator[](std::string_view key) const {
  static const ZRValue absent;
  const auto entry = find(entries_, key);
  return entry == entries_.end() ? absent : entry->second;
}

bool ZRDictionary::contains(std::string_view key) const {
  return find(entries_, key) != entries_.end();
}

void ZRDictionary::set(std::string_view key, ZRValue value) {
  if (value.isAbsent()) return remove(key);
  const auto entry = find(entries_, key);
  if (entry == entries_.end()) {
    entries_.emplace_back(std::string(key), std::move(value));
  } else {
    entry->second = std::move(value);
  }
}

void ZRDictionary::remove(std::string_view key) {
  const auto entry = find(entries_, key);
  if (entry != entries_.end()) entries_.erase(entry);
}

std::size_t ZRDictionary::size() const noexcept {
  return entries_.size();
}

bool ZRDictionary::empty() const noexcept {
  return entries_.empty();
}

ZRDictionary::const_iterator ZRDictionary::begin() const noexcept {
  return entries_.begin();
}

ZRDictionary::const_iterator ZRDictionary::end() const noexcept {
  return entries_.end();
}

bool ZRDictionary::operator==(const ZRDictionary& other) const {
  return entries_ == other.entries_;
}
