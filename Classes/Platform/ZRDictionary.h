#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ZRExport.h"

class ZRValue;

/// Text keys to values, in the order in which the keys were first set. A value type: copies are independent.
///
/// Look-ups scan: the dictionaries of this library hold a handful of keys.
class ZR_EXPORT ZRDictionary {
 public:
  /// What a dictionary is made of.
  ///@{
  using Entry = std::pair<std::string, ZRValue>;
  using Entries = std::vector<Entry>;
  using const_iterator = Entries::const_iterator;
  ///@}

  /// Empty, from entries (of equal keys the last counts), or with another one's.
  ///@{
  ZRDictionary();
  ZRDictionary(std::initializer_list<Entry> entries);
  ZRDictionary(const ZRDictionary& other);
  ZRDictionary(ZRDictionary&& other) noexcept;
  ZRDictionary& operator=(const ZRDictionary& other);
  ZRDictionary& operator=(ZRDictionary&& other) noexcept;
  ///@}
  ~ZRDictionary();

  /// Takes over entries whose keys the caller knows to be distinct.
  static ZRDictionary withDistinctEntries(Entries entries);

  /// The value under `key`; an absent value when there is none. Valid until the dictionary changes.
  const ZRValue& operator[](std::string_view key) const;

  /// Whether there is a value under `key`.
  bool contains(std::string_view key) const;

  /// Sets `key`, in place when it is known; an absent value removes it, like `remove`.
  ///@{
  void set(std::string_view key, ZRValue value);
  void remove(std::string_view key);
  ///@}

  /// The entries, in the order in which their keys were first set.
  ///@{
  std::size_t size() const noexcept;
  bool empty() const noexcept;
  const_iterator begin() const noexcept;
  const_iterator end() const noexcept;
  ///@}

  /// Same keys, same values, same order.
  bool operator==(const ZRDictionary& other) const;

 private:
  Entries entries_;
};
