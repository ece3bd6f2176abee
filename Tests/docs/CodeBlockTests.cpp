#include <set>

#include <gtest/gtest.h>

#include "Documents.h"

namespace {

/// What readers copy; every other language is output or a picture.
const std::set<std::string> kCode{"cpp", "cmake", "json", "sql"};
const std::set<std::string> kNoCode{"text", "mermaid", "sh"};

/// A block that another test compares with what a running library says.
constexpr std::string_view kDatabase = "sqlite_master";

TEST(Docs, everyCodeBlockIsCutFromACompiledFile) {
  std::size_t compared = 0;
  for (const std::string& name : documents()) {
    for (const CodeBlock& block : codeBlocksOf(name)) {
      SCOPED_TRACE(block.document + ":" + std::to_string(block.line));
      if (kNoCode.contains(block.language)) continue;
      EXPECT_TRUE(kCode.contains(block.language)) << "unknown language: " << block.language;
      EXPECT_NE(block.source, "") << "a comment <!-- FILE --> or <!-- FILE#REGION --> is missing before the block";
      if (block.source.empty() || block.source == kDatabase) continue;
      EXPECT_EQ(block.text, textOfSource(block.source)) << "the block differs from " << block.source;
      ++compared;
    }
  }
  EXPECT_GT(compared, 15U);
}

TEST(Docs, everySnippetFileIsShownAndCompiled) {
  const std::string build = document("docs/snippets/CMakeLists.txt");
  std::set<std::string> shown;
  for (const std::string& name : documents()) {
    for (const CodeBlock& block : codeBlocksOf(name)) shown.insert(block.source.substr(0, block.source.find('#')));
  }
  for (const auto& entry : std::filesystem::directory_iterator(sourceFolder() / "docs/snippets")) {
    const std::string file = entry.path().filename().string();
    if (entry.path().extension() != ".cpp") continue;
    EXPECT_TRUE(shown.contains("docs/snippets/" + file)) << file << " is shown nowhere";
    EXPECT_NE(build.find(file), std::string::npos) << file << " is not compiled";
  }
}

}  // namespace
