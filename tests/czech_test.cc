// Whether languages/cs.lang has every text: by a language of its keys that leaves what
// their holes catch, and no word of the program. What is then still a word is somebody's
// own, or a text that has no Czech.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "runtime/platform/messages.h"
#include "tests/support.h"

namespace {

namespace fs = std::filesystem;

using tests::CFolder;
using tests::ReadFile;
using tests::Replaced;
using tests::SourcePath;

runtime::TMessageTable Table(const std::string& language) {
  runtime::TMessageTable table;
  std::string error;
  EXPECT_TRUE(runtime::ReadMessageTable(SourcePath("languages/" + language + ".lang"), &table, &error)) << error;
  return table;
}

// "'{a}' is written by {1}" is said "· '{a}' · {1}".
runtime::TMessageTable Wordless() {
  static const std::regex hole("['\"]?\\{[1-9a-fn]\\}['\"]?");
  runtime::TMessageTable wordless;
  for (const char* language : {"cs", "en"}) {
    for (const auto& [key, said] : Table(language)) {
      std::string& left = wordless[key] = "·";
      for (std::sregex_iterator found(key.begin(), key.end(), hole), end; found != end; ++found) {
        left += " " + found->str();
      }
    }
  }
  return wordless;
}

// Words of two letters or more, but those that are written as no text is: in capitals,
// with digits, dots, bars or capitals inside, or as an option.
std::set<std::string> WordsOf(const std::string& text) {
  static const std::regex word("[^\\s\"'()\\[\\],;:|<>=*–]+");
  static const std::regex plain("[A-Za-z]?[a-z]+[.!?]?");
  std::set<std::string> words;
  for (std::sregex_iterator found(text.begin(), text.end(), word), end; found != end; ++found) {
    std::string one = found->str();
    if (!std::regex_match(one, plain)) continue;
    if (!std::isalpha(static_cast<unsigned char>(one.back()))) one.pop_back();
    if (one.size() > 1) words.insert(one);
  }
  return words;
}

// But for words of applications, and what is quoted.
void ExpectNoWord(const std::string& text, const std::string& own) {
  static const std::regex quoted("'[^']*'");
  const std::set<std::string> known =
      WordsOf(own + " real boolean integer true false and or not if condition instrument loopbox fmu");
  std::string left;
  for (const std::string& word : WordsOf(std::regex_replace(text, quoted, ""))) {
    if (!known.contains(word)) left += word + " ";
  }
  EXPECT_EQ(left, "") << text;
}

constexpr char kWordsOfConnections[] =
    " modbus mqtt tcp serial none even odd unit every timeout retry gap beat watchdog input output host name secret "
    "tls "
    "from to order scale range stale coil discrete holding bit abcd cdab badc dcba float double limit rate safe hold "
    "keep "
    "needs latch json";

constexpr char kWordsOfStudies[] =
    " runs seed sampling vary keep require random grid uniform normal list final min max mean iae";

TEST(Czech, HasEachErrorOfATextThatIsWrong) {
  runtime::SetMessageTable(Wordless());
  for (const char* section : {"InBlocksAndData", "InConstantsAndLoops", "InProcessesAndExpressions", "InInstruments",
                              "InConnections", "InStudies", "WhatIsOddButRight"}) {
    for (const std::vector<std::string>& cells : tests::TableRows("definition_errors.txt", section)) {
      for (std::size_t i = 2; i < cells.size(); ++i) {
        const std::string message = Replaced(Replaced(cells[i], "warning: ", ""), "CLASSES", "");
        EXPECT_NE(runtime::Translated(message), message);
        ExpectNoWord(runtime::Translated(message), Replaced(Replaced(cells[1], "@", ""), "¶", " ") +
                                                       " output_section wish_value_section value_section meter" +
                                                       kWordsOfConnections + kWordsOfStudies);
      }
    }
  }
  runtime::SetMessageTable({});
}

// The program in that language.
class CzechProgram : public testing::Test {
 protected:
  CzechProgram() {
    fs::copy_file(tests::BuildPath("loopbox.so"), folder.Path("loopbox.so"));
    for (const auto& entry : fs::directory_iterator(tests::BuildPath(""))) {
      if (entry.path().extension() == ".ref") fs::copy_file(entry.path(), folder.Path(entry.path().filename()));
    }
    std::string text;
    const auto quoted = [](const std::string& one) {
      return "\"" + Replaced(Replaced(one, "\\", "\\\\"), "\"", "\\\"") + "\"";
    };
    for (const auto& [key, said] : Wordless()) {
      if (key != "page.language") text += quoted(key) + " = " + quoted(said) + ";\n";
    }
    folder.Write("xx.lang", text);
  }

  // `own`: what the program may repeat.
  std::string ExpectWordless(const std::string& arguments, const std::string& own) const {
    SCOPED_TRACE(arguments);
    const std::string inLanguage = " --language xx --plugin " + folder.Path("loopbox.so");
    const tests::TOutcome outcome = tests::Loopbox(arguments + inLanguage);
    ExpectNoWord(outcome.output, own + " " + arguments);
    EXPECT_FALSE(outcome.output.empty());
    return outcome.output;
  }

  CFolder folder;
};

TEST_F(CzechProgram, HelpsAndRefusesInIt) {
  for (const char* arguments : {"--help",
                                "run --help",
                                "check --help",
                                "classes --help",
                                "describe --help",
                                "validate --help",
                                "probe --help",
                                "replay --help",
                                "archive --help",
                                "journal --help",
                                "panel --help",
                                "tune --help",
                                "margins --help",
                                "tune x y",
                                "tune x y --from r --ms 3",
                                "tune x y --experiment relay",
                                "tune x y --experiment relay --amplitude 0",
                                "tune x y --experiment relay --bound 1",
                                "study --help",
                                "study x --cases 3",
                                "study plan",
                                "study plan x",
                                "study run",
                                "study run x",
                                "run",
                                "run x --nonsense",
                                "run x y",
                                "run x --every",
                                "run x --every 0",
                                "run x --period a",
                                "run x --realtime-priority 0",
                                "run x --map a=b",
                                "run x --plot x.txt",
                                "run x --trace ''",
                                "run x --window 3",
                                "run x --set a",
                                "run x --curves a",
                                "describe x --format html",
                                "describe pid_regulater",
                                "check /nowhere/x"}) {
    ExpectWordless(
        arguments,
        "run tune margins relay step replay archive journal panel study plan merge slurm parallel list export "
        "check probe classes describe validate text markdown cs en");
  }
}

// What stands in the references as an application has it.
std::string OwnOfReferences() {
  std::string own;
  for (const std::string name : {"pid/pid", "boolean/boolean", "step/step", "regulator/"}) {
    std::istringstream lines(ReadFile(SourcePath(name + (name.back() == '/' ? "regulator.ref" : "_regulator.ref"))));
    for (std::string line; std::getline(lines, line);) {
      std::vector<std::string> cells(1);
      for (const char c : line) c == '|' ? cells.emplace_back() : cells.back() += c;
      own += cells[0].find(' ') < 20 ? cells[0].substr(0, cells[0].find(' ')) + " " : "";
      if (cells.size() < 6) continue;
      own += cells[4] + " ";
      if (cells[3].find("false") != std::string::npos || cells[1].find("name") != std::string::npos)
        own += cells[3] + " " + cells[2];
    }
  }
  return own;
}

TEST_F(CzechProgram, DescribesInIt) {
  for (const std::string& name : tests::ClassNames()) {
    ExpectWordless("describe " + name, OwnOfReferences() + " system Delay");
    ExpectWordless("describe --format markdown " + name, OwnOfReferences() + " system Delay");
  }
  ExpectWordless("classes --images " + folder.Path("images"), "pid_regulator boolean_regulator step_regulator");
  ExpectWordless("validate --list", "");
}

// What a page says before its scripts, but for the licence.
std::string OfPage(const std::string& page) {
  std::string said;
  const std::size_t end = page.find("<details");
  for (std::size_t at = page.find("<body>"); at < end; at = page.find('<', at)) {
    const std::size_t tag = page.find('>', at);
    at = page.find('<', tag);
    said += page.substr(tag + 1, at - tag - 1) + " ";
  }
  return Replaced(said, "&quot;", " ");
}

TEST_F(CzechProgram, RunsAndChecksInIt) {
  std::vector<std::string> folders;
  for (const auto& entry : fs::directory_iterator(SourcePath("tests/runs"))) {
    if (!entry.is_directory()) continue;
    const std::string application = entry.path().string() + "/application.lbx";
    const std::string own = ReadFile(application) + " " + entry.path().filename().string() + " earlier.csv page.html";
    const bool isCompared = fs::exists(entry.path() / "earlier.csv");
    ExpectWordless("check " + application, own);
    ExpectWordless("run " + application + " --report " + folder.Path("page.html") +
                       (isCompared ? " --compare-any --compare " + entry.path().string() + "/earlier.csv" : ""),
                   own);
    ExpectNoWord(OfPage(ReadFile(folder.Path("page.html"))),
                 own + " xx law classical takahashi adaptive ksi omega report compare any language plugin");
  }
  for (const auto& entry : fs::directory_iterator(SourcePath("examples"))) {
    if (entry.path().extension() != ".lbx") continue;
    const std::string text = ReadFile(entry.path());
    ExpectWordless("check " + entry.path().string(), text);
  }
}

TEST_F(CzechProgram, RehearsesALossAndReplaysInIt) {
  const std::string text = Replaced(ReadFile(SourcePath("examples/oven_plant.lbx")), "1502", "1");
  const std::string oven = folder.Write("oven.lbx", text);
  const std::string record = folder.Path("r");
  const std::string kept = " --journal " + folder.Path("power") + " --record " + record;
  for (const std::string& arguments :
       {"run " + oven + " --lose temperature@300-360 --lose oven_io@0-2" + kept, "replay " + record,
        "run " + oven + kept, "journal " + folder.Path("power"), "run " + oven + " --lose temperatur@1-2",
        "run " + oven + " --plant oven_oi", "run " + oven + " --plant --lose door_open@1-2", "probe " + oven,
        "probe " + oven + " oven_oi"}) {
    ExpectWordless(arguments, text + " came returned end");
  }
  tests::Shell("sed -i '50s/,[0-9]/,7/' " + record + "/trace.csv");
  ExpectWordless("replay " + record, text);
  // Each is found before the one that is there already.
  const char* const damages[] = {"sed -i '7s/,/;/' trace.csv",
                                 ": >trace.csv",
                                 "rm trace.csv",
                                 "rm text/oven.lbx",
                                 "echo 3,put,x,1 >>commands.csv",
                                 "sed -i '/\"period\"/d' record.json",
                                 "echo '{' >record.json",
                                 "rm record.json"};
  for (const char* damage : damages) {
    tests::Shell("cd " + record + "; " + damage);
    ExpectWordless("replay " + record, text + " period");
  }
}

}  // namespace
