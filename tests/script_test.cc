// Scripts: what they reach, what they are kept from, and that a loop goes on
// regulating whatever a script does.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "tests/support.h"

namespace {

using tests::CRun;
using tests::ExpectParts;

constexpr char kScriptData[] =
    "application a period = 1; duration = 100; end_application;\n"
    "data w : real = 50; x : real; u : real; n : integer = 3; f : boolean; z : real[3] = [1, 2, 3];\n"
    "on : boolean; plus : boolean; minus : boolean; end_data;\n"
    "process x' = (u - x) / 10; end_process;\n"
    "instrument pid_regulator heater expression = x; wish_value = w; output = u; parameters param_1 = 2; "
    "param_2 = 20; param_3 = 1; end_parameters; end_instrument;\n"
    "instrument boolean_regulator switch expression = x; wish_value = w; output = on; end_instrument;\n"
    "instrument step_regulator valve expression = x; wish_value = w; output_plus = plus; output_minus = minus; "
    "inactive_hit = 0; end_instrument;\n";
// A script that is put in begins in line 9.

std::string WithScript(const std::string& script) { return kScriptData + ("script\n" + script) + "\nend_script;\n"; }

// What it prints in a callback of the first period, lines joined by "|".
std::string Printed(const std::string& statements, std::uint64_t seed = 1) {
  runtime::TReadOptions options;
  options.seed = seed;
  CRun run(WithScript("at(0, function() " + statements + " end)"), options);
  run.Steps(1);
  std::string text;
  for (const std::string& line : run.printed) text += (text.empty() ? "" : "|") + line;
  for (const auto& message : run.messages) text += (text.empty() ? "" : "|") + ("! " + message.text);
  return text;
}

struct TExpectation {
  const char* statements;
  const char* printed;
};

void ExpectPrinted(std::initializer_list<TExpectation> table) {
  for (const auto& [statements, printed] : table) EXPECT_EQ(Printed(statements), printed) << statements;
}

TEST(Script, ReachesNothingOutside) {
  ExpectPrinted({
      {"print(io, os, require, package, debug, coroutine)", "nil\tnil\tnil\tnil\tnil\tnil"},
      {"print(load, loadfile, dofile, loadstring, collectgarbage, string.dump)", "nil\tnil\tnil\tnil\tnil\tnil"},
      {"print({}, print, heater, data, 'x', 1, 1.5, nil, true)", "table\tfunction\theater\tdata\tx\t1\t1.5\tnil\ttrue"},
      {"print(pcall(string.format, '%p', {}))", "false\t'%p' would print an address"},
      {"print(getmetatable(heater), getmetatable(data))", "false\tfalse"},
  });
}

TEST(Script, IsRepeatable) {
  ExpectPrinted({
      {"local t = {b = 1, a = 2, [10] = 3, [2] = 4, [true] = 5} local s = '' for k in pairs(t) do s = s .. tostring(k) "
       ".. ' ' end print(s)",
       "2 10 a b true "},
      {"local k = next({z = 1, y = 2}) print(k)", "y"},
  });
  const std::string draw = "print(math.random(), math.random(1, 1000000))";
  EXPECT_EQ(Printed(draw, 7), Printed(draw, 7));
  EXPECT_NE(Printed(draw, 7), Printed(draw, 8));
  EXPECT_EQ(Printed("math.randomseed() " + draw, 7), Printed("math.randomseed() " + draw, 7));
}

TEST(Script, ReadsAndWritesDataByTheirTypes) {
  ExpectPrinted({
      {"data.w = 7 data.n = 4.0 data.f = true data.z[2] = -1.5 print(data.w, data.n, data.f, data.z[0], data.z[2], "
       "#data.z)",
       "7.0\t4\ttrue\t1.0\t-1.5\t3"},
      {"data.w = 0/0", "! line 9: 'w' was given what is not a finite number"},
      {"data.w = 1/0 print('on')", "! line 9: 'w' was given what is not a finite number"},
      {"data.n = 2.5", "! line 9: 'n' is integer and can't be given 2.5"},
      {"data.n = 2147483648", "! line 9: 2147483648 is out of the range of 'n'"},
      {"data.f = 1", "! line 9: 'f' is boolean: boolean expected, got number"},
      {"data.w = 'hot'", "! line 9: 'w' is real: number expected, got string"},
      {"data.none = 1", "! line 9: there is no data element 'none'"},
      {"print(data.z[3])", "! line 9: the indices of 'z' are 0 to 2"},
      {"data.z = 1", "! line 9: 'z' is an array: its elements are set one by one"},
  });
}

TEST(Script, CallsProceduresAsTheyResolveAtTheMoment) {
  ExpectPrinted({
      {"heater:SetParameters(3, 60, 8) print(heater:GetParameters())", "3.0\t60.0\t8.0"},
      {"heater:SetRegulatorType(5) heater:SetParameters(0.7, 0.1) print(heater:GetParameters())", "0.7\t0.1"},
      {"heater:SetRegulatorType(2) print(heater:GetRegulatorType())", "3.0"},
      {"heater:SetRegulatorType(2.9) print(heater:GetRegulatorType())", "3.0"},
      {"print(heater:Debug(0, 0, 0, 0))", "0.1\t0.1\t0.2\t0.2"},
      {"print(select('#', time()), select('#', save()), select('#', at(2, print)))", "1\t0\t0"},
      {"print(select('#', print('x')))", "x|0"},
      {"at(0.5, function() print('called') end, 7)", "called"},
      {"print(heater:Debug())", "0.1\t0.1\t0.2\t0.2"},
      {"print(heater:Debug(1))", "! line 9: 'heater' has no procedure 'Debug' for these arguments (1) at this moment"},
      {"heater:SetForgetCoefficient(0.25) print(heater:GetForgetCoefficient(0), heater:GetForgetCoefficient())",
       "0.25\t0.25"},
      {"heater:SetAdaptive(true) heater:RunIdentification() print(heater:IsIdentificationRunning())", "true"},
      {"switch:SetDivergencePlus(4) print(switch:GetDivergencePlus())", "4.0"},
      {"valve:SetInactiveHit(-2.9) print(valve:GetInactiveHit())", "-2.0"},
      {"heater.colors.ink = '#12ab00' print(heater.colors.ink)", "#12AB00"},
      {"heater.colors.ink = 'red'", "! line 9: a colour is written \"#RRGGBB\""},
      {"heater:SetParameters(1, 2)",
       "! line 9: SetParameters( ksi, omega : real ) of 'heater' does not exist at this moment"},
      {"heater:SetParameters(1)",
       "! line 9: wrong number of arguments (1) for SetParameters( ksi, omega : real ) or SetParameters( "
       "r0, tI, tD : real )"},
      {"heater:SetParameters(1, 2, 'x')", "! line 9: argument 3 of 'SetParameters': number expected, got string"},
      {"heater:SetParameters('x', 2, 3)", "! line 9: argument 1 of 'SetParameters': number expected, got string"},
      {"heater:SetRegulatorType(2147483648)",
       "! line 9: argument 1 of 'SetRegulatorType' is out of the range of 32 bits"},
      {"heater:Debug(1)", "! line 9: 'heater' has no procedure 'Debug' for these arguments (1) at this moment"},
      {"heater:SetParameters(1, 2, 1/0)", "! line 9: argument 3 of 'SetParameters' is not a finite number"},
      {"heater:SetAdaptive(1)", "! line 9: argument 1 of 'SetAdaptive': boolean expected, got number"},
      {"heater:Nothing()", "! line 9: 'heater' (pid_regulator) has no procedure 'Nothing' at this moment"},
      {"heater:SetRegulatorType(-2147483648)",
       "! Neznámý typ regulátoru|! line 9: 'SetRegulatorType' of 'heater' failed"},
      {"heater:SetRegulatorType(2147483647)",
       "! Neznámý typ regulátoru|! line 9: 'SetRegulatorType' of 'heater' failed"},
      {"heater:SetRegulatorType(6)", "! Neznámý typ regulátoru|! line 9: 'SetRegulatorType' of 'heater' failed"},
      {"heater.RunIdentification()",
       "! line 9: 'RunIdentification' is called with a colon: "
       "NAME:RunIdentification(…)"},
  });
}

// Procedures of a class that isn't ours: with answers behind what they ask, described
// wrong or not at all, as wide as may be and wider.
TEST(Script, CallsProceduresOfAnOddClass) {
  const std::string longest(255, 'N');
  const std::pair<std::string, std::string> rows[] = {
      {"print(odd:GetEchoes(7))", "0.0\tfalse"},
      {"odd:GetInfinity(7)", "line 4: result 2 of 'GetInfinity' is not a finite number"},
      {"odd:Widest(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)",
       "Widest(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16)"},
      {"odd:TooWide(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17)",
       "line 4: 'TooWide' is described in a way that can't be called"},
      {"print(odd:Misdescribed(4))", "Misdescribed(4)4.0"},
      {"odd:FailAloud(1)", "line 4: 'FailAloud' of 'odd' failed: !"},
      {"odd:FailSilently(1)", "line 4: 'FailSilently' of 'odd' failed"},
      {"print(odd:Swap(1, 2))", "2.0\t1.0"},
      {"print(odd:Flip(true), odd:Flip(false))", "false\ttrue"},
      {"print(odd:GetTight())", "0.0"},
      {"odd:Plain(1)", "line 4: wrong number of arguments (1) for Plain"},
      {"odd:IsEven(1)", ""},
      {"odd:Eight(1, 2, 3, 4, 5, 6, 7, 8)", "Eight(1, 2, 3, 4, 5, 6, 7, 8)"},
      {"odd:Nine(1, 2, 3, 4, 5, 6, 7, 8, 9)", "line 4: 'odd' (pid_regulator) has no procedure 'Nine' at this moment"},
      {"print(#{odd:GetEight()})", "8"},
      {"odd:GetNine()", "line 4: 'odd' (pid_regulator) has no procedure 'GetNine' at this moment"},
      {"odd." + longest + "(odd)", longest + "()"},
      {"odd.N" + longest + "(odd)", "line 4: 'odd' (pid_regulator) has no procedure 'N" + longest + "' at this moment"},
  };
  std::string error;
  const auto plugin = runtime::CPlugin::Load(tests::BuildPath("tests/regulator_odd_procedures.so"), &error);
  ASSERT_NE(plugin, nullptr) << error;
  const tests::CFolder folder;
  for (const auto& [statements, expected] : rows) {
    std::string said;
    runtime::TReadOptions options;
    options.path =
        folder.Write("odd.lbx",
                     "application a period = 1; duration = 2; end_application; data w : real; u : real; end_data;\n"
                     "instrument pid_regulator odd expression = w; wish_value = w; output = u; end_instrument;\n"
                     "script at(0, function()\n" +
                         statements + " end)\nend_script;\n");
    options.print = [&](const std::string& line) { said += line; };
    options.action = [&](const std::string&, const std::string& what) { said += what; };
    std::vector<runtime::TDiagnostic> found;
    const auto application = runtime::CApplication::Read(options, *plugin, &found);
    ASSERT_NE(application, nullptr) << runtime::Format(found.at(0));
    application->SetMessageSink([&](const runtime::TRunTimeMessage& message) { said += message.text; });
    application->Step();
    EXPECT_EQ(said, expected) << statements;
  }
}

// Each look for what the class doesn't list is worth ten thousand instructions, each line that is printed a hundred.
TEST(Script, MayLookAndPrintSoOften) {
  for (const auto& [count, statement, isWell] : {std::tuple("99", "local f = heater.Debug", true),
                                                 {"101", "local f = heater.Debug", false},
                                                 {"9000", "print()", true},
                                                 {"10001", "print()", false}}) {
    runtime::TReadOptions options;
    options.scriptWork = 1'000'000;
    CRun run(WithScript("at(0, function() for i = 1, " + std::string(count) + " do " + statement +
                        " end print() data.n = 7 end)"),
             options);
    run.Steps(1);
    EXPECT_EQ(run.Value("n") == 7.0, isWell) << count;
  }
}

TEST(Script, HasNoTimeLeftBehindALongSave) {
  runtime::TReadOptions options;
  options.scriptTime = 0.0;
  CRun run(WithScript("at(0, save)"), options);
  run.Steps(1);
  ASSERT_EQ(run.messages.size(), 1u);
  ExpectParts(run.messages[0].text, {"the script ran too long"});
}

// What is due several times in periods that were left out is called once.
TEST(Script, RepeatsOnceAfterPeriodsLeftOut) {
  CRun run(WithScript("every(0.5, function() print(time()) end)"));
  run.Steps(1);
  EXPECT_EQ(run.printed.size(), 2u);
  run->LeaveOut(1);
  run.Steps(1);
  EXPECT_EQ(run.printed.size(), 3u);
  run.Steps(1);
  EXPECT_EQ(run.printed.size(), 5u);
}

TEST(Script, IsRefusedAtItsLine) {
  const struct {
    const char* script;
    const char* where;
    const char* message;
  } cases[] = {
      {"function heater.OnOutptu(u) end", "FILE:9:1",
       "'OnOutptu' is no event of pid_regulator (there are OnOutput, OnOutputChange)"},
      {"heater.OnOutput = 3", "FILE:9:1", "'OnOutput' is an event: function expected, got number"},
      {"x = 1\n  y = = 2", "FILE:10:3", "unexpected symbol near '='"},
      {"error('no')", "FILE:9:1", "no"},
      {"heater:SetAdaptive(true)", "FILE:9:1",
       "the instruments are not read yet: at(0, f) is the earliest for "
       "this"},
      {"while true do end", "FILE:9:1", "the script ran too long"},
      {"local t = {} for i = 1, 1e9 do t[i] = i end", "FILE:9:1", "not enough memory"},
      {"at(1)", "FILE:9:1", "'at' takes a number of seconds and a function"},
      {"every(0, print)", "FILE:9:1", "an interval is at least 0.001 s"},
      {"every(0.0009, print)", "FILE:9:1", "an interval is at least 0.001 s"},
      {"save()", "FILE:9:1", "the instruments are not read yet: at(0, f) is the earliest for this"},
  };
  for (const auto& [script, where, message] : cases) {
    CRun run(WithScript(script));
    EXPECT_FALSE(run.IsRead()) << script;
    const std::string expected = std::string(where) + ": " + message + "\n";
    EXPECT_EQ(run.Diagnostics().substr(0, expected.size()), expected);
  }
  EXPECT_TRUE(CRun(WithScript("every(0.001, print)")).IsRead());
  CRun late(WithScript("at(1, function()\n function heater.OnOutput(u) end end)"));
  late.Steps(1);
  ASSERT_EQ(late.messages.size(), 1u);
  EXPECT_EQ(late.messages[0].text, "line 10: 'OnOutput' can't be defined any more: the instruments have been read");
}

TEST(Script, SchedulesByTimeAndThenByOrder) {
  CRun run(
      WithScript("local function say(what) return function() print(what, time()) end end\n"
                 "at(2, say('a')) at(1.5, say('b')) at(2, say('c')) every(1.5, say('e')) at(0, say('first'))\n"
                 "at(3, function() at(1, say('past')) end)"));
  run.Steps(3);
  const std::vector<std::string> expected = {"first\t1.0", "b\t2.0", "e\t2.0",   "a\t2.0",
                                             "c\t2.0",     "e\t3.0", "past\t3.0"};
  EXPECT_EQ(run.printed, expected);

  // What repeats counts from where it was asked for.
  CRun nested(WithScript("at(3, function() every(2, function() print(time()) end) end)"));
  nested.Steps(8);
  EXPECT_EQ(nested.printed, (std::vector<std::string>{"5.0", "7.0"}));

  runtime::TReadOptions options;  // the third period is begun at 0.8999999999999999 s
  options.period = 0.3;
  CRun rounded(WithScript("at(0.9, function() print(time()) end)"), options);
  rounded.Steps(3);
  EXPECT_EQ(rounded.printed.size(), 1u);
}

TEST(Script, SavesWhatWasLearnt) {
  tests::CFolder folder;
  std::string text = WithScript("at(2, save)");
  text.replace(text.find("param_1"), 0, "adaptive = true; file_name = \"deep/er/h.par\"; ");
  CRun run(folder, "a.lbx", text);
  run.Steps(1);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("deep")));
  run.Steps(1);
  EXPECT_EQ(tests::ReadFile(folder.Path("deep/er/h.par")).size(), 60u);
}

// Whatever goes wrong in an event or a callback is reported, bounded, and over
// with it: outputs stay finite and in range, and other callbacks run.
TEST(Script, CannotStopTheLoop) {
  const struct {
    const char* body;
    const char* message;
  } faults[] = {
      {"while true do end", "the script ran too long"},
      {"while true do pcall(function() while true do end end) end", "the script ran too long"},
      {"local s = 'x' while true do s = s .. s end", "not enough memory"},
      {"local t = {} while true do t[#t + 1] = {} end", "not enough memory"},
      {"local function f() return 1 + f() end f()", "line 9: "},
      {"error({})", "the error is a table value"},
      {"error('broken')", "broken"},
      {"(('a'):rep(100000)):find('.-.-.-.-b')", "this pattern could take too long in a text of that length"},
      {"heater:SetRegulatorType(9)", "failed"},
      {"return 'high'", "number expected, got string"},
      {"return 0/0", "returned what is not a finite number"},
  };
  CRun undisturbed(kScriptData);
  undisturbed.Steps(2);
  for (const auto& [body, message] : faults) {
    for (const char* event : {"OnOutput", "OnOutputChange"}) {
      CRun run(WithScript("function heater." + std::string(event) + "(u) " + body + " end\n" +
                          "every(1, function() data.n = data.n + 1 end)"));
      run.Steps(2);
      EXPECT_EQ(run.Value("n"), 5.0) << body;
      EXPECT_EQ(run.Value("u"), undisturbed.Value("u")) << body;
      ASSERT_FALSE(run.messages.empty()) << body;
      ExpectParts(run.messages.back().text, {message});
      EXPECT_EQ(run.messages.back().instrument, "heater");
      EXPECT_EQ(run.messages.back().text.rfind("line 9: ", 0), 0u) << run.messages.back().text;
    }
  }
}

// What no limit of instructions sees, since it goes on inside one function or costs
// more than it counts. A function that does not come back takes the script with it.
TEST(Script, IsEndedWhereverItIs) {
  const struct {
    const char* attack;
    const char* message;
    double runs;  // of the callback beside it, in two periods
  } rows[] = {
      {"local s, x = ('1'):rep(3e7), 0 while true do x = x + s end", "line 9: the script did not come back", 0},
      {"string.gsub(('1'):rep(6e7 // 2), '.', math.abs)", "line 9: the script did not come back", 0},
      {"table.concat(setmetatable({}, {__index = math.abs}), '', 1, math.maxinteger)", "too many elements", 2},
      {"local t, n = {}, 1 for i = 1, 63 do t[n] = 1 n = n * 2 end t[math.maxinteger] = 1 table.sort(t)", "", 2},
      {"string.find(('b'):rep(9e4), '[' .. ('b'):rep(10000) .. ']*c')", "this pattern could take too long", 2},
      {"string.gmatch(('a'):rep(20000), '^.-.-b')", "this pattern could take too long", 2},
      {"local f = string.gmatch(('a'):rep(700), 'a-a-b') while true do f() end", "the script ran too long", 2},
      {"while true do pcall(string.find, ('a'):rep(9000), '.-.-b[') end", "the script ran too long", 2},
      {"local a, t = ('x'):rep(15e6), {} for i = 1, 1e5 do t[i] = a end table.sort(t)", "the script ran too long", 2},
      {"while true do pcall(function() return heater[('x'):rep(1e6)] end) end", "the script ran too long", 2},
      {"while true do save() end", "the script ran too long", 2},
  };
  CRun undisturbed(kScriptData);
  undisturbed.Steps(2);
  runtime::TReadOptions options;
  options.scriptTime = 0.05;
  for (const auto& [attack, message, runs] : rows) {
    CRun run(
        WithScript("at(1, function() " + std::string(attack) + " end)\nevery(1, function() data.n = data.n + 1 end)"),
        options);
    const auto start = std::chrono::steady_clock::now();
    run.Steps(2);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 10.0) << attack;
    ASSERT_EQ(run.messages.size(), 1u) << attack;
    ExpectParts(run.messages[0].text, {message});
    EXPECT_EQ(run.Value("n"), 3.0 + runs) << attack;
    EXPECT_EQ(run.Value("u"), undisturbed.Value("u")) << attack;
  }
}

TEST(Script, TellsWhatItsCallsChange) {
  const std::pair<const char*, std::vector<std::string>> calls[] = {
      {"heater:SetParameters(3, 0.5, -8)", {"heater.SetParameters(3, 0.5, -8)"}},
      {"heater:SetAdaptive(true) heater:RunIdentification()",
       {"heater.SetAdaptive(true)", "heater.RunIdentification()"}},
      {"valve:SetInactiveHit(2)", {"valve.SetInactiveHit(2)"}},
      {"heater:SetForgetCoefficient(0.25)", {"heater.SetForgetCoefficient(0.25)"}},
      {"heater:GetParameters() heater:GetForgetCoefficient() heater:GetForgetCoefficient(0.5)", {}},
      {"heater:Debug() heater:Debug(0, 0, 0, 0) valve:GetInactiveHit()", {}},
      {"heater:SetAdaptive(false)", {"heater.SetAdaptive(false)"}},
      {"pcall(heater.SetRegulatorType, heater, 9)", {}},
  };
  for (const auto& [statements, told] : calls) {
    runtime::TReadOptions options;
    std::vector<std::string> heard;
    options.action = [&](const std::string& name, const std::string& text) { heard.push_back(name + "." + text); };
    CRun run(WithScript(std::string("at(0, function() ") + statements + " end)"), options);
    ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
    run.Steps(1);
    EXPECT_EQ(heard, told) << statements;
  }
}

// An event inside a function that a script called: both calls are left, and what
// lies between them ends as it does without.
TEST(Script, IsLeftThroughCallsInsideCalls) {
  runtime::TReadOptions options;
  options.scriptTime = 0.05;
  CRun* current = nullptr;
  std::string inside;
  options.action = [&](const std::string&, const std::string&) {
    hx_expr::TValueArray none = {0, nullptr};
    EXPECT_FALSE(current->State().script->CallEvent(0, &none, &inside));
    EXPECT_TRUE(current->State().script->CallEvent(0, &none, &inside)) << "no further call enters it";
  };
  CRun run(WithScript("function valve.OnOutput() string.gsub(('1'):rep(3e7), '.', math.abs) end\n"
                      "function heater.OnOutput(u) data.n = 4 data.f = true return 1 end"),
           options);
  current = &run;
  CRun undisturbed(kScriptData);
  run.Steps(3);
  undisturbed.Steps(3);
  EXPECT_EQ(inside.rfind("line 9: the script did not come back", 0), 0u) << inside;
  EXPECT_EQ(run.Value("n"), 4.0);
  EXPECT_EQ(run.Value("f"), 0.0);
  EXPECT_EQ(run.Value("u"), undisturbed.Value("u"));
  ASSERT_EQ(run.messages.size(), 1u);
  EXPECT_EQ(run.messages[0].text.rfind("line 10: the script did not come back", 0), 0u) << run.messages[0].text;
}

bool interruptionAsked = false;

TEST(Script, ObeysAnInterruption) {
  runtime::TReadOptions options;
  options.interruptionAsked = [] { return interruptionAsked; };
  for (const char* body : {"while true do pcall(function() while true do end end) end",
                           "for i = 1, 9 do string.gsub(('1'):rep(3e7), '.', math.abs) end", "at(0, again)"}) {
    options.scriptWork = std::int64_t{1} << 40;
    CRun run(WithScript("local function again() data.n = data.n + 1 " + std::string(body) +
                        " end\nfor i = 1, 9 do at(1, again) end"),
             options);
    interruptionAsked = true;
    const auto start = std::chrono::steady_clock::now();
    run.Steps(1);
    interruptionAsked = false;
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 5.0) << body;
  }
}

// With a collection at each allocation, weak tables lose their entries at the
// worst moments, and everything that is not held is gone.
TEST(Script, HoldsWhatItLooksAt) {
  runtime::TReadOptions options;
  options.scriptCollects = true;
  const std::string script =
      "for _, mode in ipairs({'k', 'v', 'kv'}) do\n"
      "  local t = setmetatable({}, {__mode = mode})\n"
      "  for i = 1, 40 do t[('key'):rep(20) .. i] = {} t[i + 0.5] = i end\n"
      "  local count = 0\n"
      "  for k, v in pairs(t) do count = count + 1 end\n"
      "  local k = next(t)\n"
      "  print(mode, count, k and next(t, k))\n"
      "end\n"
      "function heater.OnOutput(u) return u + #('x'):rep(3) end\n"
      "at(2, function() print(pcall(function() return heater.none end)) print(heater:GetParameters()) save() end)";
  CRun stressed(WithScript(script), options);
  stressed.Steps(3);
  CRun plain(WithScript(script));
  plain.Steps(3);
  EXPECT_EQ(stressed.Value("u"), plain.Value("u"));
  ASSERT_EQ(stressed.printed.size(), 5u);
  EXPECT_EQ(stressed.printed[2], "kv\t40\t2.5");
  EXPECT_EQ(std::vector(stressed.printed.begin() + 3, stressed.printed.end()),
            std::vector(plain.printed.begin() + 3, plain.printed.end()));
}

// Lua's compiler looks through the locals of all functions around for each name.
TEST(Script, IsEndedWhileItIsCompiled) {
  std::string script;
  for (int depth = 0; depth < 150; ++depth) {
    script += "local function f() local l0";
    for (int i = 1; i < 190; ++i) script += ",l" + std::to_string(i);
    script += "\n";
  }
  for (int i = 0; i < 400'000; ++i) script += "a=a ";
  runtime::TReadOptions options;
  options.scriptTime = 0.05;
  CRun run(WithScript(script), options);
  ExpectParts(run.Diagnostics(), {"the script did not come back from one function"});
}

// Lua counts lines by reading them, for each block anew.
TEST(Script, MayStandInManyBlocks) {
  std::string blocks;
  for (int i = 0; i < 2000; ++i) blocks += "script\ndata.n = data.n + 1\nend_script;\n";
  CRun run(kScriptData + blocks);
  EXPECT_EQ(run.Value("n"), 2003.0);
  CRun far(kScriptData + std::string(5'000'000, '\n') + blocks);
  ExpectParts(far.Diagnostics(), {"too many script blocks so far down the text: join them"});
}

TEST(Script, SchedulesNoMoreThanThePeriodBears) {
  CRun run(
      WithScript("local function again() data.n = data.n + 1 at(0, again) end\n"
                 "at(0, function() at(0, again) for i = 1, 100000 do at(9, print) end end)"));
  run.Steps(3);
  EXPECT_EQ(run.Value("n"), 3.0 + 3 * 100000 - 1);
  ASSERT_EQ(run.messages.size(), 2u);
  EXPECT_EQ(run.messages[0].text, "line 10: more than 100000 calls are scheduled");
  EXPECT_EQ(run.messages[1].text, "more than 100000 callbacks in one period: the others wait for the next");
}

TEST(Script, MayCallProceduresInsideAnEvent) {
  CRun run(
      WithScript("function heater.OnOutput(u) heater:SetLastOutputValue(u - 1) heater:SetParameters(2, 20, 1)\n"
                 "  return u end"));
  run.Steps(20);
  EXPECT_TRUE(run.messages.empty());
  EXPECT_GE(run.Value("u"), 0.0);
  EXPECT_LE(run.Value("u"), 100.0);
}

TEST(Script, HasNamesOfItsOwn) {
  for (const char* name : {"print", "data", "math", "at", "time", "pairs"}) {
    CRun run("instrument meter " + std::string(name) + " end_instrument;");
    ExpectParts(run.Diagnostics(), {"has a meaning of its own"});
  }
}

}  // namespace
