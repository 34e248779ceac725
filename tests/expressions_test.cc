// What expressions yield: their values, their errors and how deep they go.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "tests/support.h"

namespace {

using tests::CRun;

TEST(Expressions, HaveTheirValues) {
  std::vector<std::pair<std::string, double>> rows = {
      {"sin(1)", std::sin(1.0)},     {"cos(1)", std::cos(1.0)},
      {"tan(1)", std::tan(1.0)},     {"exp(1)", std::exp(1.0)},
      {"asin(0.5)", std::asin(0.5)}, {"acos(0.5)", std::acos(0.5)},
      {"atan(2)", std::atan(2.0)},   {"atan2(1, -2)", std::atan2(1.0, -2.0)},
      {"ln(10)", std::log(10.0)}};
  for (const auto& cells : tests::TableRows("application.txt", "Expressions")) {
    rows.emplace_back(cells.at(0), std::stod(cells.at(1)));
  }
  // Long is not deep: each operation leaves the stack as it should.
  std::string sum = "0";
  for (int i = 0; i < 1100; ++i)
    sum += " + 2 ^ -1 * limit(if(not yes or yes and yes, 3, 4), 0, 1) + min(1, 2, 3) + atan2(0, 1) + noise(0)";
  rows.emplace_back(sum, 1650.0);
  std::string text =
      "data i : integer = -7; yes : boolean = true; ra : real[3] = [10, 20, 30]; la : integer[2] = 5; "
      "ba : boolean[2] = [false, true]; good : real = 4; age : real = 9; v : real[" +
      std::to_string(rows.size()) + "]; end_data;\napplication a period = 2; end_application; process\n";
  for (std::size_t k = 0; k < rows.size(); ++k) text += "v[" + std::to_string(k) + "] = " + rows[k].first + "\n;";
  CRun run(text + "end_process;");
  run.Steps(1);
  for (std::size_t k = 0; k < rows.size(); ++k) EXPECT_EQ(run.Value("v", k), rows[k].second) << rows[k].first;
  EXPECT_TRUE(run.messages.empty());
}

// What an expression has done before takes no room of what it does then.
TEST(Expressions, HaveTheWholeStackAtEachPlace) {
  constexpr int kDepth = 1024;
  const auto isRead = [](const std::string& before, int powers) {
    std::string text = "data x : real; yes : boolean = true; ra : real[2]; end_data;\nprocess x = " + before;
    for (int i = 0; i < powers; ++i) text += "1 ^ ";
    return CRun(text + "1; end_process;").IsRead();
  };
  for (const char* before :
       {"1 + ", "limit(1, 2, 3) + ", "min(1, 2, 3) + ", "max(1, 2) + ", "if(yes and not yes or yes, 1, 2) + ",
        "atan2(1, 2) + ", "sin(1) + ", "-ra[1] + ", "noise(1) + ", "(1 - 2 * 3 / 4 % 5) + ",
        "if(1 < 2 and 2 <= 3 and 3 > 2 and 3 >= 2 and 1 == 1 and 1 != 2, 1, 2) + "}) {
    EXPECT_TRUE(isRead(before, kDepth - 2)) << before;
    EXPECT_FALSE(isRead(before, kDepth - 1)) << before;
  }
}

// What is no number stays none, wherever it stands; then the last good value holds, also that of a moment between
// two failures.
TEST(Expressions, ThatAreNoNumber) {
  for (const char* const expression :
       {"min(1, sqrt(0 - y))", "min(sqrt(0 - y), 1)", "max(1, sqrt(0 - y))", "max(sqrt(0 - y), 1)", "sign(sqrt(0 - y))",
        "limit(sqrt(0 - y), 0, 1)", "limit(0, sqrt(0 - y), 1)", "limit(0, 0, sqrt(0 - y))"}) {
    CRun run("data x : real; y : real; end_data; application a period = 1; end_application; process x = y + " +
             std::string(expression) + "; end_process;");
    run.Steps(1);
    const double first = run.Value("x");
    for (const double y : {1.0, -3.0, 2.0}) {
      run.SetValue("y", y);
      run.messages.clear();
      run.Steps(1);
      EXPECT_EQ(run.messages.size(), y > 0.0 ? 1u : 0u) << expression;
      if (y == 1.0) {
        EXPECT_EQ(run.Value("x"), first) << expression;
      } else {
        EXPECT_LT(run.Value("x"), -1.0) << expression;
      }
    }
  }
  // Of several indices that which is outside is told.
  CRun run(
      "data a : real[3]; i : real = 9; x : real; end_data; application a period = 1; end_application;\n"
      "process x = a[0] +\na[1] +\na[i]; end_process;");
  run.Steps(1);
  ASSERT_EQ(run.messages.size(), 1u);
  tests::ExpectParts(run.messages[0].text, {"line 4: "});
}

TEST(Expressions, NestTwoHundredDeep) {
  const std::pair<const char*, const char*> rows[] = {
      {"(", ")"}, {"sin(", ")"}, {"max(1, ", ", 2)"}, {"limit(", ", 1, 2)"}, {"if(yes, ", ", 1)"}, {"ra[", "]"}};
  for (const auto& [open, close] : rows) {
    for (const int depth : {200, 201}) {
      std::string text = "1";
      for (int i = 0; i < depth; ++i) text = open + text + close;
      const CRun run("data x : real; yes : boolean; ra : real[2]; end_data; process x = " + text + "; end_process;");
      EXPECT_EQ(run.IsRead(), depth == 200) << open << depth;
    }
  }
}

TEST(Expressions, ReportAnErrorOnceUntilItClears) {
  CRun run(
      "data index : real; divisor : real = 1; a : real[3] = [1, 2, 3]; x : real; out : real[2]; end_data;\n"
      "application a period = 1; end_application;\n"
      "process got = a[index] * 10;\n x' = 1 / divisor; seen = got; end_process;\n"
      "instrument meter m expression = a[index] / divisor; end_instrument;\n"
      "instrument pid_regulator p expression = 0; wish_value = 50; output = out[index]; end_instrument;");
  const std::string outside = "Index mimo rozsah";
  const std::string endless = "Výsledek není konečné číslo";
  const struct {
    double index, divisor, got, shown, x;
    std::vector<std::string> messages;
  } rows[] = {
      {1, 1, 20, 2, 1, {}},
      {3, 1, 20, 2, 2, {"process: line 3: " + outside, "m: " + outside, "p: " + outside}},
      {-1, 1, 20, 2, 3, {}},
      {0, 0, 10, 2, 4, {"process: line 4: " + endless, "m: " + endless}},  // the last good slope was 1
      {1, 0, 20, 2, 5, {}},
      {0, 2, 10, 0.5, 5.5, {}},
      {1e300, 2, 10, 0.5, 6, {"process: line 3: " + outside, "m: " + outside, "p: " + outside}},
  };
  for (const auto& row : rows) {
    run.SetValue("index", row.index);
    run.SetValue("divisor", row.divisor);
    run.messages.clear();
    run.Steps(1);
    std::vector<std::string> messages;
    for (const auto& message : run.messages) messages.push_back(message.instrument + ": " + message.text);
    EXPECT_EQ(messages, row.messages) << row.index;
    EXPECT_EQ(run.Value("got"), row.got) << row.index;
    EXPECT_EQ(run.Meter("m").meterValue, row.shown) << row.index;
    EXPECT_NEAR(run.Value("x"), row.x, 1e-12);
  }
  // A definition read anew has failed nowhere yet, and knows no good value.
  run.messages.clear();
  ASSERT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
  run.Steps(1);
  ASSERT_EQ(run.messages.size(), 1u);
  EXPECT_EQ(run.messages[0].text, outside);
  EXPECT_EQ(run.Meter("m").meterValue, 0.0);
}

TEST(Expressions, AreWholeInConditions) {
  const struct {
    const char* condition;
    bool holds;
  } rows[] = {{"yes", true},       {"no", false},      {"yes and no", false},
              {"no or yes", true}, {"not yes", false}, {"1 > 2", false}};
  for (const auto& row : rows) {
    CRun run(
        "data yes : boolean = true; no : boolean; u : real; end_data;\ninstrument pid_regulator p\n"
        "expression = 0; wish_value = 50; output = u; parameters param_1 = 1; end_parameters;\ncondition = " +
        std::string(row.condition) + ";\nend_instrument;");
    run.Steps(3);
    EXPECT_EQ(run.Value("u") != 0.0, row.holds) << row.condition;
  }
}

}  // namespace
