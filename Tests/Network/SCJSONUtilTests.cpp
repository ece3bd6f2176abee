#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SCJSONUtil.h"
#include "ZRValueSax.h"

namespace {

using testing::ElementsAre;

class Line final : public SCJSONRecord {
 public:
  std::string description() const override { return text; }
  bool setJsonField(std::string_view name, const ZRValue& value) override {
    if (name == "text") text = value.textValue().value_or("");
    return name == "text";
  }
  std::string text;
};

/// Writes down every call, in order.
class Film final : public SCJSONRecord {
 public:
  std::string description() const override { return "film"; }

  std::span<const NamePair> sc_collideKeysMap() const override {
    static constexpr NamePair kNames[] = {{"video_name", "name"}, {"fee", "notFree"}, {"subs", "lines"}};
    return kNames;
  }
  std::span<const NamePair> sc_collideKeyModelMap() const override {
    static constexpr NamePair kClasses[] = {{"subs", "Line"}, {"others", "Line"}};
    return kClasses;
  }
  bool sc_unDefinedKey(std::string& key, ZRValue& value, const ZRValue& refObj) override {
    calls.push_back("undefined " + key + " " + refObj.textValue().value_or("-"));
    if (key != "size_high") return false;
    key = "size";
    value = ZRValue(value.doubleValue() * 2);
    return true;
  }
  void sc_willFinishConvert(const ZRValue& refObj) override {
    calls.push_back("end " + refObj.textValue().value_or("-"));
  }
  bool setJsonField(std::string_view name, const ZRValue& value) override {
    if (name != "name" && name != "size") return false;
    calls.push_back(std::string(name) + "=" + (value.isAbsent() ? "absent" : value.textValue().value_or("?")));
    return true;
  }
  bool setJsonModels(std::string_view name, std::vector<std::shared_ptr<SCJSONRecord>> models) override {
    if (name != "lines") return false;
    for (const auto& model : models) calls.push_back("line " + model->description());
    return true;
  }

  std::vector<std::string> calls;
};

std::vector<std::string> callsFor(const std::string& json, const ZRValue& refObj = ZRValue()) {
  SCJSONUtil::registerModel("Line", [] { return std::make_shared<Line>(); });
  SCJSONUtil::registerModel("Film", [] { return std::make_shared<Film>(); });
  const auto document = ZRValueSax::parseJson(json);
  const auto film = SCJSONUtil::makeModel("Film", *document->asDictionary(), refObj);
  return std::dynamic_pointer_cast<Film>(film)->calls;
}

}  // namespace

TEST(SCJSONUtil, visitsKeysInTheOrderOfTheDocument) {
  EXPECT_THAT(callsFor(R"({"size": "7", "b": 1, "video_name": 5, "a": 2, "name": null})", 265),
              ElementsAre("size=7", "undefined b 265", "name=5", "undefined a 265", "name=absent", "end 265"));
}

TEST(SCJSONUtil, theHookRedirectsAKey) {
  EXPECT_THAT(callsFor(R"({"size_high": "4", "fee": 1})"),
              ElementsAre("undefined size_high -", "size=8", "undefined notFree -", "end -"));
}

TEST(SCJSONUtil, aListBecomesRecordsOfItsClass) {
  EXPECT_THAT(callsFor(R"({"subs": [{"text": "a"}, 5, {"text": "b"}, null]})"),
              ElementsAre("line a", "line b", "end -"));
  EXPECT_THAT(callsFor(R"({"subs": "x", "others": []})"),
              ElementsAre("undefined lines -", "undefined others -", "end -"));
}

TEST(SCJSONUtil, anUnknownClassMakesNoRecord) {
  EXPECT_EQ(SCJSONUtil::makeModel("Nobody", {}, {}), nullptr);
}
