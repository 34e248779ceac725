// `loopbox tune` and `loopbox margins`: experiments, and what is made of records.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "json/json.h"
#include "tests/page_body.h"
#include "tests/support.h"
#include "workbench/run/loop_record.h"
#include "workbench/run/proposed_text.h"

namespace {

using json::CValue;
using tests::Loopbox;

// --- Records and texts ----------------------------------------------------------------------

TEST(LoopRecord, LeavesOutRowsThatSayNothing) {
  const tests::CFolder folder;
  const tests::CRun run(tests::OneRegulator("pid_regulator", ""));
  std::string error;
  const auto loop = workbench::LoopOf(*run, {}, "test.lbx", "reg", &error);
  ASSERT_TRUE(loop) << error;
  // A first row without an output, a bad one, a missing one, an empty cell; a written
  // output goes before the wanted one.
  const std::string path =
      folder.Write("r.csv",
                   "time,x,x.quality,u,u.written,reg.output\n0,1,good,,,\n1,2,good,5,4,5\n"
                   "2,9,stale,5,5,5\n4.01,3,good,6,6,6\n5,,good,7,6.5,7\n6,4,good,7,7,7\n"
                   "7,5,good,7,7,7\n8,5,good,7,7,7\n9,5,good,7,7,7\n10,5,good,7,7,7\n"
                   "11,5,good,7,7,7\n12,5,good,7,7,7\n13,5,good,7,7,7\n14,5,good,7,7,7\n15,5,good,7,7,7\n");
  const auto record = workbench::ReadLoopRecord(path, *loop, {}, 1.0, &error);
  ASSERT_TRUE(record) << error;
  EXPECT_EQ(record->begin, 1.0);
  EXPECT_EQ(record->rows.period, 1.0);
  using TValues = std::vector<double>;
  const auto first = [](const auto& list) { return TValues(list.begin(), list.begin() + 6); };
  EXPECT_EQ(first(record->rows.input), (TValues{4, 5, 5, 6, 6.5, 7}));
  EXPECT_EQ(first(record->rows.output), (TValues{2, 2, 2, 3, 3, 4}));
  EXPECT_EQ(first(record->rows.used), (TValues{1, 0, 0, 1, 0, 1}));
  EXPECT_EQ(record->rows.input.size(), 15u);

  // A historian's, with a comma for a point, at half of the period.
  const std::string other = folder.Write("h.csv",
                                         "Zeit;PV;OP\n2026-01-01 00:00:00;1,5;4\n2026-01-01 00:00:00.5;2;4\n"
                                         "2026-01-01 00:00:01;2;5\n");
  const auto mapped = workbench::ReadLoopRecord(other, *loop, {"time=Zeit", "x=PV", "reg.output=OP"}, 1.0, &error);
  ASSERT_TRUE(mapped) << error;
  EXPECT_EQ(mapped->rows.period, 0.5);
  EXPECT_EQ(mapped->rows.output, (TValues{1.5, 2, 2}));
}

TEST(ProposedText, ChangesLawParametersAndPeriodAlone) {
  const std::string before =
      "data x : real; u : real; end_data;\ninstrument pid_regulator reg\n  expression = x;"
      " wish_value = 1; output = u;\n";
  const std::string all = "regulator_type = takahashi; param_1 = 2; param_2 = 30.5; param_3 = 0;";
  // The text, and what becomes of it.
  const std::pair<std::string, std::string> rows[] = {
      {before + "end_instrument;\n", before + "  parameters " + all + " end_parameters;\nend_instrument;\n"},
      {before + "inverse; end_instrument;", before + "inverse; parameters " + all + " end_parameters; end_instrument;"},
      {before + "parameters end_parameters; end_instrument;",
       before + "parameters " + all + " end_parameters; end_instrument;"},
      {before + "parameters param_2 = 1 /* s */; adaptive = true; end_parameters; end_instrument;",
       before +
           "parameters param_2 = 30.5 /* s */; regulator_type = takahashi; param_1 = 2; param_3 = 0; adaptive = false;"
           " end_parameters; end_instrument;"},
      {"\xEF\xBB\xBF// ä\nscript\n-- \" application a period = 9;\nend_script;\napplication a period = 2; "
       "end_application;\n" +
           before + "end_instrument;\n",
       "\xEF\xBB\xBF// ä\nscript\n-- \" application a period = 9;\nend_script;\napplication a period = 0.5; "
       "end_application;\n" +
           before + "  parameters " + all + " end_parameters;\nend_instrument;\n"},
      {"application a duration = 2; end_application;\n" + before + "end_instrument;\n",
       "application a period = 0.5; duration = 2; end_application;\n" + before + "  parameters " + all +
           " end_parameters;\nend_instrument;\n"},
  };
  const workbench::TProposedEntries entries = {"takahashi", 2.0, 30.5, 0.0, {}, 0.5};
  for (const auto& [text, expected] : rows) {
    const tests::CFolder folder;
    const tests::CRun run(folder, "a.lbx", text);
    std::string error;
    const auto changed = workbench::ProposedText(*run, run.Instrument("reg"), folder.Path("a.lbx"), entries, &error);
    EXPECT_EQ(changed.value_or(error), expected);
    EXPECT_TRUE(tests::CRun(changed.value_or("")).IsRead());
  }
  // A loop's definition stands there once for all.
  const tests::CFolder folder;
  const tests::CRun run(folder, "a.lbx",
                        "for i = 1 to 1 data x_{i} : real; u_{i} : real; end_data;\n"
                        "instrument pid_regulator reg_{i} expression = x_{i}; wish_value = 1; output = u_{i};\n"
                        "end_instrument; end_for;\n");
  std::string error;
  EXPECT_FALSE(workbench::ProposedText(*run, run.Instrument("reg_1"), folder.Path("a.lbx"), entries, &error));
  tests::ExpectParts(error, {"a.lbx: the definition of reg_1 doesn't stand there as a whole"});
}

// --- The program ------------------------------------------------------------------------------

constexpr char kOven[] =
    "// An oven.\n"
    "application oven period = 0.5; duration = 100; end_application;\n"
    "data set_point : real = 60 \"°C\"; temperature : real = 60 \"°C\"; power : real = 25 \"%\";\n"
    "     measured : real = 60 \"°C\"; on : boolean; end_data;\n"
    "process arriving = delay(power, 4); temperature' = (1.6 * arriving - (temperature - 20)) / 60;\n"
    "measured = temperature + noise(0.1); end_process;\n"
    "instrument pid_regulator heater  /* end_instrument */\n"
    "  expression = measured; wish_value = set_point; output = power; start = output;\n"
    "  wish_value_section range_from = 0; range_to = 200; end_wish_value_section;\n"
    "  value_section range_from = 0; range_to = 200; end_value_section;\n"
    "  parameters\n"
    "    regulator_type = takahashi;  // the law\n"
    "    param_1 = 1; param_2 = 40;\n"
    "  end_parameters;\n"
    "end_instrument;\n";

class Tune : public testing::Test {
 protected:
  // With a record of it, which all share.
  static void SetUpTestSuite() {
    folder = std::make_unique<tests::CFolder>();
    folder->Write("oven.lbx", kOven);
    recorded = Loopbox(OfOven("tune") + Experiment("-o " + folder->Path("relay.csv")));
  }
  static void TearDownTestSuite() { folder.reset(); }
  static std::string OfOven(const std::string& command) {
    return command + " " + folder->Path("oven.lbx") + " heater ";
  }
  static std::string Experiment(const std::string& rest) {
    return "--experiment relay --amplitude 10 --bound 30,90 --longest 1000 " + rest;
  }
  static CValue Json(const std::string& name) {
    return CValue::Parse(tests::ReadFile(folder->Path(name))).value_or(CValue());
  }

  static std::unique_ptr<tests::CFolder> folder;
  static tests::TOutcome recorded;
};
std::unique_ptr<tests::CFolder> Tune::folder;
tests::TOutcome Tune::recorded;

TEST_F(Tune, RecordsAnExperimentAndReturnsWithoutABump) {
  tests::ExpectOutcome(recorded, 0, {"the experiment ended after 20 cycles\n"});
  // Of the regulated periods the first goes on from 25 %, to which the law adds what
  // its integral part makes of an error of some degrees in a period.
  const std::string bump = tests::Shell("tail -n 19 " + folder->Path("relay.csv") +
                                        " | awk -F, '{ print ($4 - 25 < 3 && 25 - $4 < 3) }' | head -n 2")
                               .output;
  EXPECT_EQ(bump, "1\n1\n");
}

TEST_F(Tune, ProposesWritesAndTells) {
  const std::string out = folder->Path("out.lbx");
  const tests::TOutcome outcome =
      Loopbox(OfOven("tune") + "--from " + folder->Path("relay.csv") + " --law takahashiDelay --lag 0.1 --json " +
              folder->Path("p.json") + " --write " + out + " --report " + folder->Path("r.html") + " --warm " +
              folder->Path("w.par"));
  tests::ExpectOutcome(
      outcome, 0, {"proposed", "now", "takahashiDelay", "takahashi", "gain margin", "regret", "file_name = \"w.par\""});
  const CValue proposal = Json("p.json");
  EXPECT_EQ(proposal.Names(),
            (std::vector<std::string>{"advice", "cost", "instrument", "law", "margins", "model", "models",
                                      "noise_at_output", "parameters", "period", "refused", "regret"}));
  EXPECT_EQ(proposal.Member("parameters").Names(), (std::vector<std::string>{"derivation_delay", "r0", "tD", "tI"}));
  EXPECT_EQ(proposal.Member("model").Names(),
            (std::vector<std::string>{"L", "T3", "eps", "k", "kb", "order", "sigma", "std", "tau"}));
  EXPECT_EQ(proposal.Member("margins").Member("worst").Names(), (std::vector<std::string>{"gain", "ms", "phase"}));
  EXPECT_EQ(proposal.Member("cost").Names(), (std::vector<std::string>{"load", "set_point"}));
  EXPECT_NEAR(*proposal.Member("model").Member("k").Number(), 1.6 / 60.0, 1e-3);
  EXPECT_NEAR(*proposal.Member("model").Member("L").Number(), 4.0, 0.3);

  // What is written differs in law and parameters alone, and acts by them.
  const CValue parameters = proposal.Member("parameters");
  const auto written = [&](const char* name) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", *parameters.Member(name).Number());
    return std::string(text);
  };
  std::string expected = tests::Replaced(kOven, "= takahashi;", "= takahashiDelay;");
  expected = tests::Replaced(
      expected, "param_1 = 1; param_2 = 40;",
      "param_1 = " + written("r0") + "; param_2 = " + written("tI") + "; param_3 = " + written("tD") + ";");
  expected += "\nscript\n  at(0, function() heater:SetDerivationDelay(0.1) end)\nend_script;\n";
  EXPECT_EQ(tests::ReadFile(out), expected);
  const tests::TOutcome run = Loopbox("run " + out + " --quiet --summary " + folder->Path("s.json"));
  EXPECT_EQ(run.status, 0) << run.output;
  tests::ExpectParts(tests::ReadFile(folder->Path("s.json")),
                     {"\"law\": \"takahashiDelay\"", "\"derivation_delay\": 0.1", written("tI")});
  EXPECT_EQ(tests::ReadFile(folder->Path("w.par")).size(), 60u);
  tests::ExpectParts(tests::ReadFile(folder->Path("r.html")),
                     {"<h1>tuning of heater</h1>", "id=\"nyquist\"", "\"frequency, rad/s\"", "value less model"});

  // The same record, the same proposal.
  Loopbox(OfOven("tune") + "--from " + folder->Path("relay.csv") + " --law takahashiDelay --lag 0.1 --json " +
          folder->Path("again.json"));
  EXPECT_EQ(tests::ReadFile(folder->Path("again.json")), tests::ReadFile(folder->Path("p.json")));
}

// Of a law with a derivative part, for half of the period; then of one without, beside a loop that isn't stable.
TEST_F(Tune, TellsAllOnItsPage) {
  const auto page = [](const std::string& options) {
    const tests::TOutcome outcome = tests::Shell("cd " + folder->Path("") + " && " + tests::BuildPath("loopbox") +
                                                 " tune oven.lbx heater --from relay.csv --report p.html " + options);
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    return tests::ReadFile(folder->Path("p.html"));
  };
  const std::string whole = page("--law takahashiDelay --lag 0.1 --period 0.25");
  tests::ExpectParts(whole, {"<html lang=\"en\">", "<title>tuning of heater</title>",
                             tests::ReadFile(tests::SourcePath("workbench/report/tune_report.js")),
                             tests::ReadFile(tests::SourcePath("workbench/report/tune_report.css"))});
  const std::string other = page("--law classical --set heater.param_1=500");
  const std::size_t trade = other.find("<h2>What a bound");
  EXPECT_EQ(tests::PageBody(whole) + other.substr(trade, other.find("<details>") - trade),
            tests::ReadFile(tests::SourcePath("tests/pages/tuning.html")));
  std::size_t now = 0;
  for (std::size_t at = 0; (at = other.find("\"name\":\"now\"", at)) != std::string::npos; ++at) ++now;
  EXPECT_EQ(now, 3u);  // of its gain alone, and not of its answers
}

// Both integrate, the process and the law, which as it stands has no phase to spare.
TEST_F(Tune, TellsAllOfTwoIntegrators) {
  folder->Write("tank.lbx",
                tests::Replaced(kOven, "(1.6 * arriving - (temperature - 20)) / 60", "(1.6 * arriving - 40) / 60"));
  const std::string tank = "cd " + folder->Path("") + " && " + tests::BuildPath("loopbox") + " tune tank.lbx heater ";
  EXPECT_EQ(tests::Shell(tank + Experiment("-o tank.csv")).status, 0);
  const std::string set = "--set heater.param_1=0.1 --set heater.param_2=1 ";
  tests::Shell(tank + "--from tank.csv --report tank.html " + set);
  const CValue plots = tests::PageData(tests::ReadFile(folder->Path("tank.html"))).Member("plots");
  std::size_t seen = 0;
  for (const CValue& plot : plots.Elements()) {
    if (plot.Member("unit").Text() != "\"°\"") continue;
    for (const CValue& curve : plot.Member("curves").Elements()) {
      const double first = *curve.Member("y").Elements().at(0).Number();
      const bool isNow = curve.Member("name").Text() == "\"now\"";
      EXPECT_NEAR(first, isNow ? -181.2 : -177.0, 0.2);
      seen += isNow ? 1 : 0;
    }
  }
  EXPECT_EQ(seen, 1u);
}

TEST_F(Tune, TellsTheMarginsOfALoopAsItStands) {
  tests::ExpectOutcome(Loopbox(OfOven("margins") + "--set heater.param_1=0.5 --at 10 --json " + folder->Path("m.json")),
                       0, {"now", "gain margin", "Ms"});
  const CValue margins = Json("m.json");
  EXPECT_TRUE(margins.Member("model").IsNull());
  EXPECT_TRUE(margins.Member("regret").IsNull());
  EXPECT_EQ(*margins.Member("parameters").Member("r0").Number(), 0.5);
  const double byProcess = *margins.Member("margins").Member("nominal").Member("gain").Number();
  tests::ExpectOutcome(Loopbox(OfOven("margins") + "--set heater.param_1=0.5 --json " + folder->Path("m.json") +
                               " --from " + folder->Path("relay.csv")),
                       0, {"takahashi", "at worst"});
  EXPECT_NEAR(*Json("m.json").Member("margins").Member("nominal").Member("gain").Number(), byProcess, 0.1 * byProcess);
  tests::ExpectOutcome(Loopbox(OfOven("margins") + "--set heater.param_1=500"), 3,
                       {"not stable", "refused: The loop isn't stable with these parameters."});
}

TEST_F(Tune, EndsAnExperimentByTheConnections) {
  const std::string connected = folder->Write(
      "plant.lbx", tests::Replaced(kOven, "instrument pid",
                                   "connections modbus io tcp = \"127.0.0.1\", 1502; every = 0.5; timeout = 0.3;\n"
                                   "input measured from = input[0], float; end_input;\n"
                                   "output power to = holding[0], float; limit = 0, 30; needs = measured;\n"
                                   "on_loss = keep; safe = 0; end_output; end_modbus; end_connections;\n"
                                   "instrument pid"));
  const std::string command = "tune " + connected + " heater " + Experiment("-o " + folder->Path("x.csv") + " ");
  tests::ExpectOutcome(Loopbox(command + "--plant dry"), 2, {"--plant dry writes nothing, of which an experiment"});
  tests::ExpectOutcome(Loopbox(command), 3, {"the experiment ended since the connections hold power at 30 %\n"});
  tests::ExpectOutcome(Loopbox(tests::Replaced(command, "--amplitude 10", "--amplitude 4") + "--lose measured@60-100"),
                       3, {"the experiment ended since measured isn't good: the connection is lost, or its value\n"});
}

TEST_F(Tune, RefusesWhatIsWrong) {
  std::string header = "time,power,measured\n";
  std::string level = header;
  std::string coarse = header;
  std::string uneven = header;
  std::string gaps = header;
  for (int i = 0; i < 200; ++i) {
    const std::string row = "," + std::string(i % 40 < 20 ? "15" : "35") + ",60\n";
    level += std::to_string(0.5 * i) + ",25," + std::to_string(60 + i % 2) + "\n";
    coarse += std::to_string(5 * i) + row;
    uneven += std::to_string(0.5 * i + (i == 90 ? 0.2 : 0.0)) + row;
    gaps += std::to_string(0.5 * i) + (i % 3 == 0 ? ",15,\n" : row);
  }
  for (const auto& [name, text] : {std::pair("level.csv", level),
                                   {"coarse.csv", coarse},
                                   {"uneven.csv", uneven},
                                   {"gaps.csv", gaps},
                                   {"two.csv", header + "0,1,2\n0.5,1,2\n"},
                                   {"other.csv", std::string("time,x\n0,1\n")}}) {
    folder->Write(name, text);
  }
  folder->Write("fan.lbx",
                "data x : real; on : boolean; end_data;\n"
                "instrument boolean_regulator fan expression = x; wish_value = 1; output = on;\n"
                "end_instrument;\n"
                "instrument pid_regulator alone expression = x; wish_value = 1; end_instrument;\n");
  folder->Write("inside.lbx", "include \"oven.lbx\";\n");
  const std::string from = "tune OVEN heater --from ";
  const std::string experiment = "tune OVEN heater --experiment relay -o DIRx.csv ";
  const tests::TCall rows[] = {
      {"tune OVEN", 2, {"INSTRUMENT is required"}},
      {"tune OVEN heater", 2, {"tune needs --from with a record, or --experiment to make one"}},
      {"tune OVEN heater --write DIRo.lbx", 2, {"--write", "--from"}},
      {from + "DIRrelay.csv --experiment relay", 2, {"--from excludes --experiment"}},
      {from + "DIRrelay.csv --law variable", 2, {"--law", "variable not in {classical,classicalDelay"}},
      {from + "DIRrelay.csv --lag -1", 2, {"--lag: expected a number from 0 to 10, found \"-1\""}},
      {from + "DIRrelay.csv --ms 3", 2, {"--ms: expected a number from 1.2 to 2, found \"3\""}},
      {from + "DIRrelay.csv --period 0", 2, {"--period: expected a number of seconds of at least 0.001"}},
      {"tune OVEN heatr --from DIRrelay.csv", 2, {"there is no instrument 'heatr'; did you mean 'heater'?"}},
      {"tune DIRfan.lbx fan --from DIRrelay.csv", 2, {"fan has no continuous output, which alone can be tuned"}},
      {"tune DIRfan.lbx alone --from DIRrelay.csv", 2, {"alone has no data element for its output, by which a record"}},
      {"tune DIRnone.lbx heater --from DIRrelay.csv", 1, {"none.lbx"}},
      {from + "DIRnone.csv", 1, {"none.csv", "No such file"}},
      {from + "DIRother.csv",
       1,
       {"other.csv: has no column of the value of heater, by these names: measured, heater.value; --map"}},
      {from + "DIRother.csv --map measured=x",
       1,
       {"has no column of the output of heater, by these names: power.written, power, heater.output"}},
      {from + "DIRother.csv --map measured=z", 1, {"--map measured=z: the file has no such column"}},
      {from + "DIRother.csv --map set_point=x", 1, {"set_point is neither the value nor the output of heater"}},
      {from + "DIRtwo.csv", 1, {"two.csv: has 2 rows, which tells nothing"}},
      {from + "DIRcoarse.csv", 1, {"its rows are 5 s apart, and the regulator acts each 0.5 s: what it did between"}},
      {from + "DIRuneven.csv", 1, {"its rows are not at equal distances: 0.5 s as a rule, but not at 45.2 s"}},
      {from + "DIRgaps.csv", 1, {"of its 199 rows 66 are missing, without a value, or of one that isn't good"}},
      {from + "DIRlevel.csv --write DIRno.lbx",
       3,
       {"refused: The output keeps one level", "nothing is written of a proposal that is refused"}},
      {from + "DIRrelay.csv --write OVEN", 1, {"oven.lbx: the text would overwrite a file that the run uses"}},
      {from + "DIRrelay.csv --json DIRnone/p.json", 1, {"none/p.json"}},
      {"tune DIRinside.lbx heater --from DIRrelay.csv --write DIRo.lbx", 1, {"and only what stands in"}},
      {experiment, 2, {"--experiment needs -o, --amplitude, --bound and --longest"}},
      {experiment + "--amplitude 0", 2, {"--amplitude: expected a number other than 0, found \"0\""}},
      {experiment + "--amplitude 1 --bound 5,2 --longest 99", 2, {"expected two numbers as 20,80, the second above"}},
      {experiment + "--amplitude 1 --bound 2,5 --longest 9", 2, {"--longest: 9 s is less than 60 periods of 0.5 s"}},
      {experiment + "--amplitude 1 --bound 2,99 --longest 99 --plant", 2, {"has no connections, which --plant needs"}},
      {"tune OVEN heater --experiment relay -o OVEN --amplitude 1 --bound 2,99 --longest 99",
       1,
       {"oven.lbx: the record would overwrite a file that the run uses"}},
      {experiment + "--amplitude 30 --bound 2,99 --longest 99",
       3,
       {"and an amplitude of 30 % leaves its range, 0 to 100"}},
      {"margins OVEN heater --at 5 --from DIRrelay.csv", 2, {"--from excludes --at"}},
      {"margins OVEN heater --set heater.param_1=0 --from DIRlevel.csv",
       1,
       {"The output keeps one level throughout: nothing can be learnt from that."}},
      {"margins OVEN heater --set power=100 --set heater.expression=set_point",
       1,
       {"its value doesn't answer its output"}},
      {"margins OVEN heater --set heater.param_2=0",
       1,
       {"heater doesn't act by a law with r0, tI and tD, of which alone margins are told"}},
  };
  for (const tests::TCall& row : rows) {
    SCOPED_TRACE(row.arguments);
    const std::string arguments = tests::Replaced(row.arguments, "OVEN", folder->Path("oven.lbx"));
    tests::ExpectOutcome(Loopbox(tests::Replaced(arguments, "DIR", folder->Path(""))), row.status, row.parts);
  }
}

}  // namespace
