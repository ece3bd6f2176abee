#include <algorithm>
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

#include "Options.h"
#include "ZrdlSite.h"

namespace {

using Words = std::vector<std::string>;
using Names = std::set<std::string>;

/// What a shell command prints.
std::string shell(const std::string& command) {
  std::string output;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  for (int c = 0; (c = std::fgetc(pipe.get())) != EOF;) output += static_cast<char>(c);
  return output;
}

std::string helpOf(Words arguments) {
  arguments.emplace_back("--help");
  ZrdlProcess process(arguments);
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.err(), "");
  return process.out();
}

/// The lines of a help text below a heading.
Words section(const std::string& help, const std::string& heading) {
  std::istringstream lines(help);
  std::string line;
  while (std::getline(lines, line) && line != heading + ":") {
  }
  Words found;
  while (std::getline(lines, line) && !line.empty()) found.push_back(line);
  return found;
}

/// The long options of a command, or of all of them.
Names optionsOf(const Words& command) {
  Names names;
  for (const std::string& line : section(helpOf(command), "Options")) {
    const std::size_t at = line.find("--");
    if (line[2] == '-') names.insert(line.substr(at, line.find_first_of(" \n", at) - at));
  }
  if (command.empty()) names.insert({"--help", "--version"});  // they come after their short names
  return names;
}

Names commandNames() {
  Names names;
  for (const std::string& line : section(helpOf({}), "Subcommands")) names.insert(wordsOf(line.substr(2)).front());
  return names;
}

}  // namespace

TEST(ZrdlHelp, everyCommandHasExamplesThatAreItsOwn) {
  EXPECT_EQ(commandNames().size(), 10U);
  for (const std::string& command : commandNames()) {
    std::size_t examples = 0;
    for (const std::string& line : section(helpOf({command}), "Examples")) {
      if (!line.starts_with("  zrdl ")) continue;
      Words words = wordsOf(line.substr(2));
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

TEST(ZrdlHelp, itTellsTheExitStatusesAndTheVersion) {
  EXPECT_EQ(section(helpOf({}), "Exit status").size(), 4U);
  ZrdlProcess version({"--version"});
  EXPECT_EQ(version.wait(), 0);
  EXPECT_EQ(version.out(), "zrdl " + std::string(ZRDownloadKitVersionString) + "\n");
}

TEST(ZrdlManual, hasEveryCommandAndOptionAndNoOther) {
  Names known = optionsOf({});
  for (const std::string& command : commandNames()) {
    known.insert(command);
    known.merge(optionsOf({command}));
  }
  Names told;
  std::istringstream lines(readFile(ZRDL_FOLDER "/zrdl.1"));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t option = line.rfind("Fl -");
    if (line.starts_with(".It Fl ")) told.insert("-" + wordsOf(line.substr(option + 3)).front());
    if (line.starts_with(".It Cm ")) told.insert(line.substr(7));
  }
  EXPECT_EQ(told, known);
}

TEST(ZrdlManual, isWellFormed) {
  int checked = 0;
  for (const std::string check :
       {"mandoc -Tlint -W warning", "groff -mdoc -ww -Tutf8 -z", "man --warnings -E UTF-8 -Tutf8 -Z -l"}) {
    if (shell("command -v " + check.substr(0, check.find(' '))).empty()) continue;
    ++checked;
    EXPECT_EQ(shell("LC_ALL=C.UTF-8 " + check + " " ZRDL_FOLDER "/zrdl.1 2>&1 >/dev/null"), "") << check;
  }
  if (checked == 0) GTEST_SKIP() << "no program here formats manuals";
}

class ZrdlCompletion : public ZrdlSite {
 protected:
  /// What bash offers for the last of the words, which it splits at "=" and ":". Zsh, where there is one, must agree.
  Names complete(const std::string& words) const {
    const Names found = linesOf("bash -c 'source " + kCompletion + "; COMP_WORDS=(" + words +
                                "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _zrdl_bash " ZRDL_PATH
                                " \"${COMP_WORDS[-1]}\"; printf \"%s\\n\" \"${COMPREPLY[@]}\"'");
    const std::string line = std::regex_replace(words.substr(4), std::regex(" ([=:]) |\"\"$"), "$1");
    if (shell("command -v zsh").empty()) return found;
    EXPECT_EQ(linesOf(ZSH_OFFERS " " + kCompletion + " '" ZRDL_PATH + line + "'"), found) << words;
    return found;
  }

 private:
  const std::string kCompletion = ZRDL_FOLDER "/completion.sh";

  Names linesOf(const std::string& command) const {
    std::istringstream lines(
        shell("cd '" + home_.path().string() + "' && XDG_DATA_HOME=\"$PWD\" " + command + " 2>&1"));
    Names found;
    for (std::string line; std::getline(lines, line);) found.insert(line);
    found.erase("");
    return found;
  }
};

TEST_F(ZrdlCompletion, knowsEveryCommandAndOption) {
  EXPECT_EQ(complete("zrdl \"\""), commandNames());
  EXPECT_EQ(complete("zrdl re"), Names{"resume"});
  const Names global = optionsOf({});
  EXPECT_EQ(complete("zrdl --"), global);
  for (const std::string& command : commandNames()) {
    Names options = optionsOf({command});
    options.insert(global.begin(), global.end());
    EXPECT_EQ(complete("zrdl --info-base http : //127.0.0.1 : 8080/a --json " + command + " --"), options) << command;
  }
}

TEST_F(ZrdlCompletion, knowsWhatAnOptionTakes) {
  writeFile(home_ / "folder/file.json", "{}");
  writeFile(home_ / "film list", "");
  const std::pair<std::string, Names> cases[] = {
      {"zrdl --support f", {"folder"}},
      {"zrdl --support = f", {"folder"}},
      {"zrdl list --mp4-info folder/", {"folder/file.json"}},
      {"zrdl batch fi", {"film list"}},
      {"zrdl export 73-1 fi", {"film list"}},
      {"zrdl demo \"\"", {"folder"}},
      {"zrdl --mkey \"\"", {}},
      {"zrdl mp4 1 --version \"\"", {}},
  };
  for (const auto& [words, found] : cases) EXPECT_EQ(complete(words), found) << words;
  EXPECT_TRUE(complete("zrdl --decrypt mkdi").contains("mkdir"));
}

TEST_F(ZrdlCompletion, knowsTheStoredTasks) {
  EXPECT_EQ(complete("zrdl rm \"\""), Names());
  EXPECT_TRUE(std::filesystem::is_empty(home_.path()));  // asking made nothing
  know(1, 100);
  origin_.serve("/1.mp4", patternBytes(100));
  ASSERT_EQ(ZrdlProcess(with("batch " + batchOf(2))).wait(), 1);  // the second is not known
  const std::string quoted = "--json --support \"" + home_ / "support" + "\"";
  for (const std::string& support : {std::string("--support support"), std::string("--support = support"), quoted}) {
    EXPECT_EQ(complete("zrdl " + support + " rm \"\""), (Names{"73-1", "73-2"})) << support;
  }
  EXPECT_EQ(complete("zrdl --support support path \"\""), Names{"73-1"});
  EXPECT_EQ(complete("zrdl --support support export \"\""), Names{"73-1"});
  EXPECT_EQ(complete("zrdl --support support resume 73-"), Names{"73-2"});
  EXPECT_EQ(complete("zrdl rm \"\""), Names());
}
