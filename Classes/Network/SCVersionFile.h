#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "SCVersion.h"
#include "ZRError.h"
#include "ZRFileDescriptor.h"

/// `.NAME.resume`, the file beside a partial one that tells which version its bytes are of. Whatever else stands at its
/// name, or at the name under which it is written, is no version, and is not followed or written to.
class SCVersionFile final {
 public:
  /// `folder` outlives this.
  SCVersionFile(const ZRFileDescriptor& folder, std::string_view name);

  /// An unknown version when there is no readable one; nothing, with the reason in `errno`, when the process has no
  /// descriptor left to look.
  std::optional<SCVersion> read() const;

  /// Writes it aside and renames it. A failure leaves what was there before, which costs at most a resume.
  void replace(const SCVersion& version) const;

  /// Removes it, for good: a power cut does not bring it back.
  [[nodiscard]] std::optional<ZRError> remove() const;

 private:
  bool writeDraft(std::string_view text) const;

  const ZRFileDescriptor& folder_;
  const std::string name_;
  const std::string draftName_;
};
