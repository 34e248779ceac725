// A panel's block, what operators do, alarms, and the journal.
#include "panel/panel.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

#include "panel/journal.h"
#include "panel/journal_file.h"
#include "panel/panel_reader.h"
#include "tests/support.h"
#include "workbench/references.h"

namespace {

using panel::EDeed;
using panel::TCommand;
using tests::CFolder;
using tests::CRun;
using tests::Loopbox;

const panel::TParameterSets& Sets() {
  static const panel::TParameterSets sets = [] {
    workbench::TReferences references;
    std::string error;
    EXPECT_TRUE(workbench::LoadReferences(tests::Plugin(), &references, &error)) << error;
    return workbench::ParameterSetsOf(references);
  }();
  return sets;
}

// An application with a panel, whose commands are those of a list.
class CPanelRun final : public panel::CCommandSource {
 public:
  explicit CPanelRun(const std::string& text, panel::CSite* site = nullptr) : reader(Sets()) {
    runtime::TReadOptions reading;
    reading.blocks = {&reader};
    run.emplace(text, reading);
    if (!run->IsRead()) return;
    panel::TPanelOptions options;
    options.commands = this;
    options.answers = &answers;
    options.site = site;
    EXPECT_TRUE((*run)->AddLink(link.emplace(reader.Definition(), Sets(), options), &error)) << error;
  }
  bool Take(std::uint64_t, TCommand* command) override {
    if (commands.empty()) return false;
    *command = commands.front();
    commands.erase(commands.begin());
    return true;
  }
  // In the next period; why it was refused, empty where it wasn't.
  std::string Do(EDeed deed, std::uint32_t thing, const std::vector<double>& values = {}) {
    TCommand& command = commands.emplace_back();
    command.deed = deed;
    command.thing = thing;
    command.valueCount = static_cast<std::uint32_t>(values.size());
    std::copy(values.begin(), values.end(), command.values);
    EXPECT_TRUE((*run)->Step());
    EXPECT_TRUE(answers.Take(&answer));
    EXPECT_EQ(answer.isDone, answer.why[0] == 0);
    return answer.why;
  }

  panel::CPanelReader reader;
  std::optional<CRun> run;
  std::optional<panel::CPanel> link;
  panel::TAnswer answer;

 private:
  std::string error;
  std::unique_ptr<live::CSharedBlock> block = live::CSharedBlock::Make(panel::TAnswerRing::Bytes(), &error);
  panel::TAnswerRing answers{*block};
  std::vector<TCommand> commands;
};

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

TEST(Panel, SaysWhatIsWrongWithItsBlock) {
  for (const std::vector<std::string>& row : tests::TableRows("panel.txt", "Texts")) {
    SCOPED_TRACE(row.at(0));
    panel::CPanelReader reader(Sets());
    runtime::TReadOptions options;
    options.blocks = {&reader};
    const CRun run(
        "data set_point : real; temperature : real; derived : real; power : real; running : boolean; steps : integer; "
        "list : real[3]; end_data;\nprocess temperature' = power; derived = 2 * temperature; end_process;\n"
        "instrument meter gauge end_instrument;\n"
        "instrument pid_regulator heater expression = temperature; wish_value = set_point; output = power; "
        "end_instrument;\npanel " +
            row[0] + " end_panel;",
        options);
    EXPECT_FALSE(run.IsRead());
    tests::ExpectParts(run.Diagnostics(), {"FILE:5:", row.at(1)});
  }
}

TEST(Panel, KnowsWhenAnAlarmStands) {
  for (const std::vector<std::string>& row : tests::TableRows("panel.txt", "Alarms")) {
    SCOPED_TRACE(row.at(0) + " | " + row.at(1));
    const CPanelRun made("data x : real; end_data; panel alarm a " + row[0] + " end_alarm; end_panel;");
    panel::CAlarms alarms(made.reader.Definition().alarms, nullptr);
    std::string happened;
    double time = 0.0;
    for (const std::string& word : Words(row[1])) {
      made.run->SetValue("x", std::stod(word));
      std::string one;
      for (const panel::CAlarms::TEvent& event : alarms.Evaluate(++time)) one += "CRU"[static_cast<int>(event.what)];
      const char deed = word.find('!') == std::string::npos ? ' ' : word.back();
      const char* const refused = deed == 'a'   ? alarms.Acknowledge(0)
                                  : deed == 's' ? alarms.Shelve(0, time, 3.0)
                                  : deed == 'u' ? alarms.Unshelve(0)
                                  : deed == ' ' ? nullptr
                                                : alarms.SetOutOfService(0, deed == 'o');
      if (refused != nullptr) one += 'n';
      if (alarms.State(0).IsAnnounced()) one += '!';
      happened += (happened.empty() ? "" : " ") + (one.empty() ? "." : one);
    }
    EXPECT_EQ(happened, row.at(2));
  }
}

TEST(Panel, LetsAnOperatorSetWhatTheTextAllows) {
  for (const std::vector<std::string>& row : tests::TableRows("panel.txt", "Operators")) {
    SCOPED_TRACE(row.at(0) + " | " + row.at(1));
    CPanelRun made(
        "application a period = 1; duration = 20; end_application;\n"
        "data x : real = 10; n : integer; b : boolean; list : real[2]; end_data; panel operator " +
        row[0] + " end_operator; end_panel;");
    const runtime::TItem item = made.reader.Definition().operators.at(0).item;
    std::string seen;
    std::string why;
    for (const std::string& word : Words(row[1])) {
      if (word[0] == 's') (*made.run)->SetElementValue(item, std::stod(word.substr(1)));
      if (word == "-" || word[0] == 's') {
        (*made.run)->Step();
      } else {
        why = made.Do(EDeed::kSet, 0, {std::stod(word)});
      }
      std::ostringstream text;
      text << (seen.empty() ? "" : " ") << (*made.run)->ElementValue(item.element, item.item)
           << (why.empty() ? "" : "?");
      seen += text.str();
    }
    EXPECT_EQ(seen, row.at(2));
    EXPECT_EQ(why, row.size() > 3 ? row[3] : "");
  }
}

// Each by what the reference of its class says.
TEST(Panel, KnowsTheParametersOfEachClass) {
  std::string names;
  for (const std::string& className : tests::ClassNames()) {
    const CRun run(tests::OneRegulator(className, ""));
    names += className + ":";
    for (const panel::TParameter& parameter : panel::ParametersOf(run.Instrument("reg"), Sets())) {
      std::vector<double> arguments(parameter.arguments, 3.0);
      EXPECT_TRUE(run.Instrument("reg").Call(parameter.sets, &arguments)) << parameter.sets;
      names += " " + parameter.name;
    }
    names += "\n";
  }
  EXPECT_EQ(names,
            "pid_regulator: r0 tI tD lag\nboolean_regulator: plus minus\n"
            "step_regulator: plus minus inactive_hit\n");
}

TEST(Panel, SetsParametersAsAWholeAndTakesThemBack) {
  CPanelRun made(
      tests::OneRegulator("pid_regulator", "parameters param_1 = 2; param_2 = 30; param_3 = 1; end_parameters;") +
      "panel operator reg.parameters end_operator; operator reg.SetAdaptive end_operator; "
      "operator reg.SetParameters__RR end_operator; end_panel;");
  const auto parameters = [&] { return made.run->Call("reg", "GetParameters__RRR", {0.0, 0.0, 0.0}); };
  std::string names;
  for (const panel::TParameter& parameter : made.link->Operators().Parameters(0)) names += parameter.name + " ";
  EXPECT_EQ(names, "r0 tI tD lag ");
  EXPECT_EQ(made.Do(EDeed::kTakeBack, 0), "there is no set of parameters before this one");
  EXPECT_EQ(made.Do(EDeed::kParameters, 0, {3, 0, 1, 0.2}), "tI = 0: a number above 0 is expected");
  EXPECT_EQ(made.Do(EDeed::kParameters, 0, {3, 40, -1, 0.2}), "tD = -1: a number of at least 0 is expected");
  EXPECT_EQ(made.Do(EDeed::kParameters, 0, {3, 40, INFINITY, 0.2}), "tD = inf: a number is expected");
  EXPECT_EQ(made.Do(EDeed::kParameters, 0, {3, 40}), "4 numbers are expected");
  EXPECT_EQ(parameters(), (std::vector<double>{2, 30, 1}));
  EXPECT_EQ(made.Do(EDeed::kParameters, 0, {3, 40, 0, 0.3}), "");
  EXPECT_EQ(parameters(), (std::vector<double>{3, 40, 0}));
  EXPECT_EQ(made.run->Call("reg", "GetDerivationDelay__R", {0.0}), (std::vector<double>{0.3}));
  EXPECT_EQ(made.Do(EDeed::kTakeBack, 0), "");
  EXPECT_EQ(parameters(), (std::vector<double>{2, 30, 1}));
  EXPECT_EQ(made.Do(EDeed::kCall, 1, {2}), "2: true or false is expected");
  EXPECT_EQ(made.Do(EDeed::kCall, 1, {1}), "");
  EXPECT_EQ(made.run->Call("reg", "GetAdaptive__l", {0.0}), (std::vector<double>{1}));
  EXPECT_EQ(made.Do(EDeed::kCall, 2, {1, 1}), "reg.SetParameters__RR can't be called now");
  EXPECT_EQ(made.Do(EDeed::kSet, 0, {1}), "the text allows no operator that");
  EXPECT_EQ(made.Do(EDeed::kSet, 9, {1}), "the text allows no operator that");
  EXPECT_EQ(made.Do(EDeed::kAcknowledge, 0), "there is no such alarm");
  EXPECT_EQ(made.Do(EDeed::kStop, 0), "there is no plant");
}

// Commands in a record are given again in their periods: a plant is stopped and released,
// what is set goes by its rate, and the whole is the same to the last bit.
TEST(Panel, ReplaysWhatOperatorsDid) {
  const CFolder folder;
  const std::string file = folder.Write(
      "kept.lbx",
      "application kept period = 1; duration = 20; end_application;\n"
      "data w : real = 50; x : real = 20; u : real; end_data;\nprocess x' = (2 * u - x) / 5; end_process;\n"
      "connections modbus io tcp = \"127.0.0.1\", 1; input x from = input[0], float; end_input;\n"
      "output u to = holding[0], float; safe = 5; rate = 10; needs = x; end_output; end_modbus; end_connections;\n"
      "instrument pid_regulator reg expression = x; wish_value = w; output = u; start = output; end_instrument;\n"
      "panel operator w range = 0, 100; rate = 5; end_operator; operator reg.parameters end_operator;\n"
      "alarm hot when = x > 25; end_alarm; end_panel;\n");
  const std::string journal = folder.Path("j");
  const std::string summary = folder.Path("s.json");
  tests::ExpectOutcome(Loopbox("run " + file + " --lose io@17-18 --record " + folder.Path("r") + " --journal " +
                               journal + " --summary " + summary),
                       3, {"hot      medium", "io.lost  high", "now", journal + ": 5 lines, the last with the hash "});
  tests::ExpectParts(tests::ReadFile(summary), {"\"io.lost\": {", "\"lines\": 5,"});
  tests::ExpectOutcome(
      Loopbox("journal " + journal), 0,
      {"  run  start kept\n", "  run  came hot\n", "  run  came io.lost\n", "  run  returned io.lost\n"});
  folder.Write("r/commands.csv",
               "period,command,target,value\r\n3,set,w,80\r\n5,parameters,reg.parameters,3 40 0 0.2\r\n"
               "8,stop,,\r\n12,release,,\r\n14,set,w,200\r\n15,acknowledge,hot,\r\n");
  const std::string trace = folder.Path("t.csv");
  tests::ExpectOutcome(Loopbox("replay " + folder.Path("r") + " --with " + file + " --trace " + trace), 3,
                       {"hot      medium", "returned\n"});
  std::string made = tests::Replaced(tests::ReadFile(trace), "\r", "");
  double before = 0.0;
  for (int second = 1; second <= 20; ++second) {
    const std::size_t row = made.find("\n" + std::to_string(second) + ",");
    double wish = 0.0;
    double written = 0.0;
    ASSERT_EQ(std::sscanf(made.c_str() + row + 1, "%*f,%lf,%*f,%*f,%*[a-z],%lf", &wish, &written), 2) << made;
    EXPECT_EQ(wish, std::min(50.0 + 5.0 * std::max(second - 2, 0), 80.0));
    if (second >= 8 && second < 12) {
      EXPECT_EQ(written, 5.0) << second;
    } else if (second > 1) {
      EXPECT_LE(std::abs(written - before), second == 8 ? 100.0 : 10.0) << second;
    }
    before = written;
  }
  std::filesystem::copy_file(trace, folder.Path("r/trace.csv"), std::filesystem::copy_options::overwrite_existing);
  tests::ExpectOutcome(Loopbox("replay " + folder.Path("r")), 0, {"the same as the record, to the last bit"});
}

// --- The journal ----------------------------------------------------------------------

panel::TJournalRecord Entry(double value) {
  panel::TJournalRecord record;
  record.wall = 1.7e9 + value;
  record.what = panel::EEntry::kSet;
  record.newCount = 1;
  record.now[0] = value;
  panel::SetText(record.who, "operate 127.0.0.1");
  panel::SetText(record.thing, "set_point");
  return record;
}

void Write(const std::string& path, int count, const std::function<void(panel::CJournal&, int)>& between = nullptr) {
  std::string error;
  const auto journal = panel::CJournal::Open(path, true, &error);
  ASSERT_NE(journal, nullptr) << error;
  for (int i = 0; i < count; ++i) {
    journal->Put(Entry(i));
    if (between) between(*journal, i);
  }
  ASSERT_TRUE(journal->Finish(&error)) << error;
}

std::vector<std::string> Lines(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

TEST(Journal, ChainsItsLinesAndGoesOn) {
  const CFolder folder;
  const std::string path = folder.Path("oven.journal");
  Write(path, 2);
  std::vector<std::string> lines = Lines(path);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0],
            "{\"line\":1,\"time\":\"2023-11-14T22:13:20.000Z\",\"run_time\":0.0,\"period\":0,"
            "\"who\":\"operate 127.0.0.1\",\"what\":\"set\",\"thing\":\"set_point\",\"old\":null,\"new\":0.0,"
            "\"outcome\":\"done\",\"why\":\"\",\"before\":\"" +
                std::string(64, '0') + "\"}");
  // One that was torn is cut off, and all goes on behind the whole ones.
  std::ofstream(path, std::ios::app) << lines[1].substr(0, 30);
  tests::ExpectOutcome(Loopbox("journal " + path), 0, {"the last line isn't whole"});
  Write(path, 3);
  lines = Lines(path);
  const std::string last = panel::HashOfLine(lines.back());
  tests::ExpectOutcome(Loopbox("journal " + path), 0,
                       {"2023-11-14 22:13:20.000  t=0 s  operate 127.0.0.1  set set_point -> 0\n",
                        "5 lines, the last with the hash " + last});
  std::string error;
  std::string foreign = folder.Write("foreign", "period,value\n1,2\n");
  EXPECT_EQ(panel::CJournal::Open(foreign, true, &error), nullptr);
  tests::ExpectParts(error, {"foreign: the journal can't be written: it is no journal"});
}

TEST(Journal, NoticesWhatWasChanged) {
  const CFolder folder;
  const std::string path = folder.Path("whole");
  Write(path, 5);
  const std::vector<std::string> whole = Lines(path);
  const struct {
    const char* what;
    std::function<void(std::vector<std::string>&)> change;
    int wrong;
  } rows[] = {
      {"edited", [](auto& lines) { lines[1] = tests::Replaced(lines[1], "set_point", "set_paint"); }, 3},
      {"dropped", [](auto& lines) { lines.erase(lines.begin() + 2); }, 3},
      {"swapped", [](auto& lines) { std::swap(lines[1], lines[2]); }, 2},
      {"inserted", [](auto& lines) { lines.insert(lines.begin() + 1, lines[1]); }, 3},
      {"without a beginning", [](auto& lines) { lines.erase(lines.begin()); }, 1},
      {"no JSON", [](auto& lines) { lines[3] = "oh"; }, 4},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<std::string> lines = whole;
    row.change(lines);
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    panel::TJournalVerdict verdict;
    std::string error;
    const std::string changed = folder.Write("changed", text);
    EXPECT_TRUE(panel::ReadJournal(
        changed, [](auto, const auto&) {}, &verdict, &error))
        << error;
    EXPECT_EQ(verdict.wrongLine, static_cast<std::uint64_t>(row.wrong));
  }
  tests::ExpectOutcome(Loopbox("journal --json " + folder.Path("changed")), 1,
                       {"oh\n", "changed: line 4: it is no line"});
}

// A disk that is full is told at once, and the run goes on to its end.
TEST(Journal, TellsWhatItCantKeep) {
  const CFolder folder;
  const std::string file =
      folder.Write("full.lbx",
                   "application full period = 1; duration = 2000; end_application;\ndata x : real; end_data;\n"
                   "process x = sin(time); end_process;\npanel alarm up when = x > 0; end_alarm; end_panel;\n");
  tests::ExpectOutcome(
      tests::Shell("ulimit -f 32; cd " + folder.Path("") + " && " + tests::BuildPath("loopbox") + " run full.lbx"), 1,
      {"full.journal: the journal can't be written: File too large",
       "full.journal: the journal lacks entries: File too large", "full: 2000 periods of 1 s\n"});
  tests::ExpectOutcome(Loopbox("journal " + folder.Path("full.journal")), 0, {"  run  came up\n"});
}

// Each time another writer goes on, and nothing is lost or written twice.
TEST(Journal, OutlivesItsWriters) {
  const CFolder folder;
  const std::string path = folder.Path("killed");
  const auto kill = [](panel::CJournal& journal, int i) {
    if (i % 100 != 50) return;
    const std::string keeper = std::to_string(journal.Keeper());
    const std::string worker = tests::ReadFile("/proc/" + keeper + "/task/" + keeper + "/children");
    if (!worker.empty()) ::kill(std::stoi(worker), SIGKILL);
  };
  Write(path, 1000, kill);
  const std::vector<std::string> lines = Lines(path);
  ASSERT_EQ(lines.size(), 1000U);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_NE(lines[static_cast<std::size_t>(i)].find("\"new\":" + std::to_string(i) + ".0,"), std::string::npos);
  }
  panel::TJournalVerdict verdict;
  std::string error;
  EXPECT_TRUE(panel::ReadJournal(
      path, [](auto, const auto&) {}, &verdict, &error));
  EXPECT_EQ(verdict.wrongLine, 0U) << verdict.why;
}

}  // namespace
