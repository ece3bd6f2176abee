#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "SCJSONUtil.h"
#include "ZRField.h"

/// One subtitle file of a shared video, as the sharing device describes it. Filled by `SCJSONUtil`, then immutable.
class ZRShareSubtitle final : public SCJSONRecord {
 public:
  /// The name of its file in the task's folder; the device's choice, so it may be anything.
  const std::optional<std::string>& name() const noexcept { return name_; }
  const std::optional<std::string>& url() const noexcept { return url_; }
  const std::optional<std::string>& subId() const noexcept { return subId_; }
  bool isDefault() const noexcept { return isDefault_; }

  static std::span<const ZRField<ZRShareSubtitle>> fields();

  bool setJsonField(std::string_view name, const ZRValue& value) override;
  std::string description() const override;

 private:
  std::optional<std::string> name_;
  std::optional<std::string> url_;
  std::optional<std::string> subId_;
  bool isDefault_ = false;
};

/// Where the files of a shared video are, as the sharing device tells it. Filled by `SCJSONUtil` from the "data" object
/// of the device's answer, then immutable.
class ZRShareVideoDetail final : public SCJSONRecord {
 public:
  using Subtitles = std::vector<std::shared_ptr<const ZRShareSubtitle>>;

  /// Makes both records known to `SCJSONUtil`; may be called again.
  static void registerModels();

  /// Address of the video.
  const std::optional<std::string>& url() const noexcept { return url_; }
  const std::optional<std::string>& uuid() const noexcept { return uuid_; }
  const std::optional<std::string>& pathMd5() const noexcept { return pathMd5_; }

  /// In the device's order.
  const Subtitles& subtitles() const noexcept { return subtitles_; }

  static std::span<const ZRField<ZRShareVideoDetail>> fields();

  std::span<const NamePair> sc_collideKeyModelMap() const override;
  bool setJsonField(std::string_view name, const ZRValue& value) override;
  bool setJsonModels(std::string_view name, std::vector<std::shared_ptr<SCJSONRecord>> models) override;
  std::string description() const override;

 private:
  std::optional<std::string> url_;
  std::optional<std::string> uuid_;
  std::optional<std::string> pathMd5_;
  Subtitles subtitles_;
};
