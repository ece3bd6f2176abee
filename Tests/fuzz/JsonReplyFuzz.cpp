// The reply of the video-information service: parsed, mapped onto the record, archived, and restored.
// The first line is the version that is asked for, the rest the body.

#include "Fuzz.h"
#include "SCNetworkResponseParser.h"
#include "ZRDownloadVideoInfo.h"
#include "ZRKeyedArchive.h"

void fuzz(std::string_view input) {
  const auto version = takeNumber<std::int32_t>(input);
  ZRDownloadVideoInfo::registerModel();
  SCNetworkModelResponseParser parser;
  parser.setCheckKeyPath("status");
  parser.setOkValue("200");
  parser.setTargetKeyPath("data");
  parser.setErrorMsgKeyPath("statusText");
  parser.setModelName("ZRDownloadVideoInfo");
  parser.setRefObj(version);
  const auto result = parser.parse(input);
  const auto* const parsed = std::get_if<SCParserResult>(&result);
  if (parsed == nullptr) return;
  expect(parsed->model != nullptr, "a target that is there is a record");
  const auto& record = dynamic_cast<const ZRDownloadVideoInfo&>(*parsed->model);
  const auto bytes = ZRKeyedArchive::archive(record);
  const auto restored = ZRKeyedArchive::unarchive<ZRDownloadVideoInfo>(bytes);
  expect(restored != nullptr, "an archive is restored");
  expect(ZRKeyedArchive::archive(*restored) == bytes, "an archive of what was restored is the same");
  expect(restored->toDic().contains("title") == restored->videoName().has_value(), "the host is told the name");
}
