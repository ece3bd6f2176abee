#include "Help.h"

#include <array>

#include "ExitStatus.h"

namespace zrdl {
namespace {

struct Examples {
  std::string_view command;
  std::string_view lines;
};

constexpr std::string_view kFirstSteps =
    "  zrdl demo                                      see it work, without a site\n"
    "  zrdl --mp4-info info.json mp4 42 --version 2   download one video\n"
    "  zrdl --mp4-info info.json resume               go on after an interrupt or a crash\n"
    "  zrdl list                                      what there is, and how far it came\n"
    "  zrdl COMMAND --help                            the options and examples of a command\n";

constexpr std::array<Examples, 10> kExamples{{
    {"hls",
     "  zrdl --info-base http://site.example/v4/video/info hls 7 --site 1 --version 2\n"
     "  zrdl --info-base http://site.example/v4/video/info --mkey KEY --decrypt ./decrypt hls 7 --site 1 --version "
     "21\n"},
    {"mp4",
     "  echo '{\"42-2\": {\"title\": \"A film\", \"url\": \"http://site.example/42.mp4\"}}' > info.json\n"
     "  zrdl --mp4-info info.json mp4 42 --version 2\n"},
    {"share",
     "  zrdl share 5 --album-id 1 --name film.mp4 --host http://192.168.1.7:8080\n"
     "  zrdl share 5 --album-id 1 --name film.mp4 --host http://192.168.1.7:8080 --lan-only\n"},
    {"batch",
     "  zrdl --mp4-info info.json --max 2 batch tasks.jsonl\n"
     "  echo '{\"kind\":\"mp4\",\"vid\":42,\"version\":2}' | zrdl --mp4-info info.json batch -\n"
     "  zrdl --json batch tasks.jsonl | jq 'select(.event == \"errored\")'\n"},
    {"resume",
     "  zrdl --mp4-info info.json resume       every unfinished task\n"
     "  zrdl --mp4-info info.json resume 73-1  that one\n"},
    {"list",
     "  zrdl list\n"
     "  zrdl --json list | jq -r 'select(.state == 4) | .path'\n"},
    {"rm",
     "  zrdl rm 73-1\n"
     "  zrdl rm 1 73-1 share-1\n"},
    {"path", "  xdg-open \"$(zrdl path 73-1)\"\n"},
    {"export", "  zrdl export 73-1 film.mp4\n"},
    {"demo",
     "  zrdl demo\n"
     "  zrdl demo /tmp/zrdl-demo\n"},
}};

}  // namespace

std::string helpFooter() {
  return "Examples:\n" + std::string(kFirstSteps) + "\nExit status:\n" +  //
         "  " + std::to_string(kExitAllFinished) + "    everything that was asked for is done\n" + "  " +
         std::to_string(kExitSomeNot) + "    some of it is not: a task failed, stalled, was refused or is unknown\n" +
         "  " + std::to_string(kExitUsage) + "    the command line, or a file named on it, cannot be used\n" + "  " +
         std::to_string(kExitInterrupted) +
         "  interrupted; the unfinished tasks are paused, and `zrdl resume` "
         "goes on with them\n";
}

std::string helpFooter(std::string_view command) {
  std::string text = "The options of `zrdl --help` may stand before or after the command.\n";
  for (const Examples& examples : kExamples) {
    if (examples.command == command) text += "\nExamples:\n" + std::string(examples.lines);
  }
  return text;
}

}  // namespace zrdl
