#include <optional>

#include "LibraryFixture.h"
#include "ProbeTask.h"

namespace {

using ZRDownloadManagerLoggerTest = LibraryFixture;

TEST_F(ZRDownloadManagerLoggerTest, recordHoldsLevelTagAndMessage) {
  std::vector<ZRDictionary> records;
  bool reservedIsNull = false;
  manager()->setLoggerHandler([&](const ZRDictionary& record, const ZRValue& reserved) {
    records.push_back(record);
    reservedIsNull = reserved.isNull();
  });
  manager()->log(2, nullptr, "plain");
  manager()->log(0, "tag", "100%% of %ld", 7);
  EXPECT_EQ(records, std::vector<ZRDictionary>({{{"level", 2U}, {"tag", ""}, {"msg", "plain"}},
                                                {{"level", 0U}, {"tag", "tag"}, {"msg", "100% of 7"}}}));
  EXPECT_TRUE(reservedIsNull);
}

TEST_F(ZRDownloadManagerLoggerTest, formatsRenderAsTheyStandInTheCode) {
  manager()->setLoggerHandler(options()["logger_handler"].asRecordHandler()
                                  ? *options()["logger_handler"].asRecordHandler()
                                  : ZRLoggerHandler());
  const std::shared_ptr<ProbeTask> task = std::make_shared<ProbeTask>("【a】");
  const std::int64_t big = -9'000'000'000;
  manager()->log(0, nullptr, "ts:%ld/%ld use %0.2f s;", big, std::int64_t{12}, 1.005);
  manager()->log(0, nullptr, "%@|%@|%@|%@", task, std::shared_ptr<ProbeTask>(), std::optional<std::string>(),
                 std::string("50% %@ {}"));
  manager()->log(0, nullptr, "MaxConcurrent %u %llu %d", std::uint8_t{200}, std::uint64_t{1} << 63, -3);
  manager()->log(0, nullptr, "ends with %");
  manager()->log(0, nullptr, "too few %ld %ld", 1);
  manager()->log(0, nullptr, "wrong type %ld", "text");
  EXPECT_EQ(messages(0), std::vector<std::string>({"ts:-9000000000/12 use 1.00 s;", "【a】|(null)|(null)|50% %@ {}",
                                                   "MaxConcurrent 200 9223372036854775808 -3"}));
}

TEST_F(ZRDownloadManagerLoggerTest, withoutALoggerNothingIsDescribed) {
  struct Describing {
    mutable int calls = 0;
    std::string description() const {
      ++calls;
      return "x";
    }
  } object;
  manager()->log(0, nullptr, "%@", object);
  EXPECT_EQ(object.calls, 0);
}

TEST_F(ZRDownloadManagerLoggerTest, reportHandlerIsLookedUpAtEachReport) {
  manager()->cc(201, 5);  // nobody listens yet
  manager()->setup(options());
  manager()->cc(202, -1);
  EXPECT_EQ(reports_, std::vector<ZRDictionary>({{{"stype", 202U}, {"version", -1}}}));
  manager()->setup({});
  manager()->cc(202, 1);
  EXPECT_EQ(reports_.size(), 1U);
}

}  // namespace
