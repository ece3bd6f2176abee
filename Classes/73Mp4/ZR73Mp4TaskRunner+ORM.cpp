#include "ZR73Mp4TaskRunner.h"

std::span<const ZRField<ZR73Mp4TaskRunner>> ZR73Mp4TaskRunner::fields() {
  using Self = ZR73Mp4TaskRunner;
  using enum ZRColumnType;
  static constexpr ZRField<Self> kFields[] = {
      zrField<Self, &Self::vid_>("vid", Integer),
      zrField<Self, &Self::version_>("version", Integer),
      {"site", [](const Self& task) { return ZRValue(task.site()); }, nullptr, Integer},
      zrField<Self, &Self::downloadedBytes_>("downloadedBytes", Integer),
      zrField<Self, &Self::stamp_>("stamp", Double),
      zrField<Self, &Self::videoName_>("videoName", Text),
      {"videoUrl", [](const Self&) { return ZRValue(); }, nullptr, Text},  // no field has this name; always NULL
      zrField<Self, &Self::vidoeUrl_>("vidoeUrl"),
      zrField<Self, &Self::timestamp_>("timestamp", Double),
      zrField<Self, &Self::activeTimestamp_>("activeTimestamp", Double),
      zrField<Self, &Self::cover_>("cover", Text),
      zrField<Self, &Self::duration_>("duration", Integer),
      zrField<Self, &Self::fileSize_>("fileSize", Integer),
      taskStateField(),
  };
  return kFields;
}

const ZRTaskTable& ZR73Mp4TaskRunner::taskTable() {
  static const ZRTaskTable table("task_73_meta_tb", zrColumnsOf<ZR73Mp4TaskRunner>(), {"vid", "version"});
  return table;
}
