#include "Documents.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

/// The lines without the first one's indent, as far as they have it.
std::string outdented(const std::vector<std::string>& lines) {
  const std::string indent = lines.empty() ? "" : lines.front().substr(0, lines.front().find_first_not_of(' '));
  std::string text;
  for (const std::string& line : lines) text += line.substr(line.starts_with(indent) ? indent.size() : 0) + '\n';
  return text;
}

}  // namespace

std::vector<std::string> documents() {
  std::vector<std::string> names{"README.md", "CONTRIBUTING.md"};
  for (const auto& entry : fs::directory_iterator(kSourceFolder / "docs")) {
    if (entry.path().extension() == ".md") names.push_back("docs/" + entry.path().filename().string());
  }
  return names;
}

std::string document(const std::string& name) {
  return readFile(kSourceFolder / name);
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

Page pageOf(const std::string& name) {
  Page page;
  bool inside = false;
  std::size_t number = 0;
  std::string before;
  for (const std::string& line : linesOf(document(name))) {
    ++number;
    if (!line.starts_with("```")) {
      (inside ? page.blocks.back().text : page.prose) += line + '\n';
    } else if (inside = !inside; inside) {
      const auto sources = allMatches(before, "^<!-- (.*) -->$");
      page.blocks.push_back({number, line.substr(3), sources.empty() ? "" : *sources.begin(), {}});
    }
    before = line;
  }
  page.prose = std::regex_replace(page.prose, std::regex("`[^`]*`"), "");
  return page;
}

std::string textOfSource(const std::string& source) {
  const std::size_t hash = source.find('#');
  const std::vector<std::string> lines = linesOf(document(source.substr(0, hash)));
  auto first = lines.begin();
  auto last = lines.end();
  if (hash != std::string::npos) {
    const std::regex marker(R"(\s*(//|#) \[)" + source.substr(hash + 1) + R"(\]\s*)");
    const auto isMarker = [&marker](const std::string& line) { return std::regex_match(line, marker); };
    first = std::find_if(first, last, isMarker);
    if (first != last) last = std::find_if(++first, last, isMarker);
    if (last == lines.end()) return {};
  } else if (source.ends_with(".cpp")) {
    first = std::find_if(first, last, [](const auto& line) { return !line.empty() && !line.starts_with("//"); });
  }
  return outdented({first, last});
}

std::vector<std::vector<std::string>> tableRows(const std::string& name, const std::string& heading) {
  std::vector<std::vector<std::string>> rows;
  bool inside = false;
  for (const std::string& line : linesOf(document(name))) {
    if (line.starts_with('#')) inside = line.substr(line.find(' ') + 1) == heading;
    if (!inside || !line.starts_with('|') || line.starts_with("|--")) continue;
    rows.emplace_back();
    for (const auto& [cell, none] : allPairs(line, R"(\|\s*([^|]*?)\s*(?=\|))")) rows.back().push_back(cell);
  }
  return rows;
}

std::set<std::string> allMatches(const std::string& text, const std::string& pattern) {
  std::set<std::string> found;
  for (const auto& [first, second] : allPairs(text, pattern)) found.insert(first);
  return found;
}

std::vector<std::pair<std::string, std::string>> allPairs(const std::string& text, const std::string& pattern) {
  std::vector<std::pair<std::string, std::string>> found;
  const std::regex regex(pattern);
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) {
    found.emplace_back((*it)[1], (*it)[2]);
  }
  return found;
}

std::string libraryCode() {
  std::string code;
  for (const auto& entry : fs::recursive_directory_iterator(kSourceFolder / "Classes")) {
    const fs::path extension = entry.path().extension();
    if (extension == ".h" || extension == ".cpp") code += readFile(entry.path());
  }
  return code;
}
