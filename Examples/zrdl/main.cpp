#include <exception>
#include <iostream>
#include <variant>

#include "Commands.h"
#include "DisplayText.h"
#include "ExitStatus.h"
#include "Options.h"
#include "SignalWatch.h"
#include "UsageError.h"

namespace {

int runLine(int argc, char** argv) {
  try {
    const auto parsed = zrdl::parseOptions(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    const int result = zrdl::runCommand(std::get<zrdl::Options>(parsed));
    if (std::cout.flush()) return result;
    std::cerr << "zrdl: cannot write the output\n";
    return result == zrdl::kExitAllFinished ? zrdl::kExitSomeNot : result;
  } catch (const site::UsageError& error) {
    std::cerr << "zrdl: " << zrdl::printable(error.what()) << '\n';
    return zrdl::kExitUsage;
  } catch (const std::exception& error) {
    std::cerr << "zrdl: " << zrdl::printable(error.what()) << '\n';
    return zrdl::kExitSomeNot;
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);  // lets a redraw of the terminal be one write
  zrdl::SignalWatch::start();
  return runLine(argc, argv);
}
