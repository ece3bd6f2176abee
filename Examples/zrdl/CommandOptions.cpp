#include "CommandOptions.h"

#include <cstdint>
#include <string>
#include <type_traits>

#include <CLI/CLI.hpp>

#include "Help.h"
#include "OptionChecks.h"
#include "ZRDownloadKit.h"

namespace zrdl {
namespace {

CLI::App* addCommand(CLI::App& app, Options& options, Command command, const char* name, const char* description) {
  CLI::App* const sub = app.add_subcommand(name, description);
  sub->fallthrough();
  sub->footer(helpFooter(name));
  sub->callback([&options, command] { options.command = command; });
  return sub;
}

/// The command that adds one task of that kind.
CLI::App* addKind(CLI::App& app, Options& options, const char* kind, const char* description) {
  CLI::App* const sub = addCommand(app, options, Command::Add, kind, description);
  sub->parse_complete_callback([&options, kind] { options.task.kind = kind; });
  return sub;
}

/// An argument that becomes the task's parameter `key`.
template <class T>
CLI::Option* addParameter(CLI::App* sub, Options& options, const char* name, const char* key, const char* description) {
  CLI::Option* const option = sub->add_option_function<T>(
      name, [&options, key](const T& value) { options.task.params.set(key, value); }, description);
  if (std::is_same_v<T, std::int64_t>) option->check(numberOf64Bits);
  return option;
}

void addHls(CLI::App& app, Options& options) {
  CLI::App* const hls = addKind(app, options, "hls", "Download one HLS video of the main service");
  addParameter<std::int64_t>(hls, options, "VID", "vid", "Number of the video")->required();
  addParameter<std::int32_t>(hls, options, "--site", "site", "Site code of the video")->type_name("S")->required();
  addParameter<std::int32_t>(hls, options, "--version", "version",
                             "Version code of the video: 2 normal, 1 high,\n21 super, 31 original and others")
      ->type_name("N")
      ->required();
  addParameter<std::int64_t>(hls, options, "--aid", "aid", "Number of the album")->type_name("A");
  addParameter<std::string>(hls, options, "--album-pic", "albumPic", "Address of the album's cover")->type_name("URL");
}

void addMp4(CLI::App& app, Options& options) {
  CLI::App* const mp4 = addKind(app, options, "mp4", "Download one MP4 of the second site");
  addParameter<std::int64_t>(mp4, options, "VID", "vid", "Number of the video")->required();
  addParameter<std::int32_t>(mp4, options, "--version", "version", "Version code of the video")
      ->type_name("N")
      ->required();
  addParameter<std::string>(mp4, options, "--cover", "cover", "Address of the cover picture")->type_name("URL");
}

void addShare(CLI::App& app, Options& options) {
  CLI::App* const share = addKind(app, options, "share", "Download one video that a device nearby shares");
  addParameter<std::string>(share, options, "VID", "vid", "Id of the video")->required();
  addParameter<std::string>(share, options, "--album-id", "albumId", "Id of the album")->type_name("A")->required();
  addParameter<std::string>(share, options, "--name", "videoName", "Name of the video's file")
      ->type_name("NAME")
      ->required();
  addParameter<std::string>(share, options, "--host", "host", "Base address of the device")
      ->type_name("URL")
      ->check(webAddress)
      ->required();
  addParameter<std::string>(share, options, "--album-name", "albumName", "Name of the album")->type_name("T");
  addParameter<std::string>(share, options, "--device-name", "deviceName", "Name of the device")->type_name("T");
  addParameter<std::string>(share, options, "--share-url", "shareUrl", "Where the share service tells the device")
      ->type_name("URL")
      ->check(webAddress);
  addParameter<std::int64_t>(share, options, "--size", "fileSize", "Size of the video")
      ->type_name("BYTES")
      ->check(CLI::NonNegativeNumber);
  addParameter<std::int32_t>(share, options, "--duration", "duration", "Length of the video in seconds")
      ->type_name("S")
      ->check(CLI::NonNegativeNumber);
  share->add_flag_callback(
      "--lan-only", [&options] { options.task.params.set("lanOnly", true); }, "Look for the device at its host alone");
}

void addTaskId(CLI::App* sub, Options& options) {
  sub->add_option_function<std::string>(
         "TASK_ID", [&options](const std::string& id) { options.taskIds = {id}; }, "The task")
      ->required();
}

}  // namespace

void addCommands(CLI::App& app, Options& options) {
  addHls(app, options);
  addMp4(app, options);
  addShare(app, options);
  addCommand(app, options, Command::Batch, "batch", "Add many tasks, one JSON object a line, and run them")
      ->add_option("FILE", options.batchFile,
                   "The lines: {\"kind\":\"mp4\",\"vid\":1,\"version\":2};\n- is standard input")
      ->required();
  addCommand(app, options, Command::Resume, "resume", "Go on with stored unfinished tasks, all without ids")
      ->add_option("TASK_ID", options.taskIds, "Tasks to go on with");
  addCommand(app, options, Command::List, "list", "Show every stored task");
  addCommand(app, options, Command::Rm, "rm", "Remove tasks with their files")
      ->add_option("TASK_ID", options.taskIds, "Tasks to remove")
      ->required();
  addTaskId(addCommand(app, options, Command::Path, "path", "Show the full path of a finished task"), options);
  CLI::App* const exporting = addCommand(app, options, Command::Export, "export", "Copy a finished video to a file");
  addTaskId(exporting, options);
  exporting
      ->add_option_function<std::string>(
          "FILE", [&options](const std::string& path) { options.exportFile = absolutePath(path); },
          "The file, which is replaced if it exists")
      ->required();
  addCommand(app, options, Command::Demo, "demo", "Download from an origin of its own on loopback")
      ->add_option("DIR", options.demoFolder, "Folder that everything goes to")
      ->capture_default_str();
}

}  // namespace zrdl
