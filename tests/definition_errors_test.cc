// What an application's author reads when the text is wrong: the whole message
// with its place, for every error; and texts that look odd but are right. The texts
// stand in definition_errors.txt, which says how.
#include <gtest/gtest.h>

#include "plant/plant.h"
#include "runtime/platform/memory.h"
#include "study/study_reader.h"
#include "tests/support.h"
#include "workbench/references.h"
#include "workbench/run/whole_figures.h"

namespace {

using tests::CRun;
using tests::Replaced;

const std::string kElements = "data r : real; b : boolean; i : integer; ra : real[3]; ba : boolean[2]; ";
const std::string kData =
    kElements + "computed : real; cb : boolean; end_data; process computed = 1; cb = true; end_process;\n";

const std::string kOfStudies =
    "instrument pid_regulator reg expression = r; wish_value = 0; output = ra[0]; end_instrument;\nstudy s\n";

std::vector<std::string> Prefixes(char where) {
  const std::string instrument = kData + "instrument ";
  if (where == 'r') {
    std::vector<std::string> all;
    for (const std::string& name : tests::ClassNames()) all.push_back(instrument + name + " t\n");
    return all;
  }
  const std::string connections = kData + "connections\n";
  const std::map<char, std::string> prefixes = {{'x', kElements + "end_data; process\n"},
                                                {'e', kElements + "end_data; process\nr = "},
                                                {'p', instrument + "pid_regulator t\n"},
                                                {'b', instrument + "boolean_regulator t\n"},
                                                {'s', instrument + "step_regulator t\n"},
                                                {'m', instrument + "meter t\n"},
                                                {'c', connections},
                                                {'i', connections + "modbus a tcp = \"h\"; input ra[0]\n"},
                                                {'o', connections + "modbus a tcp = \"h\"; output r\n"},
                                                {'q', connections + "mqtt a host = \"h\"; input ra[0]\n"},
                                                {'u', connections + "mqtt a host = \"h\"; output r\n"},
                                                {'t', kData + kOfStudies},
                                                {'w', ""}};
  return {prefixes.at(where)};
}

std::string Suffix(char where) {
  if (std::string("cioqu").find(where) != std::string::npos) return "\nend_connections;";
  if (where == 't') return "\nend_study;";
  return where == 'w' ? "" : where == 'e' ? ";\nend_process;" : where == 'x' ? "\nend_process;" : "\nend_instrument;";
}

// `@` in a text marks the place of a message, each in turn.
std::string WithoutMarks(std::string text) {
  std::erase(text, '@');
  return text;
}

std::string Expected(const std::string& text, const std::vector<std::string>& messages) {
  std::string expected;
  std::size_t at = 0;
  for (const std::string& message : messages) {
    at = text.find('@', at);
    EXPECT_NE(at, std::string::npos) << text;
    const std::size_t begin = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;  // npos + 1 is 0
    const std::string before = WithoutMarks(text.substr(begin, at - begin));
    const std::string line = WithoutMarks(text.substr(begin, text.find('\n', begin) - begin));
    const auto columns = static_cast<std::size_t>(
        std::count_if(before.begin(), before.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    expected += "FILE:" + std::to_string(std::count(text.begin(), text.begin() + static_cast<long>(at), '\n') + 1) +
                ":" + std::to_string(columns + 1) + ": " + message + "\n" + line + "\n" + std::string(columns, ' ') +
                "^\n";
    ++at;
  }
  return expected;
}

struct TRow {
  std::string where;
  std::string text;
  std::vector<std::string> messages;
};

std::vector<TRow> Rows(const std::string& section) {
  std::string classes;
  for (const std::string& name : tests::ClassNames()) classes += (classes.empty() ? "" : ", ") + name;
  std::vector<TRow> rows;
  for (std::vector<std::string> cells : tests::TableRows("definition_errors.txt", section)) {
    for (const int length : {0, 63, 64}) {
      cells.at(1) = Replaced(cells[1], "NAME" + std::to_string(length), std::string(length, 'n'));
    }
    cells[1] = Replaced(cells[1], "¶", "\n");
    std::vector<std::string> messages(cells.begin() + 2, cells.end());
    for (std::string& message : messages) message = Replaced(message, "CLASSES", classes);
    if (cells[0] != "a") {
      rows.push_back({cells[0], cells[1], messages});
      continue;
    }
    rows.push_back({"m", cells[1], messages});
    for (const std::string pane : {"wish_value_section", "value_section", "output_section"}) {
      rows.push_back({"r", pane + " " + cells[1] + " end_" + pane + ";", messages});
    }
  }
  return rows;
}

const workbench::TReferences& References() {
  static const workbench::TReferences references = [] {
    workbench::TReferences read;
    std::string error;
    EXPECT_TRUE(workbench::LoadReferences(tests::Plugin(), &read, &error)) << error;
    return read;
  }();
  return references;
}

void CheckText(const std::string& text, const std::vector<std::string>& messages, bool isRead) {
  SCOPED_TRACE(text);
  const runtime::TMemoryStatistics before = runtime::MemoryStatistics();
  {
    runtime::TReadOptions options;
    options.words = [](const std::string& className) { return workbench::WordsOf(References(), className); };
    plant::CConnectionsReader connections;
    study::CStudyReader studies(workbench::NamesOfFigures);
    options.blocks = {&connections, &studies};
    const CRun run(WithoutMarks(text), options);
    EXPECT_EQ(run.Diagnostics(), Expected(text, messages));
    EXPECT_EQ(run.IsRead(), isRead);
  }
  EXPECT_EQ(runtime::MemoryStatistics().blocks, before.blocks);
}

void CheckRows(const std::vector<TRow>& rows, bool isRead) {
  for (const TRow& row : rows) {
    for (const char where : row.where) {
      for (const std::string& prefix : Prefixes(where))
        CheckText(prefix + row.text + Suffix(where), row.messages, isRead);
    }
  }
}

TEST(DefinitionErrors, InBlocksAndData) { CheckRows(Rows("InBlocksAndData"), false); }
TEST(DefinitionErrors, InConstantsAndLoops) { CheckRows(Rows("InConstantsAndLoops"), false); }
TEST(DefinitionErrors, InProcessesAndExpressions) { CheckRows(Rows("InProcessesAndExpressions"), false); }
TEST(DefinitionErrors, InInstruments) { CheckRows(Rows("InInstruments"), false); }
TEST(DefinitionErrors, InConnections) { CheckRows(Rows("InConnections"), false); }
TEST(DefinitionErrors, InStudies) { CheckRows(Rows("InStudies"), false); }

TEST(DefinitionErrors, WhatIsOddButRight) {
  std::vector<TRow> rows = Rows("WhatIsOddButRight");
  rows.push_back({"w",
                  "\xEF\xBB\xBF"
                  "data x : real; end_data;",
                  {}});
  CheckRows(rows, true);
}

TEST(DefinitionErrors, LongLinesTabsAndTheirCut) {
  EXPECT_EQ(CRun("\tdata\tš : real;").Diagnostics(), "FILE:1:7: unexpected character\n\tdata\tš : real;\n\t    \t^\n");
  const std::string many(300, 'x');
  EXPECT_EQ(CRun("data " + many + " : real; end_data;").Diagnostics(),
            "FILE:1:6: name longer than 63 characters\ndata " + many.substr(0, 95) + "…\n     ^\n");
  EXPECT_EQ(CRun("/*" + many + "*/ @" + many).Diagnostics(), "FILE:1:306: unexpected character\n…" +
                                                                 many.substr(0, 47) + "*/ @" + many.substr(0, 49) +
                                                                 "…\n " + std::string(50, ' ') + "^\n");
  std::string wrong;
  for (int i = 0; i < 30; ++i) wrong += "instrument meter m" + std::to_string(i) + " bad; end_instrument;\n";
  EXPECT_EQ(CRun(wrong).diagnostics.size(), 20u);
  std::string wide = "\xFF\xFE";
  for (const char c : std::string("data x : rael;")) wide += {c, '\0'};
  EXPECT_EQ(CRun(wide).Diagnostics(),
            "FILE:1:10: expected real, boolean or integer, found 'rael'\ndata x : rael;\n         ^\n");
}

}  // namespace
