#include <optional>

#include "LibraryFixture.h"
#include "ProbeTask.h"

namespace {

using ZRDownloadManagerLoggerTest = LibraryFixture;

TEST_F(ZRDownloadManagerLoggerTest, recordsRenderTheirFormatsAsTheyStandInTheCode) {
  std::vector<ZRDictionary> records;
  manager()->setLoggerHandler([&records](const ZRDictionary& record, const ZRValue& reserved) {
    EXPECT_TRUE(reserved.isNull());
    records.push_back(record);
  });
  const auto record = [](unsigned level, const char* tag, const char* message) {
    return ZRDictionary{{"level", level}, {"tag", tag}, {"msg", message}};
  };
  manager()->log(2, nullptr, "plain");
  manager()->log(0, "tag", "100%% of %ld", 7);
  manager()->log(0, nullptr, "ts:%ld/%ld use %0.2f s;", std::int64_t{-9'000'000'000}, std::int64_t{12}, 1.005);
  manager()->log(0, nullptr, "%@|%@|%@|%@", std::make_shared<ProbeTask>("【a】"), std::shared_ptr<ProbeTask>(),
                 std::optional<std::string>(), std::string("50% %@ {}"));
  manager()->log(0, nullptr, "MaxConcurrent %u %llu %d", std::uint8_t{200}, std::uint64_t{1} << 63, -3);
  manager()->log(0, nullptr, "ends with %");
  manager()->log(0, nullptr, "too few %ld %ld", 1);
  manager()->log(0, nullptr, "wrong type %ld", "text");
  EXPECT_EQ(records, std::vector<ZRDictionary>({record(2, "", "plain"), record(0, "tag", "100% of 7"),
                                                record(0, "", "ts:-9000000000/12 use 1.00 s;"),
                                                record(0, "", "【a】|(null)|(null)|50% %@ {}"),
                                                record(0, "", "MaxConcurrent 200 9223372036854775808 -3")}));
}

TEST_F(ZRDownloadManagerLoggerTest, withoutALoggerNothingIsDescribed) {
  struct Describing {
    std::string description() const {
      ADD_FAILURE() << "described";
      return "x";
    }
  };
  manager()->log(0, nullptr, "%@", Describing());
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
