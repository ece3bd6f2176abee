#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "SCJSONUtil.h"
#include "SCNetworkResponseParser.h"

namespace {

class Titled final : public SCJSONRecord {
 public:
  std::string description() const override { return title; }
  bool setJsonField(std::string_view name, const ZRValue& value) override {
    if (name == "title") title = value.textValue().value_or("");
    return name == "title";
  }
  std::string title;
};

SCNetworkModelResponseParser parserFor(const std::string& target) {
  SCJSONUtil::registerModel("Titled", [] { return std::make_shared<Titled>(); });
  SCNetworkModelResponseParser parser;
  parser.setCheckKeyPath("status");
  parser.setOkValue("200");
  parser.setTargetKeyPath(target);
  parser.setErrorMsgKeyPath("error/text");
  parser.setModelName("Titled");
  return parser;
}

std::variant<SCParserResult, ZRError> select(const std::string& target, std::string_view body) {
  return parserFor(target).SCNetworkJsonResponseParser::parse(body);
}

std::int64_t codeOf(const std::variant<SCParserResult, ZRError>& parsed) {
  const auto* const error = std::get_if<ZRError>(&parsed);
  return error == nullptr ? 0 : error->code();
}

constexpr auto kRefused = static_cast<std::int64_t>(SCURLErrorCode::BadServerResponse);
constexpr auto kNoJson = static_cast<std::int64_t>(SCURLErrorCode::CannotParseResponse);

}  // namespace

TEST(SCNetworkJsonResponseParser, givesTheValueAtTheTarget) {
  const std::string body = R"({"status": 200, "data": {"shareUrl": "http://x", "n": null}})";
  EXPECT_EQ(std::get<SCParserResult>(select("data/shareUrl", body)).value, ZRValue("http://x"));
  EXPECT_TRUE(std::get<SCParserResult>(select("data/n", body)).value.isNull());
  EXPECT_TRUE(std::get<SCParserResult>(select("data/shareUrl/deeper", body)).value.isAbsent());
  EXPECT_TRUE(std::get<SCParserResult>(select("missing", body)).value.isAbsent());
  EXPECT_EQ(std::get<SCParserResult>(select("", body)).value.asDictionary()->size(), 2U);
  EXPECT_EQ(codeOf(SCNetworkJsonResponseParser().parse("[1]")), 0) << "an empty check path checks nothing";
}

TEST(SCNetworkJsonResponseParser, comparesTheCheckValueAsText) {
  for (const char* status : {"200", "\"200\"", "200.0"}) {
    EXPECT_EQ(codeOf(select("", std::string("{\"status\": ") + status + "}")), 0) << status;
  }
  for (const char* status : {"500", "\"2000\"", "true", "null", "[200]", "{}", "20.5"}) {
    EXPECT_EQ(codeOf(select("", std::string("{\"status\": ") + status + "}")), kRefused) << status;
  }
}

TEST(SCNetworkJsonResponseParser, tellsWhatAServerRefusedWith) {
  const auto parsed = select("data", R"({"status": 203, "error": {"text": "已删除"}, "data": 1})");
  const ZRError& error = std::get<ZRError>(parsed);
  EXPECT_EQ(error.code(), kRefused);
  EXPECT_EQ(error.localizedDescription(), "已删除");
  EXPECT_EQ(error.userInfo()[SCNJsonParserErrorKey_RealValue].int64Value(), 203);
  EXPECT_EQ((*error.userInfo()[SCNJsonParserErrorKey_RawJSON].asDictionary())["data"].int64Value(), 1);

  const auto silent = select("data", "[]");
  EXPECT_FALSE(std::get<ZRError>(silent).localizedDescription().empty());
  EXPECT_TRUE(std::get<ZRError>(silent).userInfo()[SCNJsonParserErrorKey_RealValue].isAbsent());
}

TEST(SCNetworkJsonResponseParser, whatIsNoJsonIsAnErrorOfItsOwn) {
  for (const std::string& body : {std::string(), std::string("<html>"), std::string("{\"status\": 200"),
                                  std::string("{}x"), std::string("\"\xFF\""), std::string(100'000, '[')}) {
    const auto parsed = select("", body);
    EXPECT_EQ(codeOf(parsed), kNoJson);
    EXPECT_TRUE(std::get<ZRError>(parsed).userInfo().empty());
  }
}

TEST(SCNetworkModelResponseParser, makesARecordOfTheTarget) {
  const auto parsed = parserFor("data").parse(R"({"status": "200", "data": {"title": "t"}})");
  const SCParserResult& result = std::get<SCParserResult>(parsed);
  EXPECT_EQ(std::dynamic_pointer_cast<Titled>(result.model)->title, "t");
  EXPECT_TRUE(result.value.isAbsent());
}

TEST(SCNetworkModelResponseParser, aTargetThatHoldsNoRecordIsAnError) {
  for (const char* data : {"[]", "\"x\"", "null"}) {
    const auto parsed = parserFor("data").parse(std::string(R"({"status": 200, "data": )") + data + "}");
    EXPECT_EQ(codeOf(parsed), kNoJson) << data;
    EXPECT_TRUE(std::get<ZRError>(parsed).userInfo()[SCNJsonParserErrorKey_RawJSON].asDictionary()) << data;
  }
  SCNetworkModelResponseParser unknown = parserFor("");
  unknown.setModelName("Nobody");
  EXPECT_EQ(codeOf(unknown.parse(R"({"status": 200})")), kNoJson);
  EXPECT_EQ(codeOf(unknown.parse(R"({"status": 201})")), kRefused);
}
