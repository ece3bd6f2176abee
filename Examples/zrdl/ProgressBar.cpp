#include "ProgressBar.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "DisplayText.h"

namespace zrdl {
namespace {

constexpr std::size_t kWidestTitle = 32;
constexpr std::size_t kWidestBar = 40;
constexpr std::size_t kNarrowestTitle = 8;
constexpr std::size_t kNarrowestBar = 5;
constexpr std::size_t kPercent = 5;
constexpr std::size_t kSpeed = 13;
constexpr std::size_t kNarrow = kPercent + kSpeed;  // the figures that a narrow line has room for
constexpr double kLongestLeft = 100.0 * 3600;       // seconds; above it the figure tells nothing

struct Unit {
  double bytes;
  const char* name;
  int decimals;
};
constexpr std::array<Unit, 4> kUnits{{{1, "B", 0}, {1024, "KiB", 1}, {1048576, "MiB", 1}, {1073741824, "GiB", 2}}};

const Unit& unitFor(std::uint64_t bytes) {
  std::size_t unit = 0;
  while (unit + 1 < kUnits.size() && static_cast<double>(bytes) >= kUnits[unit + 1].bytes) ++unit;
  return kUnits[unit];
}

std::string number(double value, int decimals) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
  return text.data();
}

std::string inUnit(std::uint64_t bytes, const Unit& unit) {
  return number(static_cast<double>(bytes) / unit.bytes, unit.decimals);
}

/// The fraction done, held between 0 and 1 whatever size was announced.
double fraction(const TaskView& task) {
  return std::clamp(static_cast<double>(task.progress), 0.0, 1.0);
}

std::string rightAligned(const std::string& text, std::size_t columns) {
  return std::string(columns - std::min(columns, text.size()), ' ') + text;
}

std::string bar(double done, std::size_t cells) {
  const auto filled = static_cast<std::size_t>(done * static_cast<double>(cells));
  return std::string("[").append(filled, '#').append(cells - filled, '.').append("]");
}

std::string figures(const TaskView& task) {
  const std::string speed = task.state == ZRTaskState::Finished || task.speed <= 0 ? "" : speedText(task.speed);
  const std::string left = task.state == ZRTaskState::Finished ? "" : timeLeftText(task);
  return rightAligned(percentText(task), kPercent) + rightAligned(speed, kSpeed) + rightAligned(bytesText(task), 17) +
         rightAligned(left, 9);
}

}  // namespace

std::string sizeText(std::uint64_t bytes) {
  const Unit& unit = unitFor(bytes);
  return inUnit(bytes, unit) + " " + unit.name;
}

std::string bytesText(const TaskView& task) {
  if (task.size == 0) return sizeText(task.bytes);
  const Unit& unit = unitFor(task.size);
  return inUnit(task.bytes, unit) + "/" + inUnit(task.size, unit) + " " + unit.name;
}

std::string speedText(double kibPerSecond) {
  if (kibPerSecond < 1024) return number(kibPerSecond, 0) + " KiB/s";
  return number(kibPerSecond / 1024, 1) + " MiB/s";
}

std::string percentText(const TaskView& task) {
  if (task.size == 0 && task.progress <= 0 && task.state != ZRTaskState::Finished) return "-- %";
  return number(std::floor(fraction(task) * 100), 0) + " %";
}

std::string timeLeftText(const TaskView& task) {
  const double seconds = static_cast<double>(task.size) * (1 - fraction(task)) / (task.speed * 1024);
  if (task.size == 0 || !(seconds < kLongestLeft)) return "--:--";
  const auto left = static_cast<unsigned>(std::ceil(seconds));
  std::array<char, 32> text{};
  if (left < 3600) {
    std::snprintf(text.data(), text.size(), "%u:%02u", left / 60, left % 60);
  } else {
    std::snprintf(text.data(), text.size(), "%u:%02u:%02u", left / 3600, left / 60 % 60, left % 60);
  }
  return text.data();
}

std::string progressBar(const TaskView& task, std::size_t columns) {
  const std::string title = printable(task.title);
  const std::string right = figures(task);
  if (columns < right.size() + kNarrowestTitle + 1) {  // room for percent and speed, or for less
    const std::size_t titleColumns = std::max(columns, kNarrow + kNarrowestTitle + 1) - kNarrow - 1;
    return fitted(fitted(title, titleColumns) + " " + right.substr(0, kNarrow), columns);
  }
  const std::size_t room = columns - right.size() - 1;
  if (room < kNarrowestTitle + kNarrowestBar + 3) return fitted(title, room) + " " + right;
  const std::size_t titleColumns = std::clamp(room / 2, kNarrowestTitle, kWidestTitle);
  const std::size_t cells = std::min(room - titleColumns - 3, kWidestBar);
  return fitted(title, titleColumns) + " " + bar(fraction(task), cells) + " " + right;
}

}  // namespace zrdl
