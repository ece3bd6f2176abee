#include "Options.h"

#include <filesystem>

#include <CLI/CLI.hpp>

#include "DisplayText.h"
#include "ZRDownloadKit.h"

namespace zrdl {
namespace {

constexpr int kLongestGiveUp = 1'000'000;

/// Refuses a text that would name more or less than one folder.
std::string oneComponent(const std::string& text) {
  const bool usable = !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
  return usable ? "" : "\"" + text + "\" is not the name of one folder";
}

std::string absolutePath(const std::string& path) {
  return std::filesystem::absolute(path).lexically_normal().string();
}

std::string oneLine(const CLI::App* app, const CLI::Error& error) {
  const std::vector<std::string> unknown = app->remaining();
  const std::vector<CLI::App*> commands = app->get_subcommands();
  const std::string name = commands.empty() ? "zrdl" : "zrdl " + commands.front()->get_name();
  const std::string what = commands.empty() && !unknown.empty() ? "unknown command " + unknown.front() : error.what();
  return "zrdl: " + printable(what) + " (" + name + " --help tells more)\n";
}

void addGlobalOptions(CLI::App& app, Options& options) {
  app.add_option("--support", options.support, "Folder of private files: database, HLS and MP4 downloads")
      ->type_name("DIR");
  app.add_option("--movies", options.movies, "Folder of files the user sees")->type_name("DIR");
  app.add_option("--bundle-id", options.bundleId, "Name of the application's folder below the support folder")
      ->type_name("ID")
      ->check(oneComponent)
      ->capture_default_str();
  app.add_option("--app-version", options.appVersion, "Version that zrdl presents itself with")
      ->type_name("V")
      ->capture_default_str();
  app.add_option("--max", options.max, "Tasks that run at once")->type_name("N")->check(CLI::Range(0, 255));
  app.add_option("--mp4-info", options.mp4Info,
                 "JSON file: \"VID-VERSION\" to {\"title\",\"url\",\"cover\",\"duration\",\"fileSize\"}")
      ->type_name("FILE");
  app.add_option_function<int>(
         "--give-up", [&options](int seconds) { options.giveUp = std::chrono::seconds(seconds); },
         "A task that runs that long without a byte or a change counts as stalled [120]")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, kLongestGiveUp));
  app.add_flag("--json", options.json, "Print one JSON object a line");
}

CLI::App* addCommand(CLI::App& app, Options& options, Command command, const char* name, const char* description) {
  CLI::App* const sub = app.add_subcommand(name, description);
  sub->fallthrough();
  sub->callback([&options, command] { options.command = command; });
  return sub;
}

void addCommands(CLI::App& app, Options& options) {
  CLI::App* const mp4 = addCommand(app, options, Command::Mp4, "mp4", "Download one MP4 of the second site");
  mp4->add_option("VID", options.vid, "Number of the video")->required();
  mp4->add_option("--version", options.version, "Version code of the video")->type_name("N")->required();
  mp4->add_option("--cover", options.cover, "Address of the cover picture")->type_name("URL");

  addCommand(app, options, Command::Batch, "batch", "Add many tasks, one JSON object a line, and run them")
      ->add_option("FILE", options.batchFile,
                   "The lines: {\"kind\":\"mp4\",\"vid\":1,\"version\":2}; - is standard input")
      ->required();
  addCommand(app, options, Command::Resume, "resume", "Go on with stored unfinished tasks, all without ids")
      ->add_option("TASK_ID", options.taskIds, "Tasks to go on with");
  addCommand(app, options, Command::List, "list", "Show every stored task");
  addCommand(app, options, Command::Rm, "rm", "Remove tasks with their files")
      ->add_option("TASK_ID", options.taskIds, "Tasks to remove")
      ->required();
  addCommand(app, options, Command::Path, "path", "Show the full path of a finished task")
      ->add_option("TASK_ID", options.taskIds, "The task")
      ->expected(1)
      ->required();
  addCommand(app, options, Command::Demo, "demo", "Download from an origin of its own on loopback")
      ->add_option("DIR", options.demoFolder, "Folder that everything goes to")
      ->capture_default_str();
}

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
  app.failure_message(oneLine);
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
