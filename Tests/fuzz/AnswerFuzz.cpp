// An answer's head, and what is made of it when part of the file is there.
// The first line is how many bytes are there, the second what is beside them, its lines with a bar at their ends, the
// rest the head.

#include <algorithm>

#include "Fuzz.h"
#include "SCAnswerHead.h"
#include "SCRangeDecision.h"

void fuzz(std::string_view input) {
  const auto offset = takeNumber<std::uint32_t>(input);
  std::string beside(takeLine(input));
  std::ranges::replace(beside, '|', '\n');
  const SCVersion known = SCVersion::fromFile(beside);
  if (known.isKnown()) expect(known.fileText() == beside, "a version's file is written as it was read");
  SCAnswerHead head;
  bool isWhole = false;
  while (!input.empty() && !isWhole) isWhole = head.addLine(std::string(takeLine(input)) + "\n");
  if (!isWhole) return;
  expect(head.status >= 200, "a whole head is a final answer's");
  const SCRangeDecision decision = SCRangeDecision::decide(offset, known, head);
  const auto range = SCContentRange::parse(head.contentRange);
  using enum SCRangeDecision::Action;
  if (decision.action == Append) {
    expect(head.status == 206 && offset > 0 && range && range->first == offset, "only the rest is appended");
    expect(decision.bodyEnd > offset, "what is appended has bytes");
  }
  if (decision.action == AlreadyComplete) expect(range && range->total == offset, "complete is every byte");
  if (decision.action == StoreFromZero) expect(head.isSuccess() && head.isIdentity(), "a file is stored as it is");
  if (decision.action == Append || decision.action == AlreadyComplete) {
    expect(known.isKnown() && !known.contradicts(SCVersion::of(head, range->total)),
           "only the same version is continued");
  }
}
