#include <gtest/gtest.h>

#include "SCJSONUtil.h"
#include "SCNetworkResponseParser.h"

namespace {

using Parsed = std::variant<SCParserResult, ZRError>;

/// Writes down what it is told.
class Film final : public SCJSONRecord {
 public:
  std::string description() const override { return calls_; }
  void sc_willFinishConvert(const ZRValue& refObj) override { calls_ += "end " + refObj.textValue().value_or("-"); }
  bool setJsonField(std::string_view name, const ZRValue& value) override {
    calls_.append(name).append("=").append(value.textValue().value_or("?")).append(", ");
    return true;
  }

 private:
  std::string calls_;
};

SCNetworkModelResponseParser parserFor(const std::string& target) {
  SCJSONUtil::registerModel("Film", [] { return std::make_shared<Film>(); });
  SCNetworkModelResponseParser parser;
  parser.setCheckKeyPath("status");
  parser.setOkValue("200");
  parser.setTargetKeyPath(target);
  parser.setErrorMsgKeyPath("error/text");
  parser.setModelName("Film");
  parser.setRefObj(7);
  return parser;
}

Parsed select(const std::string& target, std::string_view body) {
  return parserFor(target).SCNetworkJsonResponseParser::parse(body);
}

std::int64_t codeOf(const Parsed& parsed) {
  const auto* const error = std::get_if<ZRError>(&parsed);
  return error == nullptr ? 0 : error->code();
}

constexpr auto kRefused = static_cast<std::int64_t>(SCURLErrorCode::BadServerResponse);
constexpr auto kNoJson = static_cast<std::int64_t>(SCURLErrorCode::CannotParseResponse);

}  // namespace

TEST(SCNetworkJsonResponseParser, givesTheValueAtTheTarget) {
  const auto valueAt = [](const std::string& target) {
    const char* const body = R"({"status": 200, "data": {"shareUrl": "http://x", "n": null}})";
    return std::get<SCParserResult>(select(target, body)).value;
  };
  EXPECT_EQ(valueAt("data/shareUrl"), ZRValue("http://x"));
  EXPECT_TRUE(valueAt("data/n").isNull());
  EXPECT_TRUE(valueAt("data/shareUrl/deeper").isAbsent());
  EXPECT_TRUE(valueAt("missing").isAbsent());
  EXPECT_EQ(valueAt("").asDictionary()->size(), 2U);
  EXPECT_EQ(codeOf(SCNetworkJsonResponseParser().parse("[1]")), 0) << "an empty check path checks nothing";
}

TEST(SCNetworkJsonResponseParser, comparesTheCheckValueAsText) {
  const auto codeFor = [](const std::string& status) { return codeOf(select("", "{\"status\": " + status + "}")); };
  for (const char* status : {"200", "\"200\"", "200.0"}) EXPECT_EQ(codeFor(status), 0) << status;
  for (const char* status : {"500", "\"2000\"", "true", "null", "[200]", "{}", "20.5"}) {
    EXPECT_EQ(codeFor(status), kRefused) << status;
  }
}

TEST(SCNetworkJsonResponseParser, tellsWhatAServerRefusedWith) {
  const auto error = std::get<ZRError>(select("data", R"({"status": 203, "error": {"text": "已删除"}, "data": 1})"));
  EXPECT_EQ(error.code(), kRefused);
  EXPECT_EQ(error.localizedDescription(), "已删除");
  EXPECT_EQ(error.userInfo()[SCNJsonParserErrorKey_RealValue].int64Value(), 203);
  EXPECT_EQ((*error.userInfo()[SCNJsonParserErrorKey_RawJSON].asDictionary())["data"].int64Value(), 1);

  const auto silent = std::get<ZRError>(select("data", "[]"));
  EXPECT_FALSE(silent.localizedDescription().empty());
  EXPECT_TRUE(silent.userInfo()[SCNJsonParserErrorKey_RealValue].isAbsent());
}

TEST(SCNetworkJsonResponseParser, whatIsNoJsonIsAnErrorOfItsOwn) {
  std::string manyValues = "[{}";
  for (int i = 0; i < 199'998; ++i) manyValues += ",{}";
  EXPECT_EQ(codeOf(SCNetworkJsonResponseParser().parse(manyValues + "]")), 0);
  manyValues += ",1]";
  for (const std::string_view body : {"", "<html>", "{\"status\": 200", "{}x", "\"\xFF\"", manyValues.c_str()}) {
    const auto error = std::get<ZRError>(select("", body));
    EXPECT_EQ(error.code(), kNoJson);
    EXPECT_TRUE(error.userInfo()[SCNJsonParserErrorKey_RawJSON].isAbsent());
  }
}

TEST(SCNetworkModelResponseParser, makesARecordOfTheTargetOrSaysThatThereIsNone) {
  const auto parse = [](const std::string& data) {
    return parserFor("data").parse(R"({"status": "200", "data": )" + data + "}");
  };
  const auto result = std::get<SCParserResult>(parse(R"({"name": "t"})"));
  EXPECT_EQ(result.model->description(), "name=t, end 7");
  EXPECT_TRUE(result.value.isAbsent());
  for (const char* data : {"[]", "\"x\"", "null"}) {
    const auto error = std::get<ZRError>(parse(data));
    EXPECT_EQ(error.code(), kNoJson) << data;
    EXPECT_TRUE(error.userInfo()[SCNJsonParserErrorKey_RawJSON].asDictionary()) << data;
  }
  SCNetworkModelResponseParser unknown = parserFor("");
  unknown.setModelName("Nobody");
  EXPECT_EQ(codeOf(unknown.parse(R"({"status": 200})")), kNoJson);
  EXPECT_EQ(codeOf(unknown.parse(R"({"status": 201})")), kRefused);
}
