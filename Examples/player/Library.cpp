#include "Library.h"

#include <utility>

#include "ZRQtRunLoop.h"

namespace player {
namespace {

constexpr std::uint64_t kFailureLevel = 2;

ZRError unusable(const std::string& reason) {
  return {ZRErrorCode::ResourceUnusable, reason};
}

}  // namespace

Library::Library(ZRHostInfo host, zrdl::SiteAnswers answers)
    : answers_(std::move(answers)), loop_(std::make_shared<ZRQtRunLoop>()) {
  ZRRunLoop::setMain(loop_);
  ZRHost::setCurrent(std::move(host));
  manager_ = ZRDownloadManager::sharedManager();
  manager_->setup(callbacks());
}

Library::~Library() {
  answers_.decryptor.reset();  // its threads answer the library
  manager_.reset();
  ZRDownloadManager::shutdown();
}

ZRDictionary Library::callbacks() {
  const ZRFetchMkeyHandler fetchKey = [this](const ZRDictionary&, ZRReplyCompletion completion) {
    answerPlaybackKey(std::move(completion));
  };
  const ZRDecryptionHandler decrypt = [this](const ZRDictionary& request, ZRReplyCompletion completion) {
    decryptPlaylist(request, std::move(completion));
  };
  const ZRFetch73InfoHandler fetchInfo = [this](const ZRDictionary& request, ZRReplyCompletion completion) {
    answerMp4Info(request, std::move(completion));
  };
  const ZRLoggerHandler logger = [this](const ZRDictionary& record, const ZRValue&) { takeLogRecord(record); };
  return {{"fetch_mky_handler", fetchKey},
          {"decryption_handler", decrypt},
          {"fetch_73Info_Handler", fetchInfo},
          {"logger_handler", logger}};
}

// All of them answer later, as a host does that asks its site.

void Library::answerPlaybackKey(ZRReplyCompletion completion) {
  post([key = answers_.playbackKey, completion = std::move(completion)] { completion(key, std::nullopt); });
}

void Library::decryptPlaylist(const ZRDictionary& request, ZRReplyCompletion completion) {
  const auto answer = [completion = std::move(completion)](const zrdl::PlaylistDecryptor::Result& result) {
    if (const auto* const reason = std::get_if<std::string>(&result))
      return completion(std::nullopt, unusable(*reason));
    const auto& segments = std::get<std::vector<std::string>>(result);
    completion(ZRDictionary{{"tsArr", ZRValue::List(segments.begin(), segments.end())}}, std::nullopt);
  };
  post([this, content = request["contentPath"].textValue().value_or(""),
        local = request["localPath"].textValue().value_or(""), answer] {
    if (answers_.decryptor) answers_.decryptor->decrypt(content, local, answer);
  });
}

// About an unknown video it says nothing, and the library finds the words.
void Library::answerMp4Info(const ZRDictionary& request, ZRReplyCompletion completion) {
  const auto info = answers_.mp4.find(request["vid"].int64Value(), request["version"].int32Value());
  post([info = info.value_or(ZRDictionary()), completion = std::move(completion)] { completion(info, std::nullopt); });
}

void Library::takeLogRecord(const ZRDictionary& record) {
  if (record["level"].uint64Value() != kFailureLevel) return;
  post([this] {
    if (failureListener_) failureListener_();
  });
}

void Library::post(std::function<void()> work) {
  loop_->post([alive = std::weak_ptr<bool>(alive_), work = std::move(work)] {
    if (!alive.expired()) work();
  });
}

}  // namespace player
