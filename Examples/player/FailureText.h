#pragma once

#include <QString>

#include "ZRDownloadKit.h"

namespace player {

/// Why it failed, in the window's language, from the "reason" of the library's errors. An error without one, such as a
/// site's own, has its own text.
QString failureText(const ZRError& error);

}  // namespace player
