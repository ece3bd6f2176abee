#include <algorithm>
#include <cctype>
#include <regex>

#include <gtest/gtest.h>

#include "Documents.h"

namespace {

/// A heading's anchor as the hosts of repositories make it.
std::string anchorOf(std::string_view heading) {
  std::string anchor;
  for (const char c : heading) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_') {
      anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

bool hasAnchor(const std::string& name, const std::string& anchor) {
  const std::vector<std::string> lines = linesOf(document(name));
  return std::any_of(lines.begin(), lines.end(), [&anchor](const std::string& line) {
    const std::size_t text = line.find_first_not_of('#');
    return line.starts_with('#') && text != std::string::npos && anchorOf(line.substr(text + 1)) == anchor;
  });
}

TEST(Docs, everyLinkLeadsToAFileAndAHeading) {
  const std::regex link(R"(\]\(([^)#]*)(?:#([^)]*))?\))");
  std::size_t checked = 0;
  for (const std::string& name : documents()) {
    const std::string text = proseOf(name);
    const auto folder = std::filesystem::path(name).parent_path();
    for (std::sregex_iterator it(text.begin(), text.end(), link), end; it != end; ++it) {
      const std::string target = (*it)[1];
      const std::string anchor = (*it)[2];
      if (target.starts_with("http")) continue;
      const std::string file = target.empty() ? name : (folder / target).lexically_normal().string();
      EXPECT_TRUE(std::filesystem::exists(sourceFolder() / file)) << name << " links to " << file;
      EXPECT_TRUE(anchor.empty() || hasAnchor(file, anchor)) << name << " links to " << file << "#" << anchor;
      ++checked;
    }
  }
  EXPECT_GT(checked, 20U);
}

}  // namespace
