#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>

#include "ZRError.h"
#include "ZRTestExport.h"

/// The sizes of a volume, in bytes. Main loop's thread only.
struct ZR_TEST_EXPORT ZRVolume {
  std::uint64_t total;  ///< of the whole volume
  std::uint64_t free;   ///< what an ordinary user may still fill

  using Measured = std::variant<ZRVolume, ZRError>;

  /// The volume that holds `path`, or why it cannot be measured.
  static Measured at(const std::string& path);

  /// Replaces how volumes are measured, for tests; an empty probe goes back to asking the file system.
  using Probe = std::function<Measured(const std::string& path)>;
  static void setProbe(Probe probe);
};
