#include <algorithm>
#include <cctype>
#include <map>
#include <regex>
#include <utility>

#include <gtest/gtest.h>

#include "Documents.h"
#include "LibraryFixture.h"
#include "ZRDownloadDataBase.h"

namespace {

using Names = std::set<std::string>;

/// What readers copy; every other language is output or a picture.
const Names kCode{"cpp", "cmake", "json", "sql"};
const Names kNoCode{"text", "mermaid", "sh"};

/// A block that another test compares with what a running library says.
constexpr std::string_view kDatabase = "sqlite_master";

/// The first cells of a section's rows that name something in the quotes given.
Names namesIn(const std::string& document, const std::string& heading, char quote) {
  Names names;
  for (const auto& cells : tableRows(document, heading)) {
    const std::string& name = cells.at(0);
    if (name.size() > 2 && name.front() == quote && name.back() == quote) names.insert(name.substr(1, name.size() - 2));
  }
  return names;
}

std::string withoutSpace(std::string text) {
  std::erase_if(text, [](unsigned char c) { return std::isspace(c) != 0; });
  return text;
}

/// Whether a line of the document is a heading with that anchor, as the hosts of repositories make it.
bool hasAnchor(const std::string& name, const std::string& anchor) {
  const std::vector<std::string> lines = linesOf(document(name));
  return std::any_of(lines.begin(), lines.end(), [&anchor](const std::string& line) {
    if (!line.starts_with('#')) return false;
    std::string made = std::regex_replace(line, std::regex("^#+ |[^\\w -]"), "");
    for (char& c : made) c = c == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return made == anchor;
  });
}

TEST(Docs, everyCodeBlockIsCutFromACompiledFile) {
  std::size_t compared = 0;
  Names shown;
  for (const std::string& name : documents()) {
    for (const CodeBlock& block : pageOf(name).blocks) {
      SCOPED_TRACE(name + ":" + std::to_string(block.line));
      shown.insert(block.source.substr(0, block.source.find('#')));
      if (kNoCode.contains(block.language)) continue;
      EXPECT_TRUE(kCode.contains(block.language)) << "unknown language: " << block.language;
      EXPECT_NE(block.source, "") << "a comment <!-- FILE --> or <!-- FILE#REGION --> is missing before the block";
      if (block.source.empty() || block.source == kDatabase) continue;
      EXPECT_EQ(block.text, textOfSource(block.source)) << "the block differs from " << block.source;
      ++compared;
    }
  }
  EXPECT_GT(compared, 15U);
  const std::string build = document("docs/snippets/CMakeLists.txt");
  for (const auto& entry : std::filesystem::directory_iterator(kSourceFolder / "docs/snippets")) {
    const std::string file = entry.path().filename().string();
    if (!file.ends_with(".cpp")) continue;
    EXPECT_TRUE(shown.contains("docs/snippets/" + file)) << file << " is shown nowhere";
    EXPECT_NE(build.find(file), std::string::npos) << file << " is not compiled";
  }
}

TEST(Docs, everyLinkLeadsToAFileAndAHeading) {
  std::size_t checked = 0;
  for (const std::string& name : documents()) {
    for (const auto& [target, anchor] : allPairs(pageOf(name).prose, R"(\]\(([^)#]*)(?:#([^)]*))?\))")) {
      if (target.starts_with("http")) continue;
      const auto beside = std::filesystem::path(name).parent_path() / target;
      const std::string file = target.empty() ? name : beside.lexically_normal().string();
      EXPECT_TRUE(std::filesystem::exists(kSourceFolder / file)) << name << " links to " << file;
      EXPECT_TRUE(anchor.empty() || hasAnchor(file, anchor)) << name << " links to " << file << "#" << anchor;
      ++checked;
    }
  }
  EXPECT_GT(checked, 20U);
}

TEST(Docs, tablesNameWhatTheCodeReads) {
  const char* const param = R"re(\bparams\["(\w+)"\])re";
  struct Case {
    const char* document;
    const char* heading;
    char quote;
    std::string code;
    const char* pattern;
  };
  const Case cases[] = {
      {"docs/options.md", "Options of setup", '"', document("Classes/Download/ZROptions.h"),
       R"re(kZROption\w+\{"(\w+)"\})re"},
      {"docs/options.md", "Who the host is", '`', document("Classes/Platform/ZRHost.h"),
       R"(std::string>? (\w+); +///<)"},
      {"docs/errors.md", "Reasons", '`', document("Classes/Platform/ZRErrorReason.h"), R"re(kZRReason\w+ = "(\w+)")re"},
      {"docs/tasks.md", "HLS: taskWithParams", '"', document("Classes/M3u8/ZRM3u8TaskRunner.cpp"), param},
      {"docs/tasks.md", "MP4: taskWith73Params", '"', document("Classes/73Mp4/ZR73Mp4TaskRunner.cpp"), param},
      {"docs/tasks.md", "Share: taskWithShareParams", '"', document("Classes/Share/ZRShareDownloadModel.cpp"),
       R"re(zrField<[^>]*>\("(\w+)")re"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(namesIn(c.document, c.heading, c.quote), allMatches(c.code, c.pattern)) << c.heading;
  }
  Names versions;
  for (const auto& cells : tableRows("docs/tasks.md", "Version codes")) {
    for (const std::string& cell : cells) versions.merge(allMatches(cell, R"(^(\d+)$)"));
  }
  EXPECT_EQ(versions, allMatches(document("Classes/Download/ZRDownloadVideoInfo.cpp"), R"re(\{(\d+), "url_)re"));
}

TEST(Docs, everyErrorOfTheLibraryIsInItsTable) {
  std::map<std::string, std::string> codes;  // by the enumerator's name
  for (const auto& [name, code] : allPairs(document("Classes/Platform/ZRError.h"), R"((\w+) = (\d+),)")) {
    codes[name] = code;
  }
  std::set<std::pair<std::string, std::string>> raised;
  for (const auto& [name, text] : allPairs(libraryCode(), R"re(ZRErrorCode::(\w+), "([^"]+)")re")) {
    raised.emplace(codes.at(name), text);
  }
  std::set<std::pair<std::string, std::string>> told;
  for (const auto& cells : tableRows("docs/errors.md", "The library's own codes")) {
    if (cells.at(1) != "–" && cells.at(0) != "code") told.emplace(cells.at(0), cells.at(1));
  }
  EXPECT_EQ(told, raised);
}

TEST(Docs, everyCodeOfTheHttpClientIsInATable) {
  const Names codes = allMatches(document("Classes/Network/SCNetworkErrors.h"), R"(= (-\d+),)");
  EXPECT_GT(codes.size(), 10U);
  Names told;
  for (const char* heading : {"Codes that leave a task Executing", "The library's own codes"}) {
    for (const auto& cells : tableRows("docs/errors.md", heading)) {
      for (const std::string& cell : cells) told.merge(allMatches(cell, R"((-\d+))"));
    }
  }
  for (const std::string& code : codes) EXPECT_TRUE(told.contains(code)) << code;
}

class DocsDatabase : public LibraryFixture {
 protected:
  /// The first column of every row.
  std::vector<std::string> column(const std::string& sql) {
    std::vector<std::string> texts;
    manager()->db()->executeQuery(sql, [&texts](ZRResultSet* rows) {
      while (rows != nullptr && rows->next()) texts.push_back(rows->textForColumnIndex(0).value_or(""));
    });
    return texts;
  }
};

TEST_F(DocsDatabase, schemaIsThatOfANewFileAndEveryColumnIsExplained) {
  const std::string page = "docs/files-and-database.md";
  manager()->setup(options());
  std::string made;
  for (const std::string& sql : column("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"))
    made += sql + ";\n";
  std::string told;
  for (const CodeBlock& block : pageOf(page).blocks) told += block.source == kDatabase ? block.text : "";
  EXPECT_EQ(withoutSpace(told), withoutSpace(made)) << made;

  const Names explained = allMatches(document(page), "`(\\w+)`");
  const std::vector<std::string> tables = column("SELECT name FROM sqlite_master WHERE type = 'table'");
  EXPECT_EQ(tables.size(), 4U);
  for (const std::string& table : tables) {
    EXPECT_TRUE(explained.contains(table)) << table;
    for (const std::string& name : column("SELECT name FROM pragma_table_info('" + table + "')")) {
      EXPECT_TRUE(explained.contains(name)) << table << "." << name;
    }
  }
}

}  // namespace
