// What an application computes: its process, the order of a period, its trace; and that the keyword references say what
// is true.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <ctime>
#include <map>

#include "host/panes.h"
#include "runtime/trace.h"
#include "tests/support.h"

namespace {

using tests::CRun;

runtime::TReadOptions Times(std::optional<double> period, std::optional<double> duration) {
  runtime::TReadOptions options;
  options.period = period;
  options.duration = duration;
  return options;
}

std::string Numbered(std::size_t number) { return std::to_string(number); }

TEST(Application, ProcessFollowsTheClosedFormOfALag) {
  for (const int substeps : {1, 10}) {
    CRun run(
        "data x : real = 20; end_data; application a period = 0.5; duration = 60; end_application;\n"
        "process substeps = " +
        Numbered(static_cast<std::size_t>(substeps)) + "; x' = (80 - x) / 12; end_process;");
    while (run->Step()) {
      EXPECT_NEAR(run.Value("x"), 80 - 60 * std::exp(-run->Time() / 12), substeps == 1 ? 2e-6 : 2e-10);
    }
    EXPECT_EQ(run->Time(), 60.0);
  }
}

TEST(Application, ProcessDelaysToTheSubstep) {
  CRun run(
      "data near : real; far : real; none : real; grows : real; on : boolean; end_data;\n"
      "application a period = 0.1; duration = 2; end_application; process ramp = time + 5;\n"
      "near = delay(ramp, 0.3); far = delay(ramp, 0.305); none = delay(ramp, 0);\n"
      "grows = delay(ramp, time / 2);\n"
      "on = delay(time >= 0.5, 0.25); end_process;");
  EXPECT_EQ(run.Value("near"), 5);
  while (run->Step()) {
    const double t = run->Time();
    EXPECT_NEAR(run.Value("near"), 5 + std::max(0.0, t - 0.3), 1e-9) << t;
    EXPECT_NEAR(run.Value("far"), 5 + std::max(0.0, t - 0.31), 1e-9) << t;
    EXPECT_NEAR(run.Value("grows"), 5 + t / 2, 1e-9) << t;
    EXPECT_NEAR(run.Value("none"), 5 + t - 0.01, 1e-9) << t;  // recorded at the start of the last substep
    EXPECT_EQ(run.Value("on"), t > 0.75 ? 1 : 0) << t;
  }
}

// All delays together keep so many values, of which the oldest goes then.
TEST(Application, ProcessDelaysTellWhatTheyLost) {
  CRun run(
      "data a : real; b : real; end_data; application c period = 1; duration = 200; end_application;\n"
      "process substeps = 10;\na = delay(time + 1, 1e6); b = delay(time, 1e6); end_process;");
  run.State().process.SetMaximumDelayRecords(2000);
  run.Steps(100);
  EXPECT_TRUE(run.messages.empty());
  EXPECT_EQ(run.Value("a"), 1.0);
  run.Steps(1);
  ASSERT_EQ(run.messages.size(), 2u);
  EXPECT_EQ(run.messages[0].text, "line 3: Zpoždění přesahuje paměť");
  EXPECT_EQ(run.Value("a"), 2.0);  // ten substeps later
}

// Times are sums of a period that no double holds: what is lost of them at a billion
// periods is more than what is forgiven of a substep.
TEST(Application, ProcessDelaysFindTheirRecordWhereTimesAreRounded) {
  constexpr double kPeriod = 0.1;
  for (const double first : {3.0, 1e6, 1e9}) {
    runtime::CDelay delay;
    for (int k = 0; k < 200; ++k) {
      const double time = (first + k) * kPeriod;
      delay.Record(time, k, false);
      bool isLost = true;
      EXPECT_EQ(delay.Find(time, 0.3, kPeriod, &isLost), std::max(k - 3, 0)) << first;
      EXPECT_FALSE(isLost);
    }
  }
}

// Each failure is told once until it clears.
TEST(Application, ProcessTellsEachFailureOfALineAnew) {
  CRun run(
      "application a period = 1; duration = 9; end_application; data x : real; y : real; end_data;\n"
      "process substeps = 1;\ny = if(time % 3 < 1.5, 1, 0) / if(time % 3 < 1.5, 1, 0);\n"
      "x' = 1 / if(time % 3 < 1.5, 1, 0); end_process;");
  run.Steps(9);
  std::map<std::string, int> told;
  for (const auto& message : run.messages) ++told[message.text.substr(0, 6)];
  EXPECT_EQ(told, (std::map<std::string, int>{{"line 3", 3}, {"line 4", 3}}));
}

TEST(Application, ProcessDrawsNoiseOnceAPeriodAndRepeatably) {
  const auto last = [](std::uint64_t seed) {
    runtime::TReadOptions options;
    options.seed = seed;
    CRun run(
        "data n : real; m : real; x : real; end_data; application a period = 1; duration = 4000; "
        "end_application;\nprocess n = noise(2); m = noise(1) + 10; x' = n; end_process;",
        options);
    EXPECT_NE(run.Value("n"), 0.0);  // at the start, before the first period
    double sum = 0, squares = 0, covariance = 0, x = 0;
    while (run->Step()) {
      const double n = run.Value("n");
      EXPECT_NEAR(run.Value("x") - x, n, 1e-9);  // held for the whole period
      x = run.Value("x");
      sum += n;
      squares += n * n;
      covariance += n * (run.Value("m") - 10);
    }
    EXPECT_NEAR(sum / 4000, 0, 0.15);
    EXPECT_NEAR(std::sqrt(squares / 4000), 2, 0.1);
    EXPECT_NEAR(covariance / 4000, 0, 0.15);
    return x;
  };
  EXPECT_EQ(last(1), last(1));
  EXPECT_NE(last(1), last(2));
}

TEST(Application, PeriodRunsInItsOrder) {
  CRun run(
      "application a period = 1; duration = 3; end_application;\n"
      "data p : real; a : real; on : boolean; end_data; process p = time; end_process;\n"
      "script\nevery(1, function() data.a = data.p * 10 end)\nend_script;\n"
      "instrument meter early expression = if(on, 1, 0); end_instrument;\n"
      "instrument boolean_regulator r expression = a; wish_value = 15; output = on; receivers = seen;\n"
      "end_instrument;\n"
      "instrument meter seen expression = if(on, a, -a); end_instrument;\n"
      "instrument meter late expression = p + a; end_instrument;");
  EXPECT_EQ(run.Trace(),
            "time,p,a,on,early.value,r.wish_value,r.value,r.output,seen.value,late.value\r\n"
            "1,1,10,1,0,15,10,1,10,11\r\n"
            "2,2,20,0,1,15,20,0,-20,22\r\n"
            "3,3,30,0,0,15,30,0,-30,33\r\n");
}

TEST(Application, PeriodReceiversActAfterAllTimersInAChainAndInARing) {
  constexpr std::size_t kCount = 1000;
  // Where all are activated in every period, each acts once, before it would
  // see what changes the one before it.
  const std::pair<const char*, std::array<double, 3>> rows[] = {{"", {0, kCount, kCount}},
                                                                {" always_activate;", {0, 2, 4}}};
  for (const auto& [entry, changed] : rows) {
    std::string text = "application a period = 1; end_application; data o : boolean[1000]; end_data;\n";
    // Backwards, so that the timers alone carry a change one step a period.
    for (std::size_t k = kCount; k-- > 0;) {
      const std::string input = k == 0 ? "time < 2" : "not o[" + Numbered(k - 1) + "]";
      text += "instrument boolean_regulator r" + Numbered(k) + " expression = if(" + input +
              ", 1, 0); wish_value = 0.5; output = o[" + Numbered(k) + "]; receivers = r" + Numbered((k + 1) % kCount) +
              ";" + entry + " end_instrument;\n";
    }
    CRun run(text);
    for (const double expected : changed) {
      run.Steps(1);
      double on = 0;
      for (std::size_t k = 0; k < kCount; ++k) on += run.Value("o", k);
      EXPECT_EQ(on, expected) << entry << run->Time();
    }
  }
}

TEST(Application, PeriodCountsDurationsAndKeepsTheClock) {
  const struct {
    double period, duration;
    std::uint64_t count;
  } rows[] = {{0.1, 0.3, 3},      {0.1, 0.35, 3},     {0.3, 0.9, 3},         {0.1, 0, 0}, {1, 0.9999999999, 1},
              {1, 0.99999999, 0}, {0.001, 60, 60000}, {86400, 86400 * 3, 3}, {7, 6, 0}};
  for (const auto& row : rows) {
    const CRun run("", Times(row.period, row.duration));
    EXPECT_EQ(run->PeriodCount(), row.count) << row.period << " " << row.duration;
  }
  EXPECT_EQ(CRun("")->PeriodCount(), 600u);
  const std::pair<double, std::array<std::uint32_t, 3>> clocks[] = {{0.1, {100, 200, 300}},
                                                                    {0.0015, {2, 3, 5}},
                                                                    {86400, {0, 0, 0}},
                                                                    {86399.9995, {0, 86399999, 86399999}},
                                                                    {43200.25, {43200250, 500, 43200750}}};
  for (const auto& [period, times] : clocks) {
    CRun run("instrument pid_regulator p expression = time; wish_value = 1; end_instrument;",
             Times(period, 3 * period));
    EXPECT_EQ(vcore::GetTimeMS(), 0u);
    for (std::size_t k = 0; k < 3; ++k) {
      run.Steps(1);
      EXPECT_EQ(vcore::GetTimeMS(), times[k]) << period << " " << k;
      EXPECT_EQ(run->Time(), static_cast<double>(k + 1) * period);
    }
    EXPECT_FALSE(run->Step());
  }
}

TEST(Application, InitialValuesAreSetFromOutside) {
  for (const auto& cells : tests::TableRows("application.txt", "InitialValues")) {
    const std::string &given = cells.at(0), &error = cells.at(1);
    const std::string target = given.substr(0, given.find('='));
    runtime::TReadOptions options;
    options.initialValues = {{target, given.substr(target.size() + 1)}};
    const CRun run(
        "data r : real; i : integer; b : boolean = true; a : real[2]; c : real[3]; end_data; "
        "process hidden = 1; c[2] = 1; end_process;",
        options);
    char* rest = nullptr;
    const double value = std::strtod(error.c_str(), &rest);
    ASSERT_EQ(run.IsRead(), *rest == 0) << given << run.Diagnostics();
    EXPECT_EQ(run.Diagnostics(), *rest == 0 ? "" : given + ": " + error + "\n");
    if (*rest == 0) {
      EXPECT_EQ(run.Value(target.substr(0, 1), target.size() > 1 ? 1 : 0), value) << given;
    }
  }
}

// More than a block of memory holds, of each type, and arrays of one; the last has the
// longest name and unit.
TEST(Application, KeepsEachElementAtItsPlace) {
  constexpr int kCount = 30'000;
  const char* const types[] = {"real", "boolean", "integer", "real[1]", "boolean[3]", "integer[2]"};
  std::string text = "data ";
  for (int i = 0; i < kCount; ++i) text += "e" + Numbered(i) + " : " + types[i % 6] + ";\n";
  const std::string name(63, 'n');
  const std::string unit(255, 'u');
  const CRun run(text + name + " : real \"" + unit +
                 "\"; large : real[20000]; filled : real[2] = 5; next : real; end_data;");
  runtime::CDataElements& data = run.State().data;
  EXPECT_EQ((std::array{run.Value("filled", 0), run.Value("filled", 1), run.Value("next")}),
            (std::array{5.0, 5.0, 0.0}));
  std::vector<double> wanted;
  const auto forAll = [&](auto use) {
    std::size_t place = 0;
    for (std::int32_t e = 0; e < data.Count(); ++e) {
      for (std::uint32_t i = 0; i < data.CountOf(e); ++i) use(e, i, place++);
    }
  };
  forAll([&](std::int32_t e, std::uint32_t i, std::size_t place) {
    wanted.push_back(data[e].type == runtime::EType::kBoolean ? 1.0 : static_cast<double>(place) + 1.0);
    data.SetFromDouble(e, i, wanted.back());
  });
  ASSERT_EQ(wanted.size(), std::size_t{kCount} * 9 / 6 + 20'004);
  EXPECT_EQ(data[data.Find(name)].unit, unit);
  const std::vector<std::byte> kept = data.Values();
  const auto expectWanted = [&] {
    forAll([&](std::int32_t e, std::uint32_t i, std::size_t place) { ASSERT_EQ(data.AsDouble(e, i), wanted[place]); });
  };
  expectWanted();
  forAll([&](std::int32_t e, std::uint32_t i, std::size_t) { data.SetFromDouble(e, i, 0.0); });
  data.SetValues(kept);
  expectWanted();
  std::int32_t element = -1;
  std::uint32_t index = 7;
  std::string error;
  EXPECT_TRUE(data.FindItem("e6", data.Count(), &element, &index, &error));
  EXPECT_EQ(element, 6);
  EXPECT_EQ(index, 0u) << "of what is no array";
  EXPECT_TRUE(data.FindItem("e9[0]", data.Count(), &element, &index, &error));
  for (const char* const wrong : {"e9", "e6[0]", "e9[1]"}) {
    EXPECT_FALSE(data.FindItem(wrong, data.Count(), &element, &index, &error)) << wrong;
  }
}

TEST(Application, IsReadFromMemoryAndDrivenByHand) {
  const tests::CFolder folder;
  folder.Write("plant.lbx", "process x' = u - x; twice = 2 * x; end_process;");
  runtime::TReadOptions options;
  options.path = "loop";
  options.folder = folder.Path();
  options.text =
      "application loop period = 0.5; end_application; include \"plant.lbx\";\n"
      "data x : real; u : real; twice : real; i : integer; b : boolean[2]; end_data;\n"
      "instrument pid_regulator r expression = x; output = u; end_instrument;"
      "instrument pid_regulator s expression = x; end_instrument;";
  std::vector<runtime::TDiagnostic> diagnostics;
  const auto read = runtime::CApplication::Read(options, tests::Plugin(), &diagnostics);
  ASSERT_TRUE(read) << runtime::Format(diagnostics.at(0));
  const struct {
    const char* name;
    double value;
    const char* problem;
  } rows[] = {{"x", 8, ""},
              {"u", 8, ""},
              {"b[1]", 1, ""},
              {"i", -7, ""},
              {"x", INFINITY, "'x': expected a number"},
              {"i", 0.5, "'i': expected a whole number of 32 bits"},
              {"b[0]", 2, "'b': expected true or false"},
              {"twice", 1, "'twice': the process computes it in every period"}};
  std::string error;
  for (const auto& row : rows) {
    runtime::TItem item;
    ASSERT_TRUE(read->FindItem(row.name, &item, &error)) << error;
    error.clear();
    const double before = read->ElementValue(item.element, item.item);
    EXPECT_EQ(read->WriteElement(item, row.value, &error), *row.problem == 0) << row.name;
    EXPECT_EQ(error, row.problem);
    EXPECT_EQ(read->ElementValue(item.element, item.item), *row.problem == 0 ? row.value : before);
  }
  // The state stays where it was put, as the output does until it was used.
  ASSERT_TRUE(read->Step());
  EXPECT_EQ(read->ElementValue(0, 0), 8.0);
  EXPECT_EQ(read->Instrument(0).OutputElement(), read->ElementValue(1, 0));
  EXPECT_EQ(read->Instrument(1).OutputElement(), std::nullopt);
  // Another application takes its turn; the clock is each one's own.
  CRun other("application a period = 3; end_application;");
  other.Steps(2);
  std::vector<double> none;
  read->Instrument(0).Call("StopIdentification__", &none);
  EXPECT_EQ(vcore::GetTimeMS(), 500u);

  diagnostics.clear();
  options.text = "data\n  x : real\nend_data;";
  EXPECT_FALSE(runtime::CApplication::Read(options, tests::Plugin(), &diagnostics));
  tests::ExpectParts(runtime::Format(diagnostics.at(0)), {"loop:2:11: "});
}

TEST(Application, TraceIsCsvOfShortestDecimals) {
  CRun run(
      "application a period = 0.1; duration = 0.3; end_application;\n"
      "data x : real = 0.1; z : real[3] = [1e-7, 123456789, 1e300]; f : boolean[2] = [true, false]; "
      "i : integer = -3; third : real; zero : real = -0; end_data; process third = 1 / 3; inner = 5; "
      "end_process;\ninstrument meter m expression = inner; end_instrument;\n"
      "instrument pid_regulator r end_instrument;");
  runtime::CTrace numbers(*run, {{"meter", "none", "None__R"}}, nullptr);
  const std::string rest = ",0.1,1e-07,123456789,1e+300,1,0,-3,0.3333333333333333,-0,5,0,0,0\r\n";
  EXPECT_EQ(run.Trace(), "time,x,z[0],z[1],z[2],f[0],f[1],i,third,zero,m.value,r.wish_value,r.value,r.output\r\n0.1" +
                             rest + "0.2" + rest + "0.30000000000000004" + rest);
  std::vector<double> row(numbers.Names().size());
  numbers.ReadRow(row.data());
  EXPECT_EQ(row[0], run->Time());
  EXPECT_EQ(numbers.Names()[7], "i");
  EXPECT_EQ(row[7], -3.0);
  EXPECT_EQ(numbers.Names()[11], "m.none");
  EXPECT_TRUE(std::isnan(row[11]));
}

TEST(Application, LoadingTakesTimeInProportion) {
  const auto seconds = [](std::size_t count) {
    std::string text = "data w : real; o : real[" + Numbered(count) + "]; end_data;\n";
    for (std::size_t k = 0; k < count; ++k) {
      text += "instrument pid_regulator r" + Numbered(k) + " expression = o[" + Numbered(k) +
              "] / 2; wish_value = w; output = o[" + Numbered(k) + "]; receivers = r" + Numbered(count - 1 - k) +
              "; end_instrument;\n";
    }
    const std::clock_t start = std::clock();
    const CRun run(text);
    EXPECT_TRUE(run.IsRead());
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  // Each in memory that is new to the process, whose pages cost as much as the
  // reading. In proportion it is 4 times, by the square 16.
  const double few = seconds(5'000);
  EXPECT_LT(seconds(20'000), 9 * few);
}

}  // namespace
