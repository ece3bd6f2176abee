#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "SCAnswerHead.h"

/// What to ask for when part of a file is there, and what to do with the answer. Pure.
class SCRangeDecision final {
 public:
  enum class Action {
    StoreFromZero,    ///< the body is the whole file
    Append,           ///< the body is the rest of the file
    AlreadyComplete,  ///< the file has every byte; the body is nothing
    StartOver,        ///< ask again, for the whole file
    RefuseStatus,     ///< the status says that there is no file
    RefuseAnswer,     ///< the answer is of no use: a part that nobody asked for, or a coding that nobody allowed
  };

  Action action;
  std::optional<std::int64_t> completeLength;  ///< of the whole file once the body is stored; nothing when not told

  /// Header fields that ask for the bytes from `offset` on; none for 0.
  static std::vector<std::string> requestFields(std::int64_t offset, const std::optional<SCValidator>& validator);

  /// `offset` is what was asked for, `validator` what is known about the bytes before it.
  static SCRangeDecision decide(std::int64_t offset, const std::optional<SCValidator>& validator,
                                const SCAnswerHead& head);
};
