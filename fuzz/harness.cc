#include "fuzz/harness.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "regulator/regulator.h"

// The plug-in is there before the first input, so that its code is measured from
// the beginning.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tests::Plugin();
  return 0;
}

namespace fuzz {

namespace {

constexpr double kHostile[] = {0.0,     -0.0,    1.0,          -1.0,          0.5,      10.0,      50.0,  100.0,
                               -100.0,  1e-9,    1e9,          0x7FFFFFFFp0,  -0x1p31,  0x1p32,    1e308, -1e308,
                               DBL_MAX, DBL_MIN, DBL_TRUE_MIN, -DBL_TRUE_MIN, HUGE_VAL, -HUGE_VAL, NAN};

constexpr std::size_t kItemsChecked = 1000;  // of an array

}  // namespace

void Check(bool holds, std::string_view invariant) {
  if (holds) return;
  std::fprintf(stderr, "Invariant violated: %.*s\n", static_cast<int>(invariant.size()), invariant.data());
  std::abort();
}

CBytes::CBytes(const std::uint8_t* data, std::size_t size) : rest(reinterpret_cast<const char*>(data), size) {}

std::uint8_t CBytes::Byte() {
  if (rest.empty()) return 0;
  const char byte = rest.front();
  rest.remove_prefix(1);
  return static_cast<std::uint8_t>(byte);
}

std::uint32_t CBytes::Word() {
  std::uint32_t word = 0;
  for (int shift = 0; shift < 32; shift += 8) word |= std::uint32_t{Byte()} << shift;
  return word;
}

std::size_t CBytes::Below(std::size_t limit) { return Byte() % limit; }

double CBytes::Real() {
  const std::size_t choice = Below(std::size(kHostile) + 2);
  if (choice < std::size(kHostile)) return kHostile[choice];
  if (choice == std::size(kHostile)) return static_cast<double>(Byte());
  const std::uint64_t low = Word();
  return std::bit_cast<double>(low | std::uint64_t{Word()} << 32);
}

std::string CBytes::Rest() {
  std::string all(rest);
  rest = {};
  return all;
}

CMemoryBalance::~CMemoryBalance() {
  const runtime::TMemoryStatistics after = runtime::MemoryStatistics();
  Check(after.blocks == before.blocks && after.bytes == before.bytes, "memory is balanced after Done");
}

runtime::TReadOptions Limited() {
  runtime::TReadOptions options;
  options.scriptWork = 20'000;
  return options;
}

void CheckDiagnostics(const tests::CRun& run) {
  bool hasError = false;
  for (const runtime::TDiagnostic& diagnostic : run.diagnostics) {
    hasError = hasError || diagnostic.kind == runtime::TDiagnostic::kError;
    Check(!diagnostic.message.empty(), "every diagnostic has a message");
    Check(runtime::Format(diagnostic).size() < 8192, "a diagnostic is short");
  }
  Check(run.IsRead() != hasError, "an application is read, or an error says why not");
}

void CheckFinite(const tests::CRun& run) {
  for (std::size_t i = 0; i < run->ElementCount(); ++i) {
    const std::size_t count = std::clamp<std::size_t>(run->Element(i).length, 1, kItemsChecked);
    for (std::size_t item = 0; item < count; ++item) {
      Check(std::isfinite(run->ElementValue(i, item)), "every data element is finite");
    }
  }
  for (std::size_t i = 0; i < run->InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = run->Instrument(i);
    Check(std::isfinite(instrument.MeterValue()), "what a meter shows is finite");
    for (std::size_t pane = 0; pane < instrument.PaneCount(); ++pane) {
      Check(std::isfinite(instrument.Pane(pane).value), "what a pane shows is finite");
    }
  }
}

void RunSome(tests::CRun& run, int periods, CBytes* bytes) {
  CheckFinite(run);
  for (int k = 0; k < periods; ++k) {
    if (bytes != nullptr && run->ElementCount() > 0) {
      const std::string element = run->Element(bytes->Below(run->ElementCount())).name;
      const double value = bytes->Real();
      if (std::isfinite(value)) run.SetValue(element, value);
    }
    if (!run->Step()) break;
    CheckFinite(run);
  }
}

// The plug-in does not export the type information of its classes.
[[clang::no_sanitize("vptr")]] TOutput OutputOf(const tests::CRun& run, const std::string& regulator) {
  const auto& object = static_cast<const loopbox::CRegulator&>(run.Object(regulator));
  const auto [low, high] = std::minmax(object.outputMeter->rangeFrom, object.outputMeter->rangeTo);
  return {object.loop.lastOutput, low, high,
          object.loop.onOutputId != hx_vinst::kNoIdentifier || object.loop.onOutputChangeId != hx_vinst::kNoIdentifier};
}

void CheckOutput(const TOutput& output) {
  Check(std::isfinite(output.last), "the output is finite");
  Check(output.isFree || (output.last >= output.low && output.last <= output.high),
        "the output is in its range where no event is defined");
}

}  // namespace fuzz
