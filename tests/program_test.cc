// The program as a person meets it: exit statuses, messages, files.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "tests/support.h"

namespace {

using tests::ExpectOutcome;
using tests::Loopbox;
using tests::Shell;
using tests::TOutcome;

constexpr char kGoodText[] =
    "application good period = 0.5; duration = 2; end_application;\n"
    "data w : real = 5; on : boolean; a : real[2]; p : real; end_data;\n"
    "instrument pid_regulator heater expression = p; wish_value = w; output = p;\n"
    "parameters param_1 = 0.1; param_2 = 4; param_3 = 0; end_parameters; end_instrument;\n";

class Program : public testing::Test {
 protected:
  // The arguments with FILE for the good application and DIR for the folder.
  TOutcome Call(std::string arguments) const {
    arguments = tests::Replaced(tests::Replaced(arguments, "GOOD", good), "DIR", folder.Path(""));
    return Shell("(" + tests::BuildPath("loopbox") + " " + arguments + ")");  // redirections stay inside
  }

  const tests::CFolder folder;
  const std::string good = folder.Write("good.lbx", kGoodText);
};

TEST_F(Program, SaysWhatIsWrongAndExitsWithItsStatus) {
  folder.Write("bad.lbx", "data x : real;\n  y : rael;\nend_data;\n");
  folder.Write("late.lbx", "data a : real[2]; end_data; process x = a[time * 100]; end_process;\n");
  folder.Write("strange.csv", "time,x\n1,2\n");
  folder.Write("script.lbx", "script\nat(0, function() error('no') end)\nend_script;\n");
  folder.Write("history.lbx",
               "application h end_application; data x : real; u : real; on : boolean; end_data;\n"
               "instrument pid_regulator p expression = x; wish_value = x; output = u;\n"
               "wish_value_section range_to = 9; mode = history; end_wish_value_section;\n"
               "value_section range_to = 9.0; low_limit = 1; end_value_section;\n"
               "output_section range_to = 1; end_output_section; end_instrument;\n"
               "instrument boolean_regulator b expression = x; wish_value = x; output = on;\n"
               "output_section low_limit = 0; end_output_section; end_instrument;\n");
  folder.Write("cold.lbx",
               "data x : real = 20; w : real = 22; u : real = 9 \"%\"; end_data; instrument pid_regulator c\n"
               "expression = x; wish_value = w; output = u; parameters param_1 = 0.1; param_2 = 0.05; param_3 = 0;\n"
               "adaptive = true; file_name = \"c.par\"; end_parameters; end_instrument;\n"
               "script at(0, save) at(0, function() print('seen') end)\nend_script;\n");
  folder.Write("doubtful.lbx",
               "application d period = 5; duration = 2; end_application; data x : real; u : real; end_data;\n"
               "process x = u; end_process;\n"
               "instrument pid_regulator a expression = x; wish_value = x; output = u;\n"
               "wish_value_section range_from = 9; range_to = 2; end_wish_value_section;\n"
               "parameters param_2 = 0; file_name = \"a.par\"; end_parameters; end_instrument;\n"
               "instrument pid_regulator b expression = x; wish_value = x; output = u; end_instrument;\n");
  folder.Write(
      "loops.lbx",
      "application l\n period = 0.3;\n duration = 10; end_application;\n"
      "data heat : real; t : real = 20; cool : real; v : real = 20; lone : real; u : real; n : real; end_data;\n"
      "process late = delay(heat, -4);\n n = n + 1; t' = (2 * late - (t - 20)) / 0.01;\n"
      "v' = (-cool - (v - 20)) / 50; end_process;\n"
      "instrument pid_regulator a expression = t; wish_value = 9; output = heat;\n"
      "parameters param_1 = -3; end_parameters; end_instrument;\n"
      "instrument pid_regulator b expression = v; wish_value = 9; output = cool; end_instrument;\n"
      "instrument pid_regulator c expression = v; wish_value = 9; output = cool;\n inverse; end_instrument;\n"
      "instrument pid_regulator d\n expression = lone; wish_value = 9; output = u; end_instrument;\n");
  folder.Write("equal.lbx",
               "data x : real; u : real; end_data;\n"
               "instrument pid_regulator a expression = x; wish_value = x; output = u;\n"
               "value_section range_from = 5; range_to = 5; end_value_section; end_instrument;\n");
  std::filesystem::create_symlink("aim.svg", folder.Path("link.svg"));
  std::filesystem::create_symlink("other/../b.par", folder.Path("link.par"));
  std::filesystem::create_directory(folder.Path("other"));
  const std::string plugin = " --plugin " + tests::BuildPath("tests/regulator_");
  const tests::TCall rows[] = {
      {"", 2, {"run", "check", "classes", "describe"}},
      {"--help", 0, {"run", "check", "classes", "describe"}},
      {"--version", 0, {"loopbox "}},
      {"dance", 2, {"dance"}},
      {"run", 2, {"FILE is required"}},
      {"run GOOD --perod 1", 2, {"--perod"}},
      {"run GOOD --period 0", 2, {"--period", "at least 0.001"}},
      {"run GOOD --period one", 2, {"--period", "found \"one\""}},
      {"run GOOD --duration -1", 2, {"--duration"}},
      {"run GOOD --duration inf", 2, {"--duration"}},
      {"run GOOD --set w", 2, {"--set", "expected NAME=VALUE, found \"w\""}},
      {"run GOOD --set =1", 2, {"--set"}},
      {"run GOOD --every 0 --trace -", 2, {"--every", "at least 1"}},
      {"run GOOD --every 2", 2, {"--every", "--trace"}},
      {"run GOOD --seed x", 2, {"--seed"}},
      {"run GOOD --seed 08 --quiet", 0, {}},
      {"run GOOD --set w=x", 1, {"w=x: expected a number"}},
      {"run GOOD --set v=1", 1, {"v=1: there is no such data element"}},
      {"run GOOD --set 'a[2]=1'", 1, {"a[2]=1: the index is out of range"}},
      {"run GOOD --set on=true --set 'a[1]=-1' --set w=7.5", 0, {"good: 4 periods of 0.5 s", "heater"}},
      {"run GOOD --period 1 --duration 3", 0, {"3 periods of 1 s"}},
      {"run GOOD --trace DIRnone/t.csv", 1, {"none/t.csv: the trace can't be written: No such file or directory"}},
      {"run GOOD --trace GOOD", 1, {"the trace would overwrite a file that the run uses"}},
      {"run DIRdoubtful.lbx --set x=1", 1, {"x=1: the process computes it from the start"}},
      {"run GOOD --trace DIRn.csv --report DIR./n.csv", 1, {"./n.csv: the report would overwrite a file that the run"}},
      {"run GOOD --trace DIRlink.svg --plot DIRaim.svg", 1, {"aim.svg: the picture would overwrite a file that the"}},
      {"run GOOD --trace DIRlink.par", 0, {"good: 4 periods"}},
      {"run DIRdoubtful.lbx --trace DIRother/../a.par", 1, {"a.par: the trace would overwrite a file that the run"}},
      {"run GOOD --report " + tests::BuildPath("regulator.ref"), 1, {"regulator.ref: the report would overwrite"}},
      {"run GOOD --language en --trace " + tests::BuildPath("en.lang"), 1, {"en.lang: the trace would overwrite"}},
      {"run GOOD --report DIRnone/r.html", 1, {"none/r.html"}},
      {"run GOOD --compare DIRstrange.csv", 2, {"--compare"}},
      {"run GOOD --report DIRr --compare DIRstrange.csv",
       1,
       {"strange.csv: is the trace of another application: it has no column a[0], a[1], heater.output, heater.value,",
        "and 3 more, but a column x; --compare-any"}},
      {"run GOOD --report DIRr --compare-any --compare DIRstrange.csv",
       1,
       {"strange.csv:1: no column is a pane of this application's"}},
      {"run GOOD --window 3-2", 2, {"--window", "expected two seconds as 300-900"}},
      {"run GOOD --window 0.5-1 --set w=0", 0, {"\n  0.5-1   0.5 s  1 s  0  ", "\n  wish 0  0 s    2 s  0  "}},
      {"run GOOD --trace DIRc.csv --summary DIRc.csv", 1, {"c.csv: the summary would overwrite a file that the run"}},
      {"run GOOD --trace DIRc.csv --summary DIRc.json --seed 4", 0, {"good: 4 periods"}},
      {"run GOOD --report DIRr --compare DIRc.csv --summary DIRc.json", 1, {"c.json: the summary would overwrite"}},
      {"run GOOD --report DIRr --compare DIRc.csv --set heater.param_1=3 --set w=7 --duration 1.5",
       0,
       {"duration 1.5 s, there 2 s\n  3 rows, there 4; 3 of the same time are measured\n",
        "set {\"heater.param_1\":\"3\",\"w\":\"7\"}, there {}\n  seed 1, there 4\n  heater: r0 3, there 0.1\n"}},
      {"run GOOD --report DIRr --compare DIRc.csv --set heater.param_1=0.10000001",
       0,
       {"\n  heater: r0 0.10000001, there 0.1\n"}},
      {"run GOOD --summary DIRnone/s.json", 1, {"none/s.json: can't be written: No such file or directory"}},
      {"run GOOD --report DIRlog > DIRlog", 1, {"log: the report would overwrite a file that the run uses"}},
      {"run GOOD --trace /dev/stdout > DIRt.csv; tail -n 1 DIRt.csv", 0, {"good: 4 periods", "\n2,5,0,0,0,"}},
      {"run GOOD --duration 9999 --trace DIRt.csv --compare DIRgood.lbx --report DIRr; wc -l < DIRt.csv", 0, {"\n5\n"}},
      {"run GOOD --trace DIRt.csv 2>&- >&-; head -c 7 DIRt.csv", 0, {"time,w,"}},
      {"run GOOD --trace - >&-", 1, {"standard output: the trace is not complete: Bad file descriptor"}},
      {"run DIRdoubtful.lbx --trace DIRa.par", 1, {"a.par: the trace would overwrite a file that the run uses"}},
      {"run DIRdoubtful.lbx --input DIRa.par", 1, {"a.par: the file of a would overwrite a file that the run uses"}},
      {"check DIRdoubtful.lbx",
       0,
       {"the duration holds no period", "wish of a is always 9 or 2: the range of its pane, 9 … 2, is reversed",
        "with tI = 0 the law has no finite", "u is written by a as well"}},
      {"check DIRequal.lbx",
       1,
       {"equal.lbx:2:1: the value of a is always 5: the range of its pane, 5 … 5, has equal ends",
        "equal.lbx: 1 instrument, 1 error, 2 warnings"}},
      {"run DIRequal.lbx --duration 1", 0, {"a: the value is limited by its pane to 5 … 5"}},
      {"check GOOD > /dev/full", 1, {"standard output can't be written: No space left on device"}},
      {"run GOOD --trace /dev/full", 1, {"/dev/full: the trace is not complete: No space left on device"}},
      {"run GOOD --trace - > /dev/full", 1, {"standard output: the trace is not complete: No space left on device"}},
      {"run DIRnone.lbx", 1, {"none.lbx: cannot be opened: No such file or directory"}},
      {"run DIR", 1, {": is a directory"}},
      {"run DIRbad.lbx", 1, {"bad.lbx:2:7: expected real, boolean or integer, found 'rael'\n  y : rael;\n      ^\n"}},
      {"check DIRbad.lbx", 1, {"bad.lbx:2:7: expected real", "      ^\n", "bad.lbx: 1 error, 0 warnings"}},
      {"check DIRnone.lbx", 1, {"cannot be opened"}},
      {"check GOOD",
       0,
       {"param_1 is r0", "warning: the wish of heater is limited to 0 … 100", "good.lbx: 1 instrument, 2 warnings"}},
      {"check DIRhistory.lbx",
       0,
       {"history.lbx:4:31: warning: with mode history the value's pane takes range, limits",
        "history.lbx:7:16: warning: the output pane's limits are the ends of its own range", "the wish of b is limited",
        "2 instruments, 6 warnings"}},
      {"check DIRloops.lbx",
       0,
       {":3:13: warning: the duration is no multiple of the period: the last period ends at 9.9 s",
        ":5:28: warning: a delay of a negative time is none", ":6:2: warning: this line reads what it computes",
        ":6:18: warning: a step of 0.03 s is too long for a rate of 100 1/s: substeps = 30 would do",
        ":9:12: warning: the gain of a has the wrong sign: a higher heat raises t, and a t above the wish makes heat",
        ":10:1: warning: the gain of b has the wrong sign: a higher cool lowers v, and a v above the wish makes cool",
        ":14:2: warning: nothing computes lone, which d regulates"}},
      {"run DIRloops.lbx", 0, {"t=0.3 s  process: line 6: a step of 0.03 s is too long"}},
      {"check DIRcold.lbx; ls DIRc.par",
       2,
       {"without start it begins from zeros: its first output will be 12.39 %; start = output;", "No such file"}},
      {"check DIRlate.lbx", 0, {"0 instruments, 0 warnings"}},
      {"run DIRlate.lbx --duration 1", 3, {"process: line 1: Index out of range"}},
      {"run DIRlate.lbx --duration 1 --quiet", 3, {"process: line 1: Index out of range"}},
      {"run DIRscript.lbx --duration 1", 3, {"no"}},
      {"run GOOD --plugin DIRnone.so", 1, {"none.so: there is no such plug-in"}},
      {"check GOOD --plugin GOOD", 1, {"good.lbx: the plug-in can't be loaded"}},
      {"classes" + plugin + "lacks_export.so",
       1,
       {"regulator_lacks_export.so: the plug-in has no export MakeInstrument"}},
      {"run GOOD" + plugin + "refuses_host.so", 1, {"the plug-in refuses this host: too old"}},
      {"check GOOD" + plugin + "makes_null.so",
       1,
       {"good.lbx:3:12: the plug-in made no instrument of class 'pid_regulator'"}},
      {"describe pid_regulator" + plugin + "makes_null.so", 1, {"the plug-in made no instrument"}},
      {"describe regulator", 1, {"no class \"regulator\"", "pid_regulator boolean_regulator step_regulator"}},
      {"describe", 2, {"CLASS is required"}},
      {"describe pid_regulator --format html", 2, {"--format", "html not in {text,markdown}"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments);
    ExpectOutcome(Call(row.arguments), row.status, row.parts);
  }
  EXPECT_EQ(tests::ReadFile(good), kGoodText);
}

// Nothing of what a text, a file's name or a column says moves a cursor, hides or
// turns a text.
TEST_F(Program, PrintsNothingThatATerminalObeys) {
  constexpr char kHostile[] =
      "\x1b[2J\r\x07\x7f\xc2\x9b"
      "1m\xe2\x80\xae\xe2\x81\xa6";
  const std::string text = kHostile;
  folder.Write("h.lbx", "data x : real \"" + text +
                            "\"; u : real; end_data;\n"
                            "instrument pid_regulator r expression = x; wish_value = x; output = u; end_instrument;\n"
                            "script\nprint('" +
                            std::string("\\27[2J\\xff\\0") +
                            "')\n"
                            "at(1, function() error('\\27[2J\\xff') end)\nend_script;\n");
  folder.Write("h.csv", "time," + text + ",u,x\n1,2,2,2\n");
  folder.Write("bad.lbx", "data " + text);
  const std::string odd = "$(printf 'DIR\\033\\377')";
  const std::pair<std::string, int> rows[] = {
      {"run DIRh.lbx --input DIRh.csv --duration 9", 3},
      {"check DIRbad.lbx", 1},
      {"run " + odd, 1},
      {"check " + odd, 1},
      {"run GOOD --trace " + odd + "/x", 1},
      {"run GOOD " + odd, 2},
      {"describe " + odd, 1},
      {"run GOOD --language " + odd, 2},
      {"validate " + odd, 1},
      {"run GOOD --plugin " + odd, 1},
  };
  for (const auto& [arguments, status] : rows) {
    SCOPED_TRACE(arguments);
    const TOutcome outcome = Call(arguments);
    ExpectOutcome(outcome, status, {"\xEF\xBF\xBD"});
    EXPECT_EQ(runtime::Printable(outcome.output), outcome.output);
    EXPECT_EQ(outcome.output.find_first_of(std::string("\x1b\r\x07\x7f\xff\0", 6)), std::string::npos);
  }
}

TEST_F(Program, WritesTheTraceWhereItIsAsked) {
  const std::string header = "time,w,on,a[0],a[1],p,heater.wish_value,heater.value,heater.output\r\n";
  ASSERT_EQ(Call("run GOOD --quiet --trace DIRt.csv").output, "");
  const std::string whole = tests::ReadFile(folder.Path("t.csv"));
  EXPECT_EQ(whole.substr(0, header.size()), header);
  EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 5);
  EXPECT_EQ(Call("run GOOD --quiet --trace -").output, whole);
  EXPECT_EQ(Call("run GOOD --trace - 2>/dev/null").output, whole);  // the summary keeps out of it
  const std::string second = Call("run GOOD --quiet --trace - --every 2").output;
  EXPECT_EQ(second.find("\r\n1,"), header.size() - 2);
  EXPECT_NE(second.find("\r\n2,"), std::string::npos);
  EXPECT_EQ(std::count(second.begin(), second.end(), '\n'), 3);
  EXPECT_EQ(Call("run GOOD --quiet --trace - --set w=7 | cut -d, -f2,7 | sort -u").output,
            "7,7\nw,heater.wish_value\n");
}

TEST_F(Program, IsInterruptedWithItsTraceWhole) {
  const auto start = std::chrono::steady_clock::now();
  const TOutcome outcome =
      Shell("cd " + folder.Path("") + " && { " + tests::BuildPath("loopbox") + " run " + good +
            " --realtime --duration 100 --trace t.csv & "
            "until grep -qs ^1, t.csv || ! kill -0 $!; do sleep 0.01; done; kill -INT $!; wait $!; }");
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ExpectOutcome(outcome, 130, {"stopped at t="});
  const std::string trace = tests::ReadFile(folder.Path("t.csv"));
  EXPECT_TRUE(trace.ends_with("\r\n"));
  // Its header and a row of each half second.
  EXPECT_LE(static_cast<double>(std::count(trace.begin(), trace.end(), '\n')), 1.0 + elapsed / 0.5 + 1.0);
}

TEST_F(Program, SaysWhatThePluginOffers) {
  ExpectOutcome(Loopbox("classes"), 0,
                {"pid_regulator\n", "boolean_regulator\n", "step_regulator\n",
                 "Regulator of an analogue quantity with a continuous output", "0x02010102", "0x02010202", "version",
                 "mask and colour"});
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"pid_regulator",
       {"OnOutput__R", "OnOutputChange( &U : real )", "SetParameters", "SetRegulatorType", "param_1", "takahashi",
        "file_name", "blink_rate", "name      classical", "#00FF00", "Ink of the border", "always_activate"}},
      {"boolean_regulator", {"OnOutput__l", "SetDivergenceMinus__R", "GetDivergencePlus( &DivPlus : real )", "output"}},
      {"step_regulator",
       {"OnOutputChange__ll", "SetInactiveHit( InactiveHit : real )", "output_minus", "integer      5"}},
  };
  for (const auto& [className, parts] : rows) {
    ExpectOutcome(Loopbox(std::string("describe ") + className), 0, parts);
  }
}

TEST_F(Program, ChecksAndRunsEveryExample) {
  std::filesystem::copy(tests::SourcePath("examples"), folder.Path("examples"),
                        std::filesystem::copy_options::recursive);
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path("examples"))) {
    if (entry.path().extension() != ".lbx") continue;
    ++count;
    for (const char* command : {"check ", "run "}) {
      const TOutcome outcome = Loopbox(command + entry.path().string());
      EXPECT_EQ(outcome.status, 0) << command << entry.path() << "\n" << outcome.output;
      EXPECT_EQ(outcome.output.find("process: line"), std::string::npos) << outcome.output;
      if (command[0] == 'c') tests::ExpectParts(outcome.output, {", 0 warnings"});
    }
  }
  EXPECT_GE(count, 4u);
}

}  // namespace
