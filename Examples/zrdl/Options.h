#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Answers.h"
#include "LabelledRequest.h"

namespace zrdl {

enum class Command { Add, Batch, Resume, List, Rm, Path, Export, Demo };

/// The command line as it was understood.
struct Options {
  std::string support;   ///< absolute; the application's private files
  std::string movies;    ///< absolute; files the user sees
  std::string bundleId;  ///< one path component
  std::string appVersion;
  std::optional<std::uint8_t> max;  ///< tasks that run at once; the library's own limit when absent
  site::Settings site;
  std::vector<std::pair<std::string, std::string>> cdn;  ///< further query parameters of a playlist's request
  std::string decrypt;                                   ///< command that decrypts playlists; empty for plain ones
  std::string proxy;                                     ///< empty for none
  std::string caFile;                                    ///< absolute, or empty
  std::string userAgent;                                 ///< empty for the library's own
  std::int64_t limitRate = 0;                            ///< bytes a second of all downloads; 0 is no limit
  std::chrono::seconds giveUp{120};
  bool json = false;

  Command command = Command::List;
  LabelledRequest task;              ///< add
  std::string batchFile;             ///< batch; "-" is standard input
  std::vector<std::string> taskIds;  ///< resume, rm, path, export
  std::string exportFile;            ///< export; absolute
  std::string demoFolder;            ///< demo; absolute
};

/// Reads the command line. An exit status instead when there is nothing to run: help was asked for, or the line is
/// wrong; it has been told on the terminal then.
std::variant<Options, int> parseOptions(int argc, char** argv);

}  // namespace zrdl
