#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "SCAnswerHead.h"
#include "SCVersion.h"

/// What to ask for when part of a file is there, and what to do with the answer. Pure.
class SCRangeDecision final {
 public:
  enum class Action {
    StoreFromZero,    ///< the body is the file from its first byte on
    Append,           ///< the body goes on where the bytes that are there end
    AlreadyComplete,  ///< the file has every byte; the body is nothing
    StartOver,        ///< ask again, for the whole file
    RefuseStatus,     ///< the status says that there is no file
    RefuseAnswer,     ///< the answer is of no use: a part that nobody asked for, a coding that nobody allowed
  };

  Action action;
  SCVersion version{};                    ///< of the bytes once this body is stored
  std::optional<std::int64_t> bodyEnd{};  ///< the file's length then; nothing when it is not told

  /// Header fields that ask for the bytes from `offset` on; none for 0.
  static std::vector<std::string> requestFields(std::int64_t offset, const SCVersion& known);

  /// `offset` is what was asked for, `known` what is known about the bytes before it.
  static SCRangeDecision decide(std::int64_t offset, const SCVersion& known, const SCAnswerHead& head);
};
