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
  std::string date;  ///< when the answer was made
  std::string location;

  /// `status`, or 0 for an interim answer.
  int finalStatus() const noexcept { return status >= 200 ? status : 0; }

  bool isSuccess() const noexcept { return status >= 200 && status < 300; }
  bool isRedirect() const noexcept;

  /// False when it tells more than one length, or one that is none (RFC 9112, section 6.3).
  bool isSound() const noexcept { return chunked_ || !lengthsDiffer_; }

  /// True when the body is the resource itself, not a coding of it.
  bool isIdentity() const noexcept;

 private:
  void addField(std::string_view name, std::string_view value);
  void addLengths(std::string_view list);

  bool chunked_ = false;
  bool lengthsDiffer_ = false;
};

/// `bytes FIRST-LAST/TOTAL` of a 206, or `bytes */TOTAL` of a 416 (RFC 9110, section 14.4).
struct SCContentRange {
  std::optional<std::int64_t> first;  ///< nothing in a 416
  std::optional<std::int64_t> last;
  std::optional<std::int64_t> total;  ///< nothing for "*"

  /// Nothing unless the text is exactly one sound range.
  static std::optional<SCContentRange> parse(std::string_view text);
};
