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

TEST(Docs, optionsAreThoseThatTheLibraryReads) {
  const std::string code = libraryCode();
  Names read = allMatches(code, R"re(\boptions\["(\w+)"\])re");
  read.merge(allMatches(code, R"re(HandlerOf\(options, "(\w+)"\))re"));
  read.merge(allMatches(code, R"re(\bopts(?:_|\(\))\["(\w+)"\])re"));
  EXPECT_EQ(namesIn("docs/options.md", "Options of setup", '"'), read);
}

TEST(Docs, hostFieldsAreThoseOfZRHostInfo) {
  const std::string header = document("Classes/Platform/ZRHost.h");
  EXPECT_EQ(namesIn("docs/options.md", "Who the host is", '`'), allMatches(header, R"(std::string>? (\w+); +///<)"));
}

TEST(Docs, parametersAreThoseThatTheRunnersRead) {
  const auto readIn = [](const std::string& file, const std::string& pattern) {
    return allMatches(document("Classes/" + file), pattern);
  };
  const std::string param = R"re(\bparams\["(\w+)"\])re";
  EXPECT_EQ(namesIn("docs/tasks.md", "HLS: taskWithParams", '"'), readIn("M3u8/ZRM3u8TaskRunner.cpp", param));
  EXPECT_EQ(namesIn("docs/tasks.md", "MP4: taskWith73Params", '"'), readIn("73Mp4/ZR73Mp4TaskRunner.cpp", param));
  EXPECT_EQ(namesIn("docs/tasks.md", "Share: taskWithShareParams", '"'),
            readIn("Share/ZRShareDownloadModel.cpp", R"re(zrField<[^>]*>\("(\w+)")re"));
}

TEST(Docs, versionCodesAreThoseWithAnAddress) {
  Names told;
  for (const auto& cells : tableRows("docs/tasks.md", "Version codes")) {
    for (const std::string& cell : cells) {
      if (!cell.empty() && std::all_of(cell.begin(), cell.end(), [](unsigned char c) { return std::isdigit(c) != 0; }))
        told.insert(cell);
    }
  }
  EXPECT_EQ(told, allMatches(document("Classes/Download/ZRDownloadVideoInfo.cpp"), R"re(\{(\d+), "url_)re"));
}

TEST(Docs, everyErrorOfTheLibraryIsInItsTable) {
  const std::string header = document("Classes/Platform/ZRError.h");
  std::map<std::string, std::string> codes;  // by the enumerator's name
  const std::regex enumerator(R"((\w+) = (\d+),)");
  for (std::sregex_iterator it(header.begin(), header.end(), enumerator), end; it != end; ++it) {
    codes[(*it)[1]] = (*it)[2];
  }
  std::set<std::pair<std::string, std::string>> raised;
  const std::string code = libraryCode();
  const std::regex made(R"re(ZRErrorCode::(\w+), "([^"]+)")re");
  for (std::sregex_iterator it(code.begin(), code.end(), made), end; it != end; ++it) {
    raised.emplace(codes.at((*it)[1]), (*it)[2]);
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

TEST_F(DocsDatabase, schemaIsThatOfANewFile) {
  manager()->setup(options());
  std::string made;
  for (const std::string& sql : column("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"))
    made += sql + ";\n";
  std::string told;
  for (const CodeBlock& block : codeBlocksOf("docs/files-and-database.md")) {
    if (block.source == "sqlite_master") told += block.text;
  }
  EXPECT_EQ(withoutSpace(told), withoutSpace(made)) << made;
}

TEST_F(DocsDatabase, everyColumnIsExplained) {
  manager()->setup(options());
  const Names told = allMatches(document("docs/files-and-database.md"), "`(\\w+)`");
  const std::vector<std::string> tables = column("SELECT name FROM sqlite_master WHERE type = 'table'");
  EXPECT_EQ(tables.size(), 4U);
  for (const std::string& table : tables) {
    EXPECT_TRUE(told.contains(table)) << table;
    for (const std::string& name : column("SELECT name FROM pragma_table_info('" + table + "')")) {
      EXPECT_TRUE(told.contains(name)) << table << "." << name;
    }
  }
}

}  // namespace
