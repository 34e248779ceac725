// An instrument's definition. The first byte chooses the class. A definition is
// refused, or the instrument runs with it; read again it gives the same answer and
// takes the same memory.
#include "fuzz/harness.h"

namespace {

constexpr char kBefore[] =
    "application test period = 1; end_application;\n"
    "data x : real = 50; wish : real = 40; hand : real; u : real; run : boolean = true; on : boolean;\n"
    "plus : boolean; minus : boolean; i : integer = 1; ra : real[3]; ba : boolean[2]; end_data;\n"
    "instrument meter other expression = u; end_instrument;\n";

void CheckReadAgain(const tests::CRun& run, std::size_t index, fuzz::CBytes& bytes) {
  const runtime::TInstrumentState& part = run.State().instruments[index];
  const runtime::TMemoryStatistics before = runtime::MemoryStatistics();
  fuzz::Check(run.ReadAgain(index, part.end), "a definition that was read is read again");
  // A part of it, which most often is no definition.
  run.ReadAgain(index, part.begin + bytes.Word() % (part.end - part.begin + 1));
  part.object->Action(hx_vinst::kActionTimer);
  fuzz::Check(run.ReadAgain(index, part.end), "a definition is read again after one that was refused");
  const runtime::TMemoryStatistics after = runtime::MemoryStatistics();
  fuzz::Check(after.blocks == before.blocks && after.bytes == before.bytes, "reading again takes no further memory");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  fuzz::CBytes bytes(data, size);
  static const std::vector<std::string> classes = tests::ClassNames();
  const std::size_t number = bytes.Below(classes.size() + 1);
  const bool isMeter = number == classes.size();
  const std::string definition = bytes.Rest();
  tests::CRun run(kBefore + std::string("instrument ") + (isMeter ? "meter" : classes[number]) + " reg " + definition +
                      "\nend_instrument;\n",
                  fuzz::Limited());
  fuzz::CheckDiagnostics(run);
  if (!run.IsRead()) return 0;
  // The definition's own bytes serve as values too.
  fuzz::CBytes values(data, size);
  fuzz::RunSome(run, 4, &values);
  const std::size_t index = run.State().instrumentByName.at("reg");
  if (!isMeter) {
    const fuzz::TOutput output = fuzz::OutputOf(run, "reg");
    // Zero stands there before the first output.
    if (output.last != 0.0) fuzz::CheckOutput(output);
  }
  CheckReadAgain(run, index, values);
  fuzz::RunSome(run, 2, &values);
  return 0;
}
