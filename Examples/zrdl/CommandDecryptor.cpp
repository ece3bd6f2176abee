#include "CommandDecryptor.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "CommandRun.h"

namespace zrdl {
namespace {

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

PlaylistDecryptor::Result resultOf(const CommandRun::Outcome& outcome, const std::string& localPath) {
  if (!outcome.failure.empty()) return outcome.failure;
  std::vector<std::string> segments = linesOf(outcome.output);
  if (segments.empty()) return "the command printed no segment address";
  std::error_code unreachable;
  if (!std::filesystem::is_regular_file(localPath, unreachable)) return "the command wrote no local playlist";
  return segments;
}

}  // namespace

CommandDecryptor::CommandDecryptor(std::string command) : command_(std::move(command)) {}

CommandDecryptor::~CommandDecryptor() = default;

void CommandDecryptor::decrypt(const std::string& contentPath, const std::string& localPath, Completion completion) {
  runs_.remove_if([](const std::unique_ptr<CommandRun>& run) { return run->hasEnded(); });
  runs_.push_back(std::make_unique<CommandRun>(
      std::vector<std::string>{"/bin/sh", "-c", command_ + " \"$@\"", "sh", contentPath, localPath},
      [localPath, completion = std::move(completion)](const CommandRun::Outcome& outcome) {
        completion(resultOf(outcome, localPath));
      }));
}

}  // namespace zrdl
