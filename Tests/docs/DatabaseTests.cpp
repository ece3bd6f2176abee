#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "LibraryFixture.h"
#include "ZRDownloadDataBase.h"

namespace {

std::string withoutSpace(std::string text) {
  std::erase_if(text, [](unsigned char c) { return std::isspace(c) != 0; });
  return text;
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

TEST_F(DocsDatabase, schemaIsThatOfANewFileAndColumnsAreExplained) {
  manager()->setup(options());
  std::string made;
  for (const std::string& sql : column("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid"))
    made += sql + ";\n";
  const std::string page = readFile(ZR_SOURCE_DIR "/docs/files-and-database.md");
  const std::string fence = "<!-- sqlite_master -->\n```sql\n";
  const std::string told = page.substr(page.find(fence) + fence.size());
  EXPECT_EQ(withoutSpace(told.substr(0, told.find("```"))), withoutSpace(made)) << made;
  for (const std::string& name : column("SELECT name FROM sqlite_master WHERE type = 'table' UNION SELECT c.name FROM "
                                        "sqlite_master AS t, pragma_table_info(t.name) AS c WHERE t.type = 'table'")) {
    EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name;
  }
}

}  // namespace
