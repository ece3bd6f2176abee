#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Names of the helpers that a download keeps beside its file, for every name that a file may have. Pure.
class SCSideName final {
 public:
  /// What every helper of the file NAME begins with, a dot follows: `.NAME`; where a helper's name would become longer
  /// than file systems allow, a hash takes NAME's place.
  static std::string stem(std::string_view name) {
    const bool fits = name.size() <= kLongestName - kLongestAddition;
    return std::string(1, '.').append(fits ? std::string(name) : hashOf(name));
  }

  /// The file while it arrives, if it does not grow in place.
  static std::string part(std::string_view name) { return stem(name) + ".part"; }

  /// The version of the bytes of a file that grows in place.
  static std::string version(std::string_view name) { return stem(name) + ".resume"; }

  /// The same while it is written.
  static std::string versionDraft(std::string_view name) { return version(name) + "~"; }

  static constexpr std::size_t kLongestName = 255;  ///< of a file, in bytes

 private:
  static constexpr std::size_t kLongestAddition = std::string_view("..resume~").size();

  /// FNV-1a, in hexadecimal digits: the same in every process.
  static std::string hashOf(std::string_view name) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    std::string digits;
    for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789abcdef"[hash >> shift & 0xF];
    return digits;
  }
};
