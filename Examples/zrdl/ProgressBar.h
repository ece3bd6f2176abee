#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "TaskView.h"

namespace zrdl {

using site::TaskView;

/// "512 B", "1.5 KiB", "20.0 MiB", "1.00 GiB".
std::string sizeText(std::uint64_t bytes);

/// "9.0/20.0 MiB", in the unit of the whole; the bytes alone when the size is unknown.
std::string bytesText(const TaskView& task);

/// "512 KiB/s", or from 1024 on "1.0 MiB/s".
std::string speedText(double kibPerSecond);

/// "45 %"; "-- %" while the size is unknown.
std::string percentText(const TaskView& task);

/// "0:07", "1:02:03" for what is left at the present speed; "--:--" when that cannot be told.
std::string timeLeftText(const TaskView& task);

/// One line for a running or finished task, at most `columns` wide: title, bar, percent, speed, bytes, time left.
std::string progressBar(const TaskView& task, std::size_t columns);

}  // namespace zrdl
