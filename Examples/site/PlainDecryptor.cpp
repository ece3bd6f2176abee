#include "PlainDecryptor.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

#include "LocalPlaylist.h"

namespace site {
namespace {

constexpr std::uintmax_t kLargestPlaylist = 16ULL * 1024 * 1024;

/// Nothing when the file cannot be read or is no playlist by its size.
std::optional<std::string> contentOf(const std::string& path) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (error || size > kLargestPlaylist) return std::nullopt;
  std::string content(size, '\0');
  std::ifstream in(path, std::ios::binary);
  if (!in.read(content.data(), static_cast<std::streamsize>(size))) return std::nullopt;
  return content;
}

/// Whole or not at all: a player never sees half a playlist.
bool replaceFile(const std::string& path, const std::string& content) {
  const std::string beside = path + ".part";
  std::ofstream out(beside, std::ios::binary | std::ios::trunc);
  out << content;
  out.close();
  std::error_code error;
  if (out) std::filesystem::rename(beside, path, error);
  if (out && !error) return true;
  std::filesystem::remove(beside, error);
  return false;
}

}  // namespace

void PlainDecryptor::decrypt(const Request& request, Completion completion) {
  completion(rewrite(request));
}

PlaylistDecryptor::Result PlainDecryptor::rewrite(const Request& request) const {
  std::optional<std::string> content = contentOf(request.contentPath);
  if (!content) return "the playlist cannot be read";
  const auto decrypted = plain(std::move(*content));
  if (const std::string* const reason = std::get_if<std::string>(&decrypted)) return *reason;
  const std::string& base = segmentBase_.empty() ? request.address : segmentBase_;
  auto local = LocalPlaylist::of(std::get<Plain>(decrypted).playlist, base);
  if (const std::string* const reason = std::get_if<std::string>(&local)) return *reason;
  if (!replaceFile(request.localPath, std::get<LocalPlaylist>(local).text))
    return "the local playlist cannot be written";
  return std::move(std::get<LocalPlaylist>(local).segments);
}

}  // namespace site
