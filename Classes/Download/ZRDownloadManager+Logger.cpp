#include <exception>
#include <optional>
#include <string>
#include <type_traits>

#include <fmt/args.h>
#include <fmt/printf.h>

#include "ZRDownloadManager.h"
#include "ZRValue.h"

namespace {

/// The renderer knows "%s" for texts; "%@" means the same here.
std::string printfFormat(const char* format) {
  std::string text = format;
  for (std::size_t at = text.find('%'); at != std::string::npos && at + 1 < text.size(); at = text.find('%', at + 2)) {
    if (text[at + 1] == '@') text[at + 1] = 's';
  }
  return text;
}

std::optional<std::string> render(const char* format, std::span<const ZRLogArgument> arguments) {
  try {
    fmt::dynamic_format_arg_store<fmt::printf_context> store;
    for (const ZRLogArgument& argument : arguments) {
      std::visit([&store](auto&& value) { store.push_back(value); }, argument.value());
    }
    return fmt::vsprintf(printfFormat(format), fmt::basic_format_args<fmt::printf_context>(store));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace

void ZRDownloadManager::logArguments(ZRLogLevel level, const char* tag, const char* format,
                                     std::span<const ZRLogArgument> arguments) {
  const ZRLoggerHandler logger = loggerHandler();  // a copy: the handler may replace itself
  if (!logger) return;
  std::optional<std::string> message = render(format, arguments);
  if (!message) return;
  const ZRDictionary record{
      {"level", static_cast<unsigned>(level)}, {"tag", tag != nullptr ? tag : ""}, {"msg", *std::move(message)}};
  logger(record, ZRValue::null());
}

ZRLoggerHandler ZRDownloadManager::loggerHandler() const {
  const std::lock_guard lock(callbackMutex_);
  return loggerHandler_;
}

void ZRDownloadManager::setLoggerHandler(ZRLoggerHandler handler) {
  const std::lock_guard lock(callbackMutex_);
  loggerHandler_.swap(handler);
  lowestHeard_.store(loggerHandler_ ? loggerLevel_ : kNobodyListens, std::memory_order_relaxed);
}
