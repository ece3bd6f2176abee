#include "SCRangeDecision.h"

#include "SCFieldText.h"

namespace {

using Action = SCRangeDecision::Action;

SCRangeDecision decidePart(std::int64_t offset, const SCVersion& known, const SCAnswerHead& head) {
  if (offset == 0) return {Action::RefuseAnswer};
  const std::optional<SCContentRange> range = SCContentRange::parse(head.contentRange);
  if (!range || range->first != offset) return {Action::StartOver};
  const SCVersion answered = SCVersion::of(head, range->total);
  const std::int64_t end = *range->last + 1;
  const bool lengthFits =
      head.contentLength.value_or(end - offset) == end - offset && end <= known.length.value_or(end);
  const bool isSeveralParts = SCFieldText::beginsWithWord(head.contentType, "multipart/");
  if (!lengthFits || isSeveralParts || !known.isContinuedBy(answered)) return {Action::StartOver};
  return {Action::Append, known.with(answered), end};
}

SCRangeDecision decideNotSatisfiable(std::int64_t offset, const SCVersion& known, const SCAnswerHead& head) {
  if (offset == 0) return {Action::RefuseStatus};
  const std::optional<SCContentRange> range = SCContentRange::parse(head.contentRange);
  if (!range || range->first) return {Action::StartOver};
  const SCVersion answered = SCVersion::of(head, range->total);
  if (!known.isCompletedBy(answered, offset)) return {Action::StartOver};
  return {Action::AlreadyComplete, known.with(answered), offset};
}

}  // namespace

std::vector<std::string> SCRangeDecision::requestFields(std::int64_t offset, const SCVersion& known) {
  if (offset == 0) return {};
  std::vector<std::string> fields{"Range: bytes=" + std::to_string(offset) + "-"};
  const std::string condition = known.ifRange();
  if (!condition.empty()) fields.push_back("If-Range: " + condition);
  return fields;
}

SCRangeDecision SCRangeDecision::decide(std::int64_t offset, const SCVersion& known, const SCAnswerHead& head) {
  if (head.status == 416) return decideNotSatisfiable(offset, known, head);
  if (!head.isSuccess()) return {Action::RefuseStatus};
  if (!head.isIdentity()) return {Action::RefuseAnswer};
  if (head.status == 206) return decidePart(offset, known, head);
  if (head.status != 200) return {Action::RefuseAnswer};
  return {Action::StoreFromZero, SCVersion::of(head, head.contentLength), head.contentLength};
}
