#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "SCAnswerHead.h"

/// What an origin tells about the version of a file: enough to know whether bytes of two answers belong together. A
/// value that tells nothing stands for an unknown version. Pure.
struct SCVersion {
  std::string etag;                    ///< as it was sent, strong or weak; empty when there was none
  std::string lastModified;            ///< an HTTP date; empty when there was none
  bool hasStrongDate = false;          ///< `lastModified` was a second old at least when the answer was made
  std::optional<std::int64_t> length;  ///< of the whole file; nothing when it was not told

  /// What an answer tells of a file of that length.
  static SCVersion of(const SCAnswerHead& head, std::optional<std::int64_t> length);

  /// What stands in a `.NAME.resume` file; a damaged text gives an unknown version.
  static SCVersion fromFile(std::string_view text);
  std::string fileText() const;

  bool isKnown() const noexcept { return hasName() || length; }

  /// The value of an If-Range field: a strong entity tag, or a strong date where there is no tag at all (RFC 9110,
  /// sections 8.8.2.2 and 13.1.5); empty when there is neither.
  std::string ifRange() const;

  /// True when both tell a tag, a date or a length and it differs.
  bool contradicts(const SCVersion& other) const;

  /// Whether a part of `answered`, asked for under `ifRange`, goes on where bytes of this version end. Where no
  /// condition was sent the answer must tell by itself that it is the same version.
  bool isContinuedBy(const SCVersion& answered) const;

  /// Whether `answered`, which has no byte after the `size` bytes of this version, says that these are all.
  bool isCompletedBy(const SCVersion& answered, std::int64_t size) const;

  /// This one with what only `other` tells.
  SCVersion with(const SCVersion& other) const;

  friend bool operator==(const SCVersion&, const SCVersion&) = default;

 private:
  bool hasName() const noexcept { return !etag.empty() || !lastModified.empty(); }
  bool hasNameOf(const SCVersion& other) const { return etag == other.etag && lastModified == other.lastModified; }
};
