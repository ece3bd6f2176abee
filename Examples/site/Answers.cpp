#include "Answers.h"

#include "PlainDecryptor.h"

namespace site {
namespace {

ZRValue textOrAbsent(const std::string& text) {
  return text.empty() ? ZRValue() : ZRValue(text);
}

}  // namespace

Answers Answers::of(const Settings& settings) {
  Answers answers;
  if (!settings.mp4Info.empty()) answers.mp4 = Mp4Metadata::fromFile(settings.mp4Info);
  answers.playbackKey.set("mkey", textOrAbsent(settings.mkey));
  answers.playbackKey.set("cookie", textOrAbsent(settings.cookie));
  answers.decryptor = std::make_unique<PlainDecryptor>(settings.segmentBase);
  return answers;
}

}  // namespace site
