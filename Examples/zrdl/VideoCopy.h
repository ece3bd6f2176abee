#pragma once

#include <atomic>
#include <string>

namespace zrdl {

/// Copies a finished video to the file `target`: of a local playlist (`.local.m3u8`) its segments, joined in playlist
/// order, of anything else the file as it is. The copy is written beside `target` and takes its place only when it is
/// whole and on the disk; otherwise `target` stays as it was. Returns why not, or an empty text. Ends early, with a
/// reason, when `interrupted` becomes true.
std::string copyVideo(const std::string& video, const std::string& target, const std::atomic<bool>& interrupted);

}  // namespace zrdl
