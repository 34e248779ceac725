// The memory service failing while an application is loaded: a plug-in copes
// with blocks, meters and texts that it isn't given, the host refuses the
// instrument by name, and nothing is lost.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>

#include "runtime/instruments/driver.h"
#include "runtime/instruments/making.h"
#include "runtime/platform/memory.h"
#include "runtime/text/wide_text.h"
#include "tests/support.h"

namespace {

using runtime::MemoryStatistics;

std::string Instruments(std::size_t rounds) {
  std::string text = "data x : real; u : real; on : boolean; up : boolean; down : boolean; end_data;\n";
  for (std::size_t i = 0; i < rounds; ++i) {
    const std::string number = std::to_string(i);
    const std::string common =
        " expression = x; wish_value = 5; title = \"regulator\"; wish_value_section mode = history; "
        "end_wish_value_section; ";
    text += "instrument pid_regulator p" + number + common + "output = u; receivers = b" + number +
            "; parameters adaptive = true; file_name = \"p.par\"; "
            "end_parameters; end_instrument;\n" +
            "instrument boolean_regulator b" + number + common + "output = on; end_instrument;\n" +
            "instrument step_regulator s" + number + common +
            "output_plus = up; output_minus = down; end_instrument;\n";
  }
  return text;
}

// Loads with `failures` allocations failing behind each number of successes
// that is a multiple of `step`; yields how many numbers there were before the
// application was read whole.
std::int64_t LoadFailing(const std::string& text, std::int64_t step, std::int64_t failures, std::int64_t limit) {
  const tests::CFolder folder;
  std::int64_t successes = 0;
  for (; successes < limit; successes += step) {
    const runtime::TMemoryStatistics before = MemoryStatistics();
    {
      runtime::FailAllocationAfter(successes, failures);
      const tests::CRun run(folder, "test.lbx", text);
      runtime::FailAllocationAfter(-1);
      const bool failed = MemoryStatistics().failures != before.failures;
      EXPECT_EQ(run.IsRead(), !failed) << successes << "\n" << run.Diagnostics();
      if (!failed) break;
      EXPECT_NE(run.Diagnostics().find("out of memory while"), std::string::npos) << successes << run.Diagnostics();
      EXPECT_NE(run.Diagnostics().find("the instrument '"), std::string::npos) << successes;
    }
    EXPECT_EQ(MemoryStatistics().blocks, before.blocks) << successes;
    EXPECT_EQ(MemoryStatistics().bytes, before.bytes) << successes;
    if (testing::Test::HasFailure()) break;
  }
  return successes;
}

TEST(FailingAllocations, AreRefusedByNameAndLoseNothing) {
  for (const std::int64_t failures : {1, -1}) {
    EXPECT_GT(LoadFailing(Instruments(1), 1, failures, 10'000), 30);
  }
  // In a large application a sample of the first 10,000, or each of them.
  const std::int64_t step = std::getenv("LOOPBOX_ALL_ALLOCATIONS") != nullptr ? 1 : 487;
  for (const std::int64_t failures : {1, -1}) {
    EXPECT_GE(LoadFailing(Instruments(200), step, failures, 10'000), 10'000);
  }
}

// An instrument that lacks a meter or what its law knows refuses its definition by itself,
// has nothing to keep, and may be drawn and moved; a buffer or a caption isn't missed.
TEST(FailingAllocations, LeaveInstrumentsThatRefuseAndHarmNothing) {
  const tests::CRun run(Instruments(1));
  runtime::TApplicationState& application = run.State();
  for (const runtime::TClass& item : tests::Plugin().Classes()) {
    const std::u16string name = runtime::Utf16(item.name);
    int refused = 0;
    for (std::int64_t successes = 0;; ++successes) {
      const runtime::TMemoryStatistics before = MemoryStatistics();
      runtime::FailAllocationAfter(successes, 1);
      hx_vinst::CInstrument* const object =
          runtime::StateOf(tests::Plugin())
              .exports.makeInstrument(static_cast<std::uint32_t>(name.size()), name.c_str());
      if (object != nullptr) {
        object->ctx = &application.ctx;
        object->host = new hx_vinst::THostPart();
        object->InitInstrument();
      }
      runtime::FailAllocationAfter(-1);
      const bool failed = MemoryStatistics().failures != before.failures;
      if (object != nullptr) {
        char16_t text[64] = {};
        if (failed && object->ReadSelf(63, text, 0, nullptr) == 0) {
          EXPECT_EQ(runtime::Utf8(text), "Nedostatek paměti") << item.name << successes;
          ++refused;
        }
        object->NewRect({0, 0, 300, 200});
        vcore::TEvent keep = {{vcore::kEventKeep, vcore::kKeepAtEnd, 0, 0}};
        object->ReceiveEvent(&keep);
        runtime::ReleaseObject(object);
      }
      EXPECT_EQ(MemoryStatistics().blocks, before.blocks) << item.name << successes;
      if (!failed || HasFailure()) break;
    }
    EXPECT_EQ(refused, item.name == "pid_regulator" ? 5 : 3) << item.name;
  }
}

TEST(FailingAllocations, TheServiceHasALimit) {
  const runtime::TMemoryStatistics before = MemoryStatistics();
  for (const std::size_t size : {runtime::kMemoryServiceLimit + 1, runtime::kMemoryServiceLimit - before.bytes + 1,
                                 std::numeric_limits<std::size_t>::max()}) {
    void* block = &block;
    runlib::MemAllocate(&block, size);
    EXPECT_EQ(block, nullptr);
  }
  EXPECT_EQ(MemoryStatistics().failures, before.failures + 3);
  EXPECT_EQ(MemoryStatistics().blocks, before.blocks);
}

}  // namespace
