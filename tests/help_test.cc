// The manual page and the completions of the shells against the program's own
// help.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "tests/support.h"

namespace {

using tests::Loopbox;
using tests::Shell;
using tests::TOutcome;
using TOptions = std::set<std::string>;

// The word of a line that starts at `at`.
std::string WordAt(const std::string& line, std::size_t at) {
  return line.size() <= at ? "" : line.substr(at, line.find_first_of(" ,", at) - at);
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// By command; "" for those of the program itself.
std::map<std::string, TOptions> OptionsOfHelp() {
  std::map<std::string, TOptions> options = {{"", {}}};
  bool commands = false;
  for (const std::string& line : LinesOf(Loopbox("--help").output)) {
    if (line.starts_with("  --") || line.starts_with("  -h,--")) options[""].insert(WordAt(line, line.find("--")));
    if (commands && line.starts_with("  ")) options[WordAt(line, 2)];
    commands = commands || line.starts_with("Subcommands");
  }
  for (auto& [command, found] : options) {
    if (command.empty()) continue;
    for (const std::string& line : LinesOf(Loopbox(command + " --help").output)) {
      if (line.starts_with("  --")) found.insert(WordAt(line, 2));
      if (line.starts_with("  -o,--")) found.insert(WordAt(line, 5));
    }
  }
  return options;
}

// A folder with files to choose from, and the program by its name.
class Help : public testing::Test {
 protected:
  Help() {
    for (const char* name : {"other.txt", "a b.png", "c.svg"}) folder.Write(name, "");
    folder.Write("oven.lbx", "study robust end_study;\nstudy cold\nend_study;\n");
    std::filesystem::create_directory(folder.Path("out"));
    std::filesystem::copy_file(tests::BuildPath("loopbox.so"), folder.Path("own.so"));
  }
  std::string Script(const std::string& name) const {
    return "cd " + folder.Path("") + " && timeout 60 " + tests::SourcePath("tests/complete.") + name;
  }
  const tests::CFolder folder;
};

TEST_F(Help, ManualPageHasEachOptionOfTheHelpAndNoOther) {
  std::map<std::string, TOptions> help = OptionsOfHelp();
  EXPECT_GE(help.size(), 5u);
  std::map<std::string, TOptions> synopsis = {{"", {}}};
  TOptions described;
  std::string section;
  std::string command;
  for (const std::string& line : LinesOf(tests::ReadFile(tests::SourcePath("packaging/loopbox.1")))) {
    if (line.starts_with(".Sh ")) section = line.substr(4);
    if (line == ".Nm") command.clear();
    if (line.starts_with(".It Fl -")) described.insert("--" + WordAt(line, 8));
    if (section != "SYNOPSIS") continue;
    if (line.starts_with(".Cm ")) synopsis[command = WordAt(line, 4)];
    for (const std::string start : {".Op Fl -", ".Fl -"}) {
      if (line.starts_with(start)) synopsis[command].insert("--" + WordAt(line, start.size()));
    }
  }
  EXPECT_EQ(synopsis, help);
  TOptions all;
  for (const auto& [name, options] : help) all.insert(options.begin(), options.end());
  EXPECT_EQ(described, all);
}

TEST_F(Help, ManualPageIsFormattedWithoutWarnings) {
  const std::string page = tests::SourcePath("packaging/loopbox.1");
  EXPECT_EQ(Shell("groff -mdoc -Tutf8 -ww -z " + page).output, "");
  tests::ExpectOutcome(Shell("MANWIDTH=80 man -E UTF-8 -l " + page), 0,
                       {"NAME\n     loopbox", "EXIT STATUS\n     0    Done.", "     --trace FILE\n"});
}

TEST_F(Help, CompletionOffersWhatTheHelpNamesInBash) {
  using TOffers = std::multiset<std::string>;
  std::map<std::string, TOptions> help = OptionsOfHelp();
  TOffers commands;
  for (const auto& [command, options] : help) {
    if (!command.empty()) commands.insert(command);
  }
  const TOffers pictures = {"a b.png", "c.svg", "out"};
  const TOffers classes = {"boolean_regulator", "pid_regulator", "step_regulator"};
  // The words up to the cursor, and what is offered.
  std::vector<std::pair<std::string, TOffers>> rows = {
      {"''", commands},
      {"des", {"describe"}},
      {"--v", {"--version"}},
      {"dance ''", {}},
      {"run ''", {"out", "oven.lbx"}},
      {"run oven.lbx --tr", {"--trace", "--trace-state"}},
      {"run oven.lbx --trace ''", {"a b.png", "c.svg", "other.txt", "out", "oven.lbx", "own.so"}},
      {"run oven.lbx --trace = ot", {"other.txt"}},
      {"run oven.lbx --panes ''", pictures},
      {"run oven.lbx --panes =", pictures},
      {"run oven.lbx --panes a", {"a b.png"}},
      {"run oven.lbx --period ''", {}},
      {"run --realtime ''", {"out", "oven.lbx"}},
      {"run --trace t.csv --trace-state ''", {"out", "oven.lbx"}},
      {"run --language ''", {"cs", "en"}},
      {"check --plugin ''", {"out", "own.so"}},
      {"classes --images ''", {"out"}},
      {"classes ''", {}},
      {"describe ''", classes},
      {"describe st", {"step_regulator"}},
      {"describe --plugin own.so ''", classes},
      {"describe --plugin other.txt ''", {}},
      {"study ''", {"merge", "out", "oven.lbx", "plan", "run"}},
      {"study oven.lbx ''", {"cold", "robust"}},
      {"study plan ''", {"out", "oven.lbx"}},
      {"study plan oven.lbx r", {"robust"}},
      {"study merge ''", {"out"}},
      {"study oven.lbx -o ''", {"out"}},
  };
  for (auto& [command, options] : help) {
    options.insert("--help");
    rows.push_back({command + " --", TOffers(options.begin(), options.end())});
  }
  std::string command = Script("bash") + " " + tests::BuildPath("loopbox");
  for (const auto& [line, expected] : rows) command += " \"" + line + "\"";
  const TOutcome outcome = Shell(command);
  EXPECT_EQ(outcome.status, 0);
  std::map<std::string, std::multiset<std::string>> offered;
  std::string line;
  for (const std::string& part : LinesOf(outcome.output)) {
    if (part.starts_with("LINE ")) {
      line = part.substr(5);
    } else if (!part.empty()) {
      offered[line].insert(part);
    }
  }
  for (const auto& [words, expected] : rows) EXPECT_EQ(offered[words], expected) << words;
}

TEST_F(Help, CompletionOffersTheSameInZsh) {
  const struct {
    std::string line;
    std::vector<std::string> offered;
    std::vector<std::string> others;
  } rows[] = {
      {"loopbox ", {"check ", "classes ", "describe ", "run ", "-- Run an application"}, {"oven"}},
      {"loopbox run ", {"oven.lbx", "out/"}, {"other.txt", "own.so"}},
      {"loopbox run oven.lbx --tr", {"--trace ", "--trace-state  -- Trace what regulators have learnt"}, {"--set"}},
      {"loopbox run oven.lbx --trace ", {"other.txt"}, {}},
      {"loopbox run oven.lbx --panes ", {"a\\ b.png", "c.svg"}, {"oven.lbx  ", "other.txt"}},
      {"loopbox run oven.lbx --language ", {"cs  en"}, {"other.txt"}},
      {"loopbox check --plugin ", {"own.so"}, {"other.txt"}},
      {"loopbox classes --images ", {"out/"}, {"other.txt"}},
      {"loopbox describe ", {"boolean_regulator  pid_regulator      step_regulator"}, {}},
      {"loopbox describe --plugin own.so ", {"boolean_regulator  pid_regulator      step_regulator"}, {}},
      {"loopbox study ", {"oven.lbx", "plan", "merge"}, {"other.txt"}},
      {"loopbox study plan oven.lbx ", {"cold    robust"}, {"other.txt"}},
      {"loopbox study run ", {"out/"}, {"oven.lbx"}},
  };
  std::string command = Script("zsh") + " " + tests::BuildPath("");
  for (const auto& row : rows) command += " '" + row.line + "'";
  EXPECT_EQ(Shell("zsh -n " + tests::SourcePath("packaging/completion.zsh")).output, "");
  const std::string output = Shell(command).output;
  std::size_t at = 0;
  for (const auto& row : rows) {
    at = output.find("LINE " + row.line + "\n", at);
    ASSERT_NE(at, std::string::npos) << row.line << output;
    const std::string shown = output.substr(at, output.find("LINE ", at + 1) - at);
    tests::ExpectParts(shown, row.offered);
    for (const std::string& part : row.others) EXPECT_EQ(shown.find(part), std::string::npos) << part << "\n" << shown;
  }
}

}  // namespace
