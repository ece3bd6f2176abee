#pragma once

#include <cstdint>
#include <string>

namespace zrdl {

// Checks of texts on the command line, as its parser wants them: what is wrong with the text, nothing when it is right.

/// The name of one folder.
std::string oneComponent(const std::string& text);

/// An http or https address.
std::string webAddress(const std::string& text);

/// An http or socks5h address.
std::string proxyAddress(const std::string& text);

/// NAME=VALUE; the value may be empty.
std::string nameAndValue(const std::string& text);

/// A number of 64 bits, in place of which the parser itself would take the nearest one.
std::string numberOf64Bits(const std::string& text);

/// A number of bytes with the suffixes that curl knows: k, M, G and their like in the other case, times 1024 each.
std::string byteCountText(const std::string& text);

/// The number that such a text means.
std::int64_t byteCount(const std::string& text);

/// The path with this process's folder before it.
std::string absolutePath(const std::string& path);

}  // namespace zrdl
