#pragma once

#include <stdexcept>

namespace site {

/// A setting of the user's, or a file named in one, that cannot be used; `what()` is one line for the user.
class UsageError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace site
