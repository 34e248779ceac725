// What asks for too much memory or time is refused at its place.
#include <gtest/gtest.h>

#include "runtime/simulation/process.h"
#include "tests/support.h"

namespace {

using tests::CRun;

TEST(Limits, AreToldAtTheirPlace) {
  std::string arrays = "data\n";
  for (int i = 0; i < 40; ++i) arrays += "a" + std::to_string(i) + " : real[1000000];\n";
  std::string meters;
  for (int i = 0; i < 100'001; ++i) meters += "instrument meter m" + std::to_string(i) + " end_instrument;\n";
  const std::pair<std::string, std::string> rows[] = {
      {arrays + "end_data;", "FILE:35:1: data elements take more than 256 MiB"},
      {meters, "FILE:100001:1: more than 100000 instruments"},
      {"data a : real \"" + std::string(256, 'u') + "\"; end_data;", "FILE:1:15: unit longer than 255 bytes"},
      {"instrument boolean_regulator r title = \"" + std::string(256, 't') + "\"; end_instrument;",
       "FILE:1:40: text of more than 255 characters"},
  };
  for (const auto& [text, message] : rows) {
    SCOPED_TRACE(text.substr(0, 80));
    const CRun run(text);
    EXPECT_FALSE(run.IsRead());
    tests::ExpectParts(run.Diagnostics(), {message});
  }
}

TEST(Limits, ErrorsOfAllBlocksAreTwenty) {
  std::string processes;
  for (int i = 0; i < 100; ++i) processes += "process r = nothing; end_process;\n";
  EXPECT_EQ(CRun("data r : real; end_data;" + processes).diagnostics.size(), 20u);
}

TEST(Limits, ADelayWithoutRoomYieldsItsOldestRecord) {
  runtime::CDelay delay;
  for (int i = 0; i < 10; ++i) delay.Record(i, 100.0 + i, i >= 4);
  EXPECT_EQ(delay.Count(), 4u);
  bool isLost = false;
  EXPECT_EQ(delay.Find(9.0, 2.0, 1.0, &isLost), 107.0);
  EXPECT_FALSE(isLost);
  EXPECT_EQ(delay.Find(9.0, 5.0, 1.0, &isLost), 106.0);
  EXPECT_TRUE(isLost);
}

}  // namespace
