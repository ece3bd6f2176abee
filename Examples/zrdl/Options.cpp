#include "Options.h"

#include <charconv>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <type_traits>

#include <CLI/CLI.hpp>

#include "DisplayText.h"
#include "Help.h"
#include "UrlReference.h"
#include "ZRDownloadKit.h"

namespace zrdl {
namespace {

constexpr int kLongestGiveUp = 1'000'000;

/// Refuses a text that would name more or less than one folder.
std::string oneComponent(const std::string& text) {
  const bool usable = !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
  return usable ? "" : "\"" + text + "\" is not the name of one folder";
}

std::string webAddress(const std::string& text) {
  return isWebAddress(text) ? "" : "\"" + text + "\" is not an http or https address";
}

std::string nameAndValue(const std::string& text) {
  return text.find('=') != std::string::npos && text.front() != '=' ? "" : "\"" + text + "\" is not NAME=VALUE";
}

/// The parser itself would take the nearest number that fits.
std::string numberOf64Bits(const std::string& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? "" : text + " is not a number in range";
}

std::string proxyAddress(const std::string& text) {
  const bool isProxy = isWebAddress(text) || text.starts_with("socks5h://");
  return isProxy ? "" : "\"" + text + "\" is not an http or socks5h address";
}

/// A number of bytes with the suffixes that curl knows: k, M, G and their like in the other case, times 1024 each.
std::optional<std::int64_t> byteCount(const std::string& text) {
  constexpr std::string_view kSuffixes = "bkmgBKMG";
  std::int64_t number = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, number);
  const std::size_t suffix = end == textEnd ? 0 : kSuffixes.find(*end);
  const bool isSound = error == std::errc() && textEnd - end <= 1 && suffix != std::string_view::npos && number >= 0;
  const auto shift = suffix % 4 * 10;
  if (!isSound || number > std::numeric_limits<std::int64_t>::max() >> shift) return std::nullopt;
  return number << shift;
}

std::string byteCountText(const std::string& text) {
  return byteCount(text) ? "" : "\"" + text + "\" is not a number of bytes such as 500k or 2M";
}

std::string absolutePath(const std::string& path) {
  return std::filesystem::absolute(path).lexically_normal().string();
}

/// What is wrong with the line, in our words where the parser's are hard to understand.
std::string complaint(const CLI::App& app, const CLI::Error& error) {
  const std::string what = error.what();
  if (app.get_subcommands().empty()) {
    const std::vector<std::string> unknown = app.remaining();
    const bool isOption = !unknown.empty() && unknown.front().starts_with('-');
    if (!unknown.empty()) return (isOption ? "unknown option " : "unknown command ") + unknown.front();
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return "a command is missing";
  }
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

std::string oneLine(const CLI::App* app, const CLI::Error& error) {
  const std::vector<CLI::App*> commands = app->get_subcommands();
  const std::string name = commands.empty() ? "zrdl" : "zrdl " + commands.front()->get_name();
  return "zrdl: " + printable(complaint(*app, error)) + " (" + name + " --help tells more)\n";
}

void addHlsOptions(CLI::App& app, Options& options) {
  app.add_option("--info-base", options.infoBase, "Base address of the video-information service")
      ->type_name("URL")
      ->check(webAddress);
  app.add_option("--mkey", options.mkey, "Playback key of HLS videos")->type_name("KEY");
  app.add_option("--cookie", options.cookie, "Cookie that goes with the playback key")->type_name("TEXT");
  app.add_option_function<std::vector<std::string>>(
         "--cdn",
         [&options](const std::vector<std::string>& parameters) {
           for (const std::string& text : parameters) {
             const std::size_t sign = text.find('=');
             options.cdn.emplace_back(text.substr(0, sign), text.substr(sign + 1));
           }
         },
         "Further query parameter of a playlist's request; may be repeated")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false)
      ->check(nameAndValue);
  app.add_option("--decrypt", options.decrypt,
                 "Run as CMD CONTENT_PATH LOCAL_PATH for each playlist; prints the segment addresses, one a line. "
                 "Without it a playlist that is not encrypted is made local")
      ->type_name("CMD");
  app.add_option("--segment-base", options.segmentBase,
                 "Address that relative segment addresses belong to, in place of the playlist's own")
      ->type_name("URL")
      ->check(webAddress);
}

void addNetworkOptions(CLI::App& app, Options& options) {
  app.add_option("--proxy", options.proxy, "Proxy of every request: http://HOST:PORT or socks5h://HOST:PORT")
      ->type_name("URL")
      ->check(proxyAddress);
  app.add_option_function<std::string>(
         "--ca-file", [&options](const std::string& path) { options.caFile = absolutePath(path); },
         "Certificate authorities to trust, in place of the system's (PEM)")
      ->type_name("FILE")
      ->check(CLI::ExistingFile);
  app.add_option("--user-agent", options.userAgent, "User-Agent field of every request")->type_name("TEXT");
  app.add_option_function<std::string>(
         "--limit-rate", [&options](const std::string& text) { options.limitRate = *byteCount(text); },
         "Bytes that all downloads together receive in a second, also with the suffix k, M or G; 0 is no limit")
      ->type_name("RATE")
      ->check(byteCountText);
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
  app.add_option("--max", options.max, "Tasks that run at once")->type_name("N")->check(CLI::Range(1, 255));
  addHlsOptions(app, options);
  app.add_option("--mp4-info", options.mp4Info,
                 "JSON file: \"VID-VERSION\" to {\"title\",\"url\",\"cover\",\"duration\",\"fileSize\"}")
      ->type_name("FILE");
  addNetworkOptions(app, options);
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
                             "Version code of the video: 2 normal, 1 high, 21 super, 31 original and others")
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
  addParameter<std::int32_t>(share, options, "--duration", "duration", "Length of the video")
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

void addCommands(CLI::App& app, Options& options) {
  addHls(app, options);
  addMp4(app, options);
  addShare(app, options);
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
