#include "SCRangeDecision.h"

namespace {

using Action = SCRangeDecision::Action;

SCRangeDecision decidePart(std::int64_t offset, const std::optional<SCValidator>& validator, const SCAnswerHead& head) {
  if (offset == 0) return {Action::RefuseAnswer, {}};
  const std::optional<SCContentRange> range = SCContentRange::parse(head.contentRange);
  const bool answersOffset = range && range->first == offset;
  const bool lengthFits =
      answersOffset && (!head.contentLength || *head.contentLength == *range->last - *range->first + 1);
  const bool isSeveralParts = head.contentType.starts_with("multipart/");
  if (!lengthFits || isSeveralParts || (validator && !validator->agreesWith(head))) return {Action::StartOver, {}};
  return {Action::Append, range->total ? *range->total : *range->last + 1};
}

SCRangeDecision decideNotSatisfiable(std::int64_t offset, const SCAnswerHead& head) {
  if (offset == 0) return {Action::RefuseStatus, {}};
  const std::optional<SCContentRange> range = SCContentRange::parse(head.contentRange);
  if (range && !range->first && range->total == offset) return {Action::AlreadyComplete, offset};
  return {Action::StartOver, {}};
}

}  // namespace

std::vector<std::string> SCRangeDecision::requestFields(std::int64_t offset,
                                                        const std::optional<SCValidator>& validator) {
  if (offset == 0) return {};
  std::vector<std::string> fields{"Range: bytes=" + std::to_string(offset) + "-"};
  if (validator) fields.push_back("If-Range: " + validator->ifRange());
  return fields;
}

SCRangeDecision SCRangeDecision::decide(std::int64_t offset, const std::optional<SCValidator>& validator,
                                        const SCAnswerHead& head) {
  if (head.status == 416) return decideNotSatisfiable(offset, head);
  if (!head.isSuccess()) return {Action::RefuseStatus, {}};
  if (!head.isIdentity()) return {Action::RefuseAnswer, {}};
  if (head.status == 206) return decidePart(offset, validator, head);
  if (head.status == 200) return {Action::StoreFromZero, head.contentLength};
  return {Action::RefuseAnswer, {}};
}
