#include <algorithm>
#include <sstream>

#include "Options.h"
#include "ZrdlSite.h"

/// The script `words` compares the rest of the help with the manual and the completions.
TEST(ZrdlHelp, everyCommandHasExamplesThatAreItsOwn) {
  for (const std::string command : {"hls", "mp4", "share", "batch", "resume", "list", "rm", "path", "export", "demo"}) {
    ZrdlProcess help({command, "--help"});
    EXPECT_EQ(help.wait(), 0);
    std::size_t examples = 0;
    std::istringstream lines(help.out());
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with("  zrdl ")) continue;
      line = line.substr(2, line.find(" | ") - 2);  // without another program, or a comment
      std::vector<std::string> words = wordsOf(line.substr(0, line.find("  ")));
      if (std::find(words.begin(), words.end(), command) == words.end()) continue;
      std::vector<char*> argv;
      for (std::string& word : words) argv.push_back(word.data());
      const auto parsed = zrdl::parseOptions(static_cast<int>(argv.size()), argv.data());
      EXPECT_TRUE(std::holds_alternative<zrdl::Options>(parsed)) << line;
      ++examples;
    }
    EXPECT_TRUE(examples > 0 || command == "path") << command;  // whose example stands in another program's line
  }
}
