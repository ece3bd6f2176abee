#include "Documents.h"

#include <algorithm>
#include <regex>

#include "TemporaryFolder.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kFence = "```";

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

/// What a line `<!-- … -->` holds; empty when it is no such line.
std::string commentIn(std::string_view line) {
  if (!line.starts_with("<!-- ") || !line.ends_with(" -->")) return {};
  return std::string(line.substr(5, line.size() - 9));
}

bool isMarker(std::string_view line, const std::string& region) {
  const std::string text = trimmed(line);
  return text == "// [" + region + "]" || text == "# [" + region + "]";
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

/// The lines without the first one's indent, as far as they have it.
std::vector<std::string> outdented(std::vector<std::string> lines) {
  const std::string indent = lines.empty() ? "" : lines.front().substr(0, lines.front().find_first_not_of(' '));
  for (std::string& line : lines) {
    if (line.starts_with(indent)) line.erase(0, indent.size());
  }
  return lines;
}

std::vector<std::string> withoutLeadingComment(std::vector<std::string> lines) {
  const auto isCode = [](const std::string& line) { return !line.empty() && !line.starts_with("//"); };
  lines.erase(lines.begin(), std::find_if(lines.begin(), lines.end(), isCode));
  return lines;
}

}  // namespace

fs::path sourceFolder() {
  return ZR_SOURCE_DIR;
}

std::vector<std::string> documents() {
  std::vector<std::string> names{"README.md", "CONTRIBUTING.md"};
  for (const auto& entry : fs::directory_iterator(sourceFolder() / "docs")) {
    if (entry.path().extension() == ".md") names.push_back("docs/" + entry.path().filename().string());
  }
  return names;
}

std::string document(const std::string& name) {
  return readFile(sourceFolder() / name);
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string proseOf(const std::string& name) {
  std::string prose;
  bool inside = false;
  for (const std::string& line : linesOf(document(name))) {
    const bool isFence = line.starts_with(kFence);
    if (isFence) inside = !inside;
    if (!inside && !isFence) prose += line + '\n';
  }
  return std::regex_replace(prose, std::regex("`[^`]*`"), "");
}

std::vector<CodeBlock> codeBlocksOf(const std::string& name) {
  std::vector<CodeBlock> blocks;
  const std::vector<std::string> lines = linesOf(document(name));
  bool inside = false;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const bool isFence = lines[i].starts_with(kFence);
    if (isFence && !inside) {
      const std::string source = i > 0 ? commentIn(lines[i - 1]) : std::string();
      blocks.push_back({name, i + 1, lines[i].substr(kFence.size()), source, {}});
    } else if (inside && !isFence) {
      blocks.back().text += lines[i] + '\n';
    }
    if (isFence) inside = !inside;
  }
  return blocks;
}

std::string textOfSource(const std::string& source) {
  const std::size_t hash = source.find('#');
  const std::string file = source.substr(0, hash);
  const std::vector<std::string> lines = linesOf(document(file));
  if (hash == std::string::npos) return joined(file.ends_with(".cpp") ? withoutLeadingComment(lines) : lines);
  const auto isMine = [region = source.substr(hash + 1)](const std::string& line) { return isMarker(line, region); };
  const auto first = std::find_if(lines.begin(), lines.end(), isMine);
  if (first == lines.end()) return {};
  const auto last = std::find_if(first + 1, lines.end(), isMine);
  return last == lines.end() ? std::string() : joined(outdented({first + 1, last}));
}

std::vector<std::vector<std::string>> tableRows(const std::string& name, const std::string& heading) {
  std::vector<std::vector<std::string>> rows;
  bool inside = false;
  for (const std::string& line : linesOf(document(name))) {
    if (line.starts_with('#')) inside = trimmed(line.substr(std::min(line.find(' '), line.size()))) == heading;
    if (!inside || !line.starts_with('|') || line.starts_with("|--")) continue;
    std::vector<std::string> cells;
    for (std::size_t at = 1; at < line.size();) {
      const std::size_t end = std::min(line.find('|', at), line.size());
      cells.push_back(trimmed(std::string_view(line).substr(at, end - at)));
      at = end + 1;
    }
    rows.push_back(cells);
  }
  return rows;
}

std::set<std::string> allMatches(const std::string& text, const std::string& pattern) {
  std::set<std::string> found;
  const std::regex regex(pattern);
  for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it) found.insert((*it)[1]);
  return found;
}

std::string libraryCode() {
  std::string code;
  for (const auto& entry : fs::recursive_directory_iterator(sourceFolder() / "Classes")) {
    const fs::path extension = entry.path().extension();
    if (extension == ".h" || extension == ".cpp") code += readFile(entry.path());
  }
  return code;
}
