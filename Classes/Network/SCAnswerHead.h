#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What the head of an HTTP answer says, read line by line. Pure.
class SCAnswerHead final {
 public:
  /// One line as it arrived. True when it ends the head of a final answer; an interim one (1xx) is forgotten.
  bool addLine(std::string_view line);

  /// 0 before a status line.
  int status = 0;
  std::optional<std::int64_t> contentLength;  ///< of this body; nothing when it is chunked or not told
  std::string contentRange;
  std::string contentType;
  std::string contentEncoding;
  std::string etag;
  std::string lastModified;
  std::string location;

  bool isSuccess() const noexcept { return status >= 200 && status < 300; }
  bool isRedirect() const noexcept;

  /// True when the body is the resource itself, not a coding of it.
  bool isIdentity() const noexcept;

 private:
  void addField(std::string_view name, std::string_view value);

  bool chunked_ = false;
};

/// `bytes FIRST-LAST/TOTAL` of a 206, or `bytes */TOTAL` of a 416 (RFC 9110, section 14.4).
struct SCContentRange {
  std::optional<std::int64_t> first;  ///< nothing in a 416
  std::optional<std::int64_t> last;
  std::optional<std::int64_t> total;  ///< nothing for "*"

  /// Nothing unless the text is exactly one sound range.
  static std::optional<SCContentRange> parse(std::string_view text);
};

/// What names one version of a file on its server: a strong entity tag, else a modification date.
struct SCValidator {
  std::string etag;
  std::string lastModified;  ///< only without an entity tag

  /// The strongest one that the answer gives. A weak entity tag does not count.
  static std::optional<SCValidator> fromAnswer(const SCAnswerHead& head);

  /// What stands in a `.NAME.resume` file; a damaged text gives nothing.
  static std::optional<SCValidator> fromFile(std::string_view text);
  std::string fileText() const;

  /// The value of an If-Range field (RFC 9110, section 13.1.5).
  const std::string& ifRange() const noexcept { return etag.empty() ? lastModified : etag; }

  /// False when the answer says that it is another version.
  bool agreesWith(const SCAnswerHead& head) const;

  friend bool operator==(const SCValidator&, const SCValidator&) = default;
};
