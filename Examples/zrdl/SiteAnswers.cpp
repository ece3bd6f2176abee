#include "SiteAnswers.h"

#include "CommandDecryptor.h"
#include "PlainDecryptor.h"

namespace zrdl {
namespace {

ZRValue textOrAbsent(const std::string& text) {
  return text.empty() ? ZRValue() : ZRValue(text);
}

}  // namespace

SiteAnswers SiteAnswers::of(const Options& options) {
  SiteAnswers answers;
  if (!options.mp4Info.empty()) answers.mp4 = Mp4Metadata::fromFile(options.mp4Info);
  answers.playbackKey.set("mkey", textOrAbsent(options.mkey));
  answers.playbackKey.set("cookie", textOrAbsent(options.cookie));
  if (options.decrypt.empty()) {
    answers.decryptor = std::make_unique<PlainDecryptor>(options.segmentBase);
  } else {
    answers.decryptor = std::make_unique<CommandDecryptor>(options.decrypt);
  }
  return answers;
}

}  // namespace zrdl
