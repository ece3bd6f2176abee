#include "Callbacks.h"

#include <utility>

namespace site {
namespace {

/// What the library is told when this host has no answer. By this code a task fails at once and leaves its slot to the
/// next one, if the library does not try again.
ZRError unusable(const std::string& reason) {
  return {ZRErrorCode::ResourceUnusable, reason};
}

ZRValue::List valuesOf(const std::vector<std::string>& texts) {
  return {texts.begin(), texts.end()};
}

/// Where the playlist came from, as the task that asks for its decryption knows it; "" when it does not. Such a task
/// executes, but may hold no slot.
std::string playlistAddress(const std::string& localPath) {
  for (const auto& task : ZRDownloadManager::sharedManager()->allUnFinishTaskArr()) {
    if (task->isExecuting() && task->localFullFilePath() == localPath) return task->m3u8Url().value_or("");
  }
  return {};
}

}  // namespace

Callbacks::Callbacks(Answers answers, std::shared_ptr<ZRRunLoop> loop)
    : answers_(std::move(answers)), loop_(std::move(loop)) {}

ZRDictionary Callbacks::options() {
  const ZRFetchMkeyHandler fetchKey = [this](const ZRDictionary&, ZRReplyCompletion completion) {
    answerPlaybackKey(std::move(completion));
  };
  const ZRDecryptionHandler decrypt = [this](const ZRDictionary& request, ZRReplyCompletion completion) {
    decryptPlaylist(request, std::move(completion));
  };
  const ZRFetch73InfoHandler fetchInfo = [this](const ZRDictionary& request, ZRReplyCompletion completion) {
    answerMp4Info(request, std::move(completion));
  };
  return {{"fetch_mky_handler", fetchKey}, {"decryption_handler", decrypt}, {"fetch_73Info_Handler", fetchInfo}};
}

void Callbacks::answerPlaybackKey(ZRReplyCompletion completion) {
  post([key = answers_.playbackKey, completion = std::move(completion)] { completion(key, std::nullopt); });
}

void Callbacks::decryptPlaylist(const ZRDictionary& request, ZRReplyCompletion completion) {
  const auto answer = [completion = std::move(completion)](const PlaylistDecryptor::Result& result) {
    if (const std::string* const reason = std::get_if<std::string>(&result)) {
      completion(std::nullopt, unusable(*reason));
    } else {
      completion(ZRDictionary{{"tsArr", valuesOf(std::get<std::vector<std::string>>(result))}}, std::nullopt);
    }
  };
  const auto text = [&request](std::string_view key) { return request[key].textValue().value_or(""); };
  PlaylistDecryptor::Request playlist{text("contentPath"), text("localPath"), playlistAddress(text("localPath"))};
  post([this, playlist = std::move(playlist), answer] {
    if (answers_.decryptor) answers_.decryptor->decrypt(playlist, answer);
  });
}

void Callbacks::answerMp4Info(const ZRDictionary& request, ZRReplyCompletion completion) {
  const std::int64_t vid = request["vid"].int64Value();
  const std::int32_t version = request["version"].int32Value();
  post([info = answers_.mp4.find(vid, version), vid, version, completion = std::move(completion)] {
    if (info) return completion(info, std::nullopt);
    completion(std::nullopt, unusable("no metadata for " + mp4Key(vid, version)));
  });
}

void Callbacks::post(std::function<void()> work) {
  loop_->post([alive = std::weak_ptr<bool>(alive_), work = std::move(work)] {
    if (!alive.expired()) work();
  });
}

}  // namespace site
