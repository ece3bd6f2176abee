#include "Options.h"

#include <CLI/CLI.hpp>

#include "CommandOptions.h"
#include "Complaint.h"
#include "ExitStatus.h"
#include "GlobalOptions.h"
#include "Help.h"
#include "OptionChecks.h"
#include "ZRDownloadKit.h"

namespace zrdl {
namespace {

Options defaultOptions() {
  const ZRHostInfo host = ZRHostInfo::defaults();
  Options options;
  options.support = host.applicationSupportFolder;
  options.movies = host.moviesFolder;
  options.bundleId = "com.velmor.zrdl";
  options.appVersion = ZRDownloadKitVersionString;
  options.demoFolder = "zrdl-demo";
  return options;
}

}  // namespace

std::variant<Options, int> parseOptions(int argc, char** argv) {
  Options options = defaultOptions();
  CLI::App app("Downloads videos for offline viewing, from the command line.", "zrdl");
  app.require_subcommand(1);
  app.failure_message(complaint);
  app.footer(helpFooter());
  app.set_version_flag("-V,--version", "zrdl " + std::string(ZRDownloadKitVersionString), "Print the version and exit");
  addGlobalOptions(app, options);
  addCommands(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitAllFinished : kExitUsage;
  }
  options.support = absolutePath(options.support);
  options.movies = absolutePath(options.movies);
  options.demoFolder = absolutePath(options.demoFolder);
  return options;
}

}  // namespace zrdl
