// The system's own texts in other languages than their own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>

#include "runtime/instruments/meters.h"
#include "runtime/platform/messages.h"
#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using tests::CFolder;
using tests::CRun;
using tests::ExpectOutcome;
using tests::Loopbox;
using tests::Shell;
using tests::TOutcome;

// The string literals of a C++ source; wide ones begin with "u".
std::vector<std::string> LiteralsOf(const std::string& source) {
  std::vector<std::string> literals;
  for (std::size_t at = 0; at < source.size(); ++at) {
    if (source.compare(at, 2, "//") == 0) at = std::min(source.find('\n', at), source.size());
    if (source.compare(at, 3, "'\"'") == 0) at += 2;
    if (at >= source.size() || source[at] != '"') continue;
    std::string literal = at > 0 && source[at - 1] == 'u' ? "u" : " ";
    while (source[++at] != '"') literal += source[at] == '\\' ? source[++at] : source[at];
    literals.push_back(literal);
  }
  return literals;
}

// A text with Czech letters, or a wide one of several words that is no
// procedure's description: those are the same in all languages.
bool IsForPeople(const std::string& literal) {
  const bool czech = literal.find_first_of("\xC3\xC4\xC5") != std::string::npos;
  return czech ||
         (literal[0] == 'u' && literal.find(' ') != std::string::npos && literal.find('(') == std::string::npos);
}

runtime::TMessageTable English() {
  runtime::TMessageTable table;
  std::string error;
  EXPECT_TRUE(runtime::ReadMessageTable(tests::SourcePath("languages/en.lang"), &table, &error)) << error;
  return table;
}

// Gives the process its Czech back.
class CLanguage {
 public:
  explicit CLanguage(runtime::TMessageTable table) { runtime::SetMessageTable(std::move(table)); }
  ~CLanguage() { runtime::SetMessageTable({}); }
};

TEST(Language, TranslatesEachTextAndNoOther) {
  std::set<std::string> texts;
  std::set<std::string> literals;
  for (const char* folder : {"plugin", "regulator", "pid", "boolean", "step", "runtime"}) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tests::SourcePath(folder))) {
      const std::string name = entry.path().filename().string();
      if (!name.ends_with(".cc") && !name.ends_with(".h")) continue;
      for (const std::string& literal : LiteralsOf(tests::ReadFile(entry.path().string()))) {
        literals.insert(literal.substr(1));
        // The widths of letters are no texts.
        if (name != "text_metrics.cc" && IsForPeople(literal)) texts.insert(literal.substr(1));
      }
    }
  }
  EXPECT_GT(texts.size(), 30u);
  const runtime::TMessageTable english = English();
  std::set<std::string> defaults;  // of messages that are asked for by their keys
  CRun run(tests::OneRegulator("pid_regulator", ""));
  for (const vcont::CStaticText& text : runtime::TextsOf(run.Object("reg"))) defaults.insert(runtime::Utf8(text.text));
  EXPECT_EQ(defaults.size(), 3u);
  for (const std::string& text : texts) EXPECT_TRUE(english.contains(text) || defaults.contains(text)) << text;
  for (const auto& [key, text] : english) {
    const bool byKey = key.starts_with("regulators.") && literals.contains(key.substr(key.find('.') + 1));
    EXPECT_TRUE(texts.contains(key) || byKey) << "unused: " << key;
    EXPECT_FALSE(texts.contains(text)) << "not translated: " << key;
  }
}

// What a person meets through the plug-in.
TEST(Language, ShowsThePluginInEnglish) {
  const CLanguage chosen(English());
  std::string error;
  const auto plugin = runtime::CPlugin::Load(tests::BuildPath("loopbox.so"), &error);
  ASSERT_NE(plugin, nullptr) << error;
  std::string texts = plugin->Name();
  for (const runtime::TClass& item : plugin->Classes()) {
    texts += item.description;
    runtime::TClassDescription description;
    EXPECT_TRUE(plugin->Describe(item.name, &description, &error)) << error;
    for (const auto& color : description.colors) texts += color.description;
    CRun run(tests::OneRegulator(item.name, ""));
    for (const vcont::CStaticText& text : runtime::TextsOf(run.Object("reg"))) texts += runtime::Utf8(text.text);
  }
  tests::ExpectParts(texts, {"Regulators", "discrete two-state output", "Ink of the border", "Wish value"});
  for (const auto& [key, text] : English()) EXPECT_EQ(texts.find(key), std::string::npos) << key;
}

// Errors are put together of several parts; what a script sees of one, and
// with it the trace, is the same in all languages.
TEST(Language, TranslatesErrorsAndLeavesTheRunAlone) {
  const std::string text = tests::OneRegulator("pid_regulator", "value_section range_to = 1e300; end_value_section;") +
                           "data a : real[2]; length : real; end_data; process late = a[time * 100]; end_process;\n"
                           "script\nat(1, function() local good, message = pcall(reg.SetRegulatorType, reg, 7)\n"
                           "data.length = #message end)\n"
                           "at(2, function() reg:SetRegulatorType(7) end)\nend_script;\n";
  const struct {
    runtime::TMessageTable table;
    std::vector<std::string> messages;
    std::string refused;
  } rows[] = {
      {{}, {"line 8: Index mimo rozsah", "Neznámý typ regulátoru"}, "FILE:6:1: Neznámý identifikátor\n"},
      {{{"Index mimo rozsah", "Index daneben"}},
       {"line 8: Index daneben", "Neznámý typ regulátoru"},
       "FILE:6:1: Neznámý identifikátor\n"},
      {English(), {"line 8: Index out of range", "Unknown type of regulator"}, "FILE:6:1: Unknown identifier\n"},
  };
  std::string trace;
  for (const auto& row : rows) {
    const CLanguage chosen(row.table);
    runtime::TReadOptions options;
    options.duration = 3;
    CRun run(text, options);
    const std::string traced = run.Trace();
    if (trace.empty()) trace = traced;
    EXPECT_EQ(traced, trace);
    EXPECT_GT(run.Value("length"), 10);
    std::string messages;
    for (const auto& message : run.messages) messages += message.text + "\n";
    for (const std::string& part : row.messages) EXPECT_NE(messages.find(part + "\n"), std::string::npos) << messages;
    const std::string refused = CRun(tests::OneRegulator("pid_regulator", "nonsense;")).Diagnostics();
    EXPECT_TRUE(refused.starts_with(row.refused)) << refused;
  }
}

TEST(Language, SaysPhrasesWithHoles) {
  const CLanguage chosen({{"line {n}: {1}", "Z{n}: {1}"},
                          {"{1}; did you mean '{a}'?", "{1}; {a}?"},
                          {"unknown name '{a}'", "unbekannt: '{a}'"},
                          {"{a} computes {b}", "{b} von {a}"},
                          {"{a} computes its {1}", "{1} von {a}"},
                          {"{n} more rows", "eine|{n} paar|{n} viele"},
                          {"expected {1}, found \"{a}\"", "{1} statt \"{a}\""},
                          {"value", "Wert"}});
  const std::string braces = "unknown name '{1} {a}'";
  const std::string longest(100000, ':');
  for (const auto& [text, said] : std::vector<std::pair<std::string, std::string>>{
           {"value", "Wert"},
           {"a: value", "a: Wert"},
           {"line 12: unknown name 'value'", "Z12: unbekannt: 'value'"},
           {"line x: value", "line x: Wert"},
           {"heater: line 4: unknown name 'a'; did you mean 'b'?", "heater: Z4: unbekannt: 'a'; b?"},
           {"value computes value", "value von value"},
           {"x computes its value", "Wert von x"},
           {"1 more row", "eine"},
           {"3 more rows", "3 paar"},
           {"0 more rows", "0 viele"},
           {"12 more rows", "12 viele"},
           {" more rows", " more rows"},
           {"expected value, found \"\"", "Wert statt \"\""},
           {"expected value, found \"x, found \"y\"", "Wert statt \"x, found \"y\""},
           {"'x computes y'", "'x computes y'"},
           {"can't computes y", "y von can't"},
           {"\"a: x computes y", "y von \"a: x"},
           {"'a: x computes y'", "'a: x computes y'"},
           {braces, "unbekannt: '{1} {a}'"},
           {"line 1: " + longest, "Z1: " + longest},
       }) {
    EXPECT_EQ(runtime::Translated(text), said);
  }
}

TEST(Language, IsChosenByOptionElseByEnvironment) {
  const CFolder folder;
  std::filesystem::copy_file(tests::BuildPath("loopbox.so"), folder.Path("loopbox.so"));
  folder.Write("de.lang", "// Deutsch\n\"Regulátory\" = \"Regler\";\n");
  folder.Write("en.lang", "\"Regulátory\" = \"Controllers\";\n");
  folder.Write("bad.lang", "\"Regulátory\" = \"Regler\";\n\"Barva\" \"Farbe\";\n");
  folder.Write("twice.lang", "\"a\" = \"b\";\n  \"a\" = \"c\";\n");
  folder.Write("empty.lang", "\"a\" = \"\";\n");
  folder.Write("hole.lang", "\"{1}\" = \"{a}\";\n");
  folder.Write("forms.lang", "\"{n} a\" = \"{n}|{n} b\";\n");
  folder.Write("binary.lang", "\"a\" = \"\xFF\";\n");
  ASSERT_EQ(mkfifo(folder.Path("pipe.lang").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(folder.Path("pipe.so").c_str(), 0600), 0);
  const std::string elsewhere = " --plugin " + folder.Path("loopbox.so");
  const struct {
    std::string environment;
    std::string options;
    int status;
    std::string part;
  } rows[] = {
      {"", "", 0, "Regulators"},
      {"LANG=en_GB.UTF-8", "", 0, "Regulators"},
      {"LANG=en LC_MESSAGES=cs_CZ", "", 0, "Regulátory"},
      {"LANG=en LC_MESSAGES=cs_CZ LC_ALL=en", "", 0, "Regulators"},
      {"LANG=en LC_ALL=", "", 0, "Regulators"},
      {"LANG=de_DE.UTF-8", elsewhere, 0, "Controllers\n"},
      {"LANG=C", "", 0, "Regulators"},
      {"LANG=en", "--language cs", 0, "Regulátory"},
      {"", "--language en", 0, "Regulators"},
      {"", "--language en" + elsewhere, 0, "Controllers\n"},
      {"", "--language en" + elsewhere, 0, "discrete two-state output"},  // from beside the program
      {"", "--language de" + elsewhere, 0, "Regler"},
      {"", "--language de", 2, "there is no language \"de\"; there are cs en"},
      {"", "--language fr" + elsewhere, 2, "there are bad binary cs de empty en forms hole pipe twice"},
      {"", "--language ../en", 2, "there is no language \"../en\""},
      {"", "--language bad" + elsewhere, 1, "bad.lang:2:9: expected '=', found a string\n\"Barva\" \"Farbe\";\n"},
      {"", "--language twice" + elsewhere, 1, "twice.lang:2:3: a second entry of this text"},
      {"", "--language empty" + elsewhere, 1, "empty.lang:1:7: expected a text"},
      {"", "--language hole" + elsewhere, 1, "hole.lang:1:1: a hole that the phrase has not"},
      {"", "--language forms" + elsewhere, 1, "forms.lang:1:1: expected one form, or three"},
      {"", "--language binary" + elsewhere, 1, "binary.lang:1:"},
      {"", "--language pipe" + elsewhere, 1, "pipe.lang: is no regular file"},
      {"", "--plugin " + folder.Path("pipe.so"), 1, "pipe.so: the plug-in can't be loaded: it is no regular file"},
      {"", "--plugin /dev/zero", 1, "/dev/zero: the plug-in can't be loaded: it is no regular file"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.environment + " " + row.options);
    const TOutcome outcome = Shell("env -u LC_ALL -u LC_MESSAGES -u LANG " + row.environment + " " +
                                   tests::BuildPath("loopbox") + " classes " + row.options);
    ExpectOutcome(outcome, row.status, {row.part});
  }
  const CFolder bad;
  const std::string late =
      bad.Write("late.lbx", "data a : real[2]; end_data; process x = a[time * 100]; end_process;\n");
  const std::string wrong = bad.Write("wrong.lbx", "instrument pid_regulator r nonsense; end_instrument;\n");
  ExpectOutcome(Loopbox("run --language en --duration 1 " + late), 3, {"line 1: Index out of range"});
  ExpectOutcome(Loopbox("check --language en " + wrong), 1, {":1:28: Unknown identifier"});
  ExpectOutcome(Loopbox("describe --language en step_regulator"), 0, {"Ink of the border"});
}

}  // namespace
