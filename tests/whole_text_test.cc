// Constants, loops, included texts, and entries that the command line replaces: the
// run is that of the text written out.
#include <gtest/gtest.h>

#include "tests/support.h"

namespace {

using tests::CRun;

constexpr const char* kBegin =
    "application a period = 1; duration = 5; end_application; data w : real = 40; end_data;\n";

std::string Loop(const std::string& i, const std::string& next, const std::string& gain, const std::string& time) {
  return "data y_" + i + " : real = " + i + "; u_" + i + " : real; end_data;\n" + "process y_" + i + "' = (u_" + i +
         " + " + i + " - y_" + i + ") / " + time + "; end_process;\ninstrument pid_regulator r_" + i + " title = \"" +
         i + " of " + next + "\"; expression = y_" + i + "; wish_value = w; output = u_" + i +
         "; parameters param_1 = " + gain + "; param_2 = 7; param_3 = 0; end_parameters; end_instrument;\n";
}

TEST(WholeText, IsThatOfTheTextWrittenOut) {
  std::string out = kBegin;
  for (int i = 1; i <= 3; ++i) out += Loop(std::to_string(i), std::to_string(i + 1), "0.5", "12.5");
  const std::string trace = CRun(out).Trace();
  const std::string numbers = "constants gain = 0.5; time = 25 * gain; n = 3; end_constants;\n";
  const std::string body = tests::Replaced(Loop("{i}", "{i+1}", "gain", "T"), " {i};", " i;");
  const std::string loop = tests::Replaced(body, " + {i} ", " + i ");
  const auto with = [&](const std::string& text) { return kBegin + tests::Replaced(text, "/ T", "/ t"); };
  const std::string constants = tests::Replaced(numbers, "time", "t");
  const tests::CFolder folder;
  folder.Write("one.lbx", tests::Replaced(loop, "/ T", "/ t"));
  folder.Write("all.lbx", constants + "for i = 1 to n include \"one.lbx\"; end_for;\n");
  for (const std::string& text :
       {with(constants + "for i = 1 to n\n" + loop + "end_for; // for\n"),
        with(constants + "for j = 0 to 0 for i = 1 to 2\n" + loop + "end_for; for i = 3 to n\n" + loop +
             "end_for; end_for; for i = 1 to 0 data none_{i} : real; end_data; end_for;"),
        with("include \"all.lbx\";")}) {
    CRun run(folder, "main.lbx", text);
    ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
    EXPECT_EQ(run.Instrument("r_2").Title(), "2 of 3");
    EXPECT_EQ(run.Trace(), trace);
  }
}

TEST(WholeText, TakesWhatTheCommandLineReplaces) {
  const std::string text = std::string(kBegin) + "constants gain = 0.5; end_constants;\n" +
                           Loop("1", "2", "gain", "9") + "for i = 2 to 2\n" + Loop("{i}", "{i}", "gain", "9") +
                           "end_for;\n";
  const auto gain = [&](const std::string& name, std::vector<std::pair<std::string, std::string>> values) {
    runtime::TReadOptions options;
    options.initialValues = std::move(values);
    return CRun(text, options).Call(name, "GetParameters__RRR", {0, 0, 0})[0];
  };
  EXPECT_EQ(gain("r_1", {}), 0.5);
  EXPECT_EQ(gain("r_2", {{"gain", "3"}, {"w", "1"}}), 3.0);
  EXPECT_EQ(gain("r_2", {{"r_2.param_1", "-4"}}), -4.0);
  EXPECT_EQ(gain("r_1", {{"r_2.param_1", "4"}, {"r_1.parameters.param_1", "5"}}), 5.0);
  const std::pair<std::string, std::string> wrong[] = {
      {"r_3.param_1=1", "r_3.param_1=1: there is no instrument 'r_3'"},
      {"r_1.inverse=1", "r_1.inverse=1: its definition has no 'inverse'"},
      {"r_1.colors.param_1=1", "r_1.colors.param_1=1: its definition has no 'param_1' in 'colors'"},
      {"r_1.param_1=1;2", "r_1.param_1=1;2: expected one value"},
      {"r_1.param_1=", "r_1.param_1=: expected a value"},
      {"r_1.param_1=x", "expected a number, found 'x'"},
      {"gain=x", "gain=x: expected a number"}};
  for (const auto& [set, message] : wrong) {
    runtime::TReadOptions options;
    const std::size_t equal = set.find('=');
    options.initialValues = {{set.substr(0, equal), set.substr(equal + 1)}};
    const tests::CFolder folder;
    options.path = folder.Write("a.lbx", text);
    std::vector<runtime::TDiagnostic> found;
    EXPECT_EQ(runtime::CApplication::Read(options, tests::Plugin(), &found), nullptr) << set;
    ASSERT_FALSE(found.empty()) << set;
    EXPECT_NE(found[0].message.find(message), std::string::npos) << found[0].message;
  }
}

}  // namespace
