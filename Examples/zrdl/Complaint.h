#pragma once

#include <string>

namespace CLI {
class App;
class Error;
}  // namespace CLI

namespace zrdl {

/// What is wrong with a command line, as one line with its line break; in our words where the parser's are hard to
/// understand.
std::string complaint(const CLI::App* app, const CLI::Error& error);

}  // namespace zrdl
