#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The prose of the repository, taken apart for the tests that compare it with the code.

/// A fenced code block, and the comment on the line before it: where its text comes from.
struct CodeBlock {
  std::size_t line;  ///< of the opening fence, from 1
  std::string language;
  std::string source;  ///< empty when there is no such comment
  std::string text;
};

/// A document taken apart.
struct Page {
  std::string prose;  ///< without its code, in blocks and in lines
  std::vector<CodeBlock> blocks;
};

inline const std::filesystem::path kSourceFolder = ZR_SOURCE_DIR;

/// README.md, CONTRIBUTING.md and everything below docs/, relative to the source folder.
std::vector<std::string> documents();

std::string document(const std::string& name);

std::vector<std::string> linesOf(const std::string& text);

Page pageOf(const std::string& document);

/// The text of a file, or of the region `#name` between two lines `// [name]` or `# [name]` of it, moved to the left
/// margin. Of a whole C++ file the comment at its beginning is left out. Empty when there is no such file or region.
std::string textOfSource(const std::string& source);

/// The cells of every table row between the heading `heading` and the next one of any level.
std::vector<std::vector<std::string>> tableRows(const std::string& document, const std::string& heading);

/// All that `pattern`'s first group matches in `text`.
std::set<std::string> allMatches(const std::string& text, const std::string& pattern);

/// The first two groups of every match of `pattern` in `text`.
std::vector<std::pair<std::string, std::string>> allPairs(const std::string& text, const std::string& pattern);

/// The sources below Classes/, one after another.
std::string libraryCode();
