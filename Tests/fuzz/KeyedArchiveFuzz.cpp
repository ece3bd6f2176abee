// The archives in the database's rows, as the file may hold them.

#include "Fuzz.h"
#include "ZRBase64.h"
#include "ZRDownloadVideoInfo.h"
#include "ZRKeyedArchive.h"
#include "ZRShareDownloadModel.h"

void fuzz(std::string_view input) {
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
  (void)ZRKeyedArchive::unarchive<ZRDownloadVideoInfo>(bytes);
  (void)ZRKeyedArchive::unarchive<ZRShareDownloadModel>(bytes);
  const auto map = ZRKeyedArchive::decode(bytes);
  if (!map) return;
  const auto kept = ZRKeyedArchive::encode(*map);
  const auto again = ZRKeyedArchive::decode(kept);
  expect(again && ZRKeyedArchive::encode(*again) == kept, "what was encoded is decoded to itself");
}
