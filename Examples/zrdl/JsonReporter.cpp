#include "JsonReporter.h"

#include <cmath>
#include <optional>

#include <nlohmann/json.hpp>

#include "DisplayText.h"

namespace zrdl {
namespace {

using Json = nlohmann::ordered_json;

void print(std::ostream& out, const Json& event) {
  out << event.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n' << std::flush;
}

Json event(const char* name) {
  return {{"event", name}};
}

Json event(const char* name, const TaskView& task) {
  return {{"event", name}, {"taskId", task.id}};
}

Json textOrNull(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json();
}

/// What an error tells; what it does not tell is left out.
void addError(Json& line, const ZRError& error) {
  line["code"] = error.code();
  line["domain"] = error.domain();
  line["message"] = error.localizedDescription();
  for (const char* const key : {kZRErrorReasonKey, kZRErrorCauseKey}) {
    if (const auto text = error.userInfo()[key].textValue()) line[key] = *text;
  }
  if (const ZRValue& status = error.userInfo()[kZRErrorHttpStatusKey]; !status.isAbsent()) {
    line[kZRErrorHttpStatusKey] = status.int64Value();
  }
}

void addState(Json& line, const TaskView& task) {
  line["state"] = static_cast<std::uint64_t>(task.state);
  line["stateName"] = site::stateName(task.state);
}

/// Spares the reader the digits that a 32-bit fraction does not have.
double sixDigits(double value) {
  return std::round(value * 1e6) / 1e6;
}

const char* reasonName(Refusal reason) {
  switch (reason) {
    case Refusal::Exists:
      return "exists";
    case Refusal::Parameters:
      return "parameters";
    case Refusal::Store:
    case Refusal::NoStore:
      return "store";
  }
  return "";
}

}  // namespace

void JsonReporter::created(const TaskView& task, std::string_view kind) {
  Json line = event("created", task);
  line["kind"] = kind;
  print(out_, line);
}

void JsonReporter::progress(const std::vector<TaskView>& executing) {
  for (const TaskView& task : executing) {
    Json line = event("progress", task);
    addState(line, task);
    line["progress"] = sixDigits(static_cast<double>(task.progress));
    line["speed"] = sixDigits(task.speed);
    print(out_, line);
  }
}

void JsonReporter::finished(const TaskView& task) {
  Json line = event("finished", task);
  line["relative"] = textOrNull(task.relative);
  line["path"] = textOrNull(task.path);
  print(out_, line);
}

void JsonReporter::errored(const TaskView& task, const ZRError& error) {
  Json line = event("errored", task);
  addError(line, error);
  print(out_, line);
}

void JsonReporter::failure(const TaskView& task, const ZRError& error) {
  Json line = event("failure", task);
  addError(line, error);
  print(out_, line);
}

void JsonReporter::stalled(const TaskView& task, std::chrono::seconds, const std::optional<ZRError>& failure) {
  Json line = event("stalled", task);
  if (failure) addError(line, *failure);
  print(out_, line);
}

void JsonReporter::refused(Refusal reason, const LabelledRequest& request, std::string_view fault) {
  const std::string text = refusalText(reason, request.label, fault);
  Json line = event("refused");
  line["reason"] = reasonName(reason);
  if (request.line > 0) line["line"] = request.line;
  line["text"] = text;
  print(out_, line);
  if (reason != Refusal::NoStore) note(text);
}

void JsonReporter::removed(const TaskView& task) {
  print(out_, event("removed", task));
}

void JsonReporter::listed(const TaskView& task) {
  Json line = event("task", task);
  addState(line, task);
  line["progress"] = sixDigits(static_cast<double>(task.progress));
  line["bytes"] = task.bytes;
  line["size"] = task.size;
  line["title"] = task.title;
  line["relative"] = textOrNull(task.relative);
  line["path"] = textOrNull(task.path);
  print(out_, line);
}

void JsonReporter::log(std::uint64_t level, std::string_view tag, std::string_view msg) {
  Json line = event("log");
  line["level"] = level;
  line["tag"] = tag;
  line["msg"] = msg;
  print(out_, line);
}

void JsonReporter::report(std::uint64_t stype, std::int32_t version) {
  Json line = event("report");
  line["stype"] = stype;
  line["version"] = version;
  print(out_, line);
}

void JsonReporter::note(std::string_view text) {
  err_ << "zrdl: " << printable(text) << std::endl;
}

void JsonReporter::summary(const Summary& summary) {
  Json line = event("summary");
  line["finished"] = summary.finished;
  line["errored"] = summary.errored;
  line["stalled"] = summary.stalled;
  line["refused"] = summary.refused;
  print(out_, line);
}

}  // namespace zrdl
