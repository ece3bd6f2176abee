#pragma once

#include <QIcon>

namespace player {

/// Drawn in the text colour of the palette, so that they are there without an icon theme and fit every style.
enum class Glyph { Add, Play, Resume, Pause, Remove, ResumeAll, PauseAll, Film };

QIcon glyphIcon(Glyph glyph);

}  // namespace player
