#pragma once

#include <list>
#include <memory>
#include <string>

#include "PlaylistDecryptor.h"

namespace zrdl {

class CommandRun;

/// Lets a command of the user decrypt: `COMMAND CONTENT_PATH LOCAL_PATH` prints the segments' addresses, one a line,
/// and ends with status 0. A shell reads the command, which may hold arguments, but never the paths.
class CommandDecryptor final : public site::PlaylistDecryptor {
 public:
  /// Throws `site::UsageError` when the command's program is seen not to be there.
  explicit CommandDecryptor(std::string command);

  /// Kills the commands that still run, with what they started.
  ~CommandDecryptor() override;

  /// The completion is called on a thread of its own.
  void decrypt(const Request& request, Completion completion) override;

 private:
  const std::string command_;
  std::list<std::unique_ptr<CommandRun>> runs_;  // those that ended go when the next one starts
};

}  // namespace zrdl
