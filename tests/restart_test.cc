// An application that is restarted runs as one that was read anew, bit for bit.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "runtime/trace.h"
#include "tests/support.h"

namespace {

namespace fs = std::filesystem;

using TVaried = std::vector<std::pair<std::string, std::string>>;

constexpr int kPeriodsRestarted = 300;

std::unique_ptr<runtime::CApplication> ReadToRestart(const std::string& path, const TVaried& values,
                                                     std::uint64_t seed) {
  runtime::TReadOptions options;
  options.path = path;
  options.initialValues = values;
  options.seed = seed;
  options.keepsLearnt = false;
  options.restarts = true;
  std::vector<runtime::TDiagnostic> diagnostics;
  return runtime::CApplication::Read(options, tests::Plugin(), &diagnostics);
}

// All that a run shows and says.
std::string AllOfRun(runtime::CApplication& application) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* const file = open_memstream(&text, &size);
  std::string said;
  application.SetMessageSink([&said](const runtime::TRunTimeMessage& message) {
    said += std::to_string(message.time) + " " + message.instrument + ": " + message.text + "\n";
  });
  runtime::CTrace trace(application, {}, file);
  trace.WriteRow();
  for (int period = 0; period < kPeriodsRestarted && application.Step(); ++period) {
    trace.WriteRow();
    // What panes cut stands in no trace.
    for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
      for (const runtime::EPane pane : {runtime::kWishPane, runtime::kValuePane}) {
        said += std::to_string(application.Instrument(i).Pane(pane).measured) + " ";
      }
    }
  }
  application.End();
  EXPECT_TRUE(trace.Flush());
  std::fclose(file);
  said.append(text, size);
  free(text);
  return said;
}

// Two values of an element that nobody else writes; none where there is no such element.
std::vector<TVaried> ValuesToVary(const runtime::CApplication& application) {
  for (std::size_t i = 0; i < application.ElementCount(); ++i) {
    const runtime::TElement element = application.Element(i);
    if (element.isBoolean || element.isInteger || element.length != 0) continue;
    if (application.WriterOf({i, 0}) != nullptr) continue;
    const double value = application.ElementValue(i, 0);
    return {{{element.name, std::to_string(value)}}, {{element.name, std::to_string(1.1 * value + 0.5)}}};
  }
  return {{}, {}};
}

TEST(Restart, GivesTheBitsOfReadingAnewInEveryExample) {
  std::vector<std::string> files;
  for (const char* folder : {"examples", "tests/runs"}) {
    for (const auto& entry : fs::recursive_directory_iterator(tests::SourcePath(folder))) {
      if (entry.path().extension() == ".lbx") files.push_back(entry.path().string());
    }
  }
  int restarted = 0;
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    auto plain = ReadToRestart(file, {}, 1);
    if (plain == nullptr) continue;  // what another one includes
    const auto values = ValuesToVary(*plain);
    plain.reset();
    const std::string anew = AllOfRun(*ReadToRestart(file, values[1], 9));
    const auto once = ReadToRestart(file, values[0], 7);
    const std::string before = AllOfRun(*once);
    ASSERT_EQ(once->Restart(values[1], 9), !once->HasScript());
    if (once->HasScript()) continue;
    ++restarted;
    EXPECT_TRUE(AllOfRun(*once) == anew);
    EXPECT_TRUE(before != anew || values[0].empty());
    ASSERT_TRUE(once->Restart(values[0], 7));
    EXPECT_TRUE(AllOfRun(*once) == before);
  }
  EXPECT_GT(restarted, 20);
}

// What no example has at once: noise and a delay; expressions that fail, with the other
// values from the start, and keep their last good ones; regulators that track, follow,
// learn under a guard, blink, and start from their output; what a pane cuts.
constexpr char kManyStates[] = R"(
application many period = 1; duration = 300; end_application;
data
  a : real = 0.6; field : real[4] = [1, 2, 3, 4]; x : real; y : real; v : real; hand : real = 0.5;
  u : real = 0.3; w : real; learnt : real; q : real;
end_data;
process
  substeps = 2;
  wish = if(time % 50 < 25, 30, 50);
  y = x + noise(0.01);
  v = sqrt(0.5 - x);
  late = delay(u, 2.5);
  x' = (late - x) / 5;
  q' = (if(time < 150, 1, -1) * learnt + a - q) / 4;
end_process;
instrument pid_regulator first
  expression = y; wish_value = a; output = u; start = output;
  track = hand; track_when = time > 20 and time < 30; follow; blink_rate = 500;
  value_section range_from = 0; range_to = 0.5; end_value_section;
  output_section range_from = 0; range_to = 1; end_output_section;
  receivers = second;
  parameters param_1 = 0.4; param_2 = 6; param_3 = 0; end_parameters;
end_instrument;
instrument pid_regulator second
  expression = field[time / 50 + if(a < 0.5, 4, 0)]; wish_value = v; output = w; always_activate;
  parameters param_1 = 1; param_2 = 5; param_3 = 0; end_parameters;
end_instrument;
instrument pid_regulator third
  expression = q; wish_value = wish; output = learnt; start = 40; guard = 0.2, 5;
  wish_value_section range_from = 0; range_to = 100; end_wish_value_section;
  value_section range_from = 0; range_to = 100; end_value_section;
  output_section range_from = 0; range_to = 100; end_output_section;
  parameters regulator_type = takahashi; adaptive = true; end_parameters;
end_instrument;
)";

TEST(Restart, LeavesNothingOfARunBefore) {
  const tests::CFolder folder;
  const std::string file = folder.Write("many.lbx", kManyStates);
  const TVaried other = {{"a", "0.4"}, {"hand", "0.1"}};
  const std::string anew = AllOfRun(*ReadToRestart(file, other, 4));
  const TVaried one = {{"a", "0.6"}, {"hand", "0.5"}};
  const auto once = ReadToRestart(file, one, 3);
  const std::string first = AllOfRun(*once);
  tests::ExpectParts(first, {"process: ", "second: ", "third: "});
  ASSERT_TRUE(once->Restart(other, 4));
  EXPECT_TRUE(AllOfRun(*once) == anew);
  ASSERT_TRUE(once->Restart(one, 3));
  EXPECT_TRUE(AllOfRun(*once) == first);
}

TEST(Restart, IsRefusedWhereTheBitsCouldBeOthers) {
  const tests::CFolder folder;
  const std::string file = folder.Write("many.lbx", std::string("constants c = 1; end_constants;\n") + kManyStates);
  const TVaried values = {{"a", "0.6"}, {"c", "2"}, {"first.parameters.param_1", "0.3"}};
  const auto application = ReadToRestart(file, values, 1);
  EXPECT_TRUE(application->Restart(values, 1));
  for (const TVaried& other :
       {TVaried{{"a", "0.6"}, {"c", "3"}, values[2]}, TVaried{{"a", "0.6"}, {"c", "2"}},
        TVaried{values[0], values[1], {"first.parameters.param_1", "0.4"}},
        TVaried{{"hand", "0.6"}, values[1], values[2]}, TVaried{{"a", "high"}, values[1], values[2]}}) {
    EXPECT_FALSE(application->Restart(other, 1));
  }
  void* block = nullptr;
  runlib::MemAllocate(&block, 8);
  EXPECT_FALSE(application->Restart(values, 1));
  runlib::MemDeallocate(&block);
}

}  // namespace
