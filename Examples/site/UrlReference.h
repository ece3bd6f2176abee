#pragma once

#include <string>
#include <string_view>

namespace site {

/// The address that `reference`, which is neither empty nor a fragment alone, means inside a document at `base`, an
/// absolute address (RFC 3986, section 5.2). A reference that is absolute itself needs no base. Empty when that is no
/// address.
std::string resolvedUrl(std::string_view base, std::string_view reference);

/// Whether the address is http or https and names a host.
bool isWebAddress(std::string_view address);

}  // namespace site
