#include "CommandDecryptor.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "CommandRun.h"
#include "UsageError.h"

namespace zrdl {
namespace {

/// Whether the shell takes the word as it stands.
bool isPlain(const std::string& word) {
  return std::all_of(word.begin(), word.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || std::string_view("/._-+").find(static_cast<char>(c)) != std::string_view::npos;
  });
}

/// What keeps a shell from running the program; null when nothing is known to, as with a word that the shell changes.
const char* flawOf(const std::string& program) {
  if (!isPlain(program)) return nullptr;
  if (program.find('/') == std::string::npos) {
    const std::string look = "command -v " + program + " >/dev/null 2>&1";  // finds the shell's own commands, too
    return std::system(look.c_str()) == 0 ? nullptr : "is not a command";
  }
  std::error_code unreachable;
  if (!std::filesystem::is_regular_file(program, unreachable)) return "is not a program";
  return ::access(program.c_str(), X_OK) == 0 ? nullptr : "is not executable";
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    if (line.ends_with('\r')) line.pop_back();
    if (!line.empty()) lines.push_back(std::move(line));
    at = end + 1;
  }
  return lines;
}

site::PlaylistDecryptor::Result resultOf(const CommandRun::Outcome& outcome, const std::string& localPath) {
  if (!outcome.failure.empty()) return outcome.failure;
  std::vector<std::string> segments = linesOf(outcome.output);
  if (segments.empty()) return "the command printed no segment address";
  std::error_code unreachable;
  if (!std::filesystem::is_regular_file(localPath, unreachable)) return "the command wrote no local playlist";
  return segments;
}

}  // namespace

CommandDecryptor::CommandDecryptor(std::string command) : command_(std::move(command)) {
  const std::string program = command_.substr(0, command_.find(' '));
  if (const char* const flaw = flawOf(program)) throw site::UsageError("--decrypt: " + program + " " + flaw);
}

CommandDecryptor::~CommandDecryptor() = default;

void CommandDecryptor::decrypt(const Request& request, Completion completion) {
  runs_.remove_if([](const std::unique_ptr<CommandRun>& run) { return run->hasEnded(); });
  runs_.push_back(std::make_unique<CommandRun>(
      std::vector<std::string>{"/bin/sh", "-c", command_ + " \"$@\"", "sh", request.contentPath, request.localPath},
      [localPath = request.localPath, completion = std::move(completion)](const CommandRun::Outcome& outcome) {
        completion(resultOf(outcome, localPath));
      }));
}

}  // namespace zrdl
