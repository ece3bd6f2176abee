#include "Complaint.h"

#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "DisplayText.h"

namespace zrdl {
namespace {

std::string reasonOf(const CLI::App& app, const CLI::Error& error) {
  const std::string what = error.what();
  const bool hasCommand = !app.get_subcommands().empty();
  const std::vector<std::string> unknown = app.remaining(true);
  if (!unknown.empty() && (!hasCommand || dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)) {
    if (unknown.front().starts_with('-')) return "unknown option " + unknown.front();
    return (hasCommand ? "unexpected argument " : "unknown command ") + unknown.front();
  }
  if (!hasCommand && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return "a command is missing";
  const bool isValueMissing = what.find(" required ") != std::string::npos && what.ends_with(" missing");
  if (isValueMissing && dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return what.substr(0, what.find(':')) + " needs a value";
  }
  constexpr std::string_view kNotConverted = "Could not convert: ";
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr && what.starts_with(kNotConverted)) {
    return what.substr(kNotConverted.size()) + " is not a number in range";
  }
  return what;
}

}  // namespace

std::string complaint(const CLI::App* app, const CLI::Error& error) {
  const std::vector<CLI::App*> commands = app->get_subcommands();
  const std::string name = commands.empty() ? "zrdl" : "zrdl " + commands.front()->get_name();
  return "zrdl: " + printable(reasonOf(*app, error)) + " (" + name + " --help tells more)\n";
}

}  // namespace zrdl
