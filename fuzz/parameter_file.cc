// Any bytes as the parameter file of an adaptive regulator. The first byte chooses
// the law and the identification. The file is refused whole or taken whole, and
// whatever was taken, outputs and what is kept at the end are finite.
#include <bit>
#include <cmath>

#include "fuzz/harness.h"

namespace {

constexpr const char* kLaws[] = {"classical", "takahashi", "classicalDelay", "takahashiDelay", "variable"};
constexpr std::size_t kFileSize = 60;  // the law's code and seven doubles

bool IsSound(const std::string& file) {
  if (file.size() != kFileSize) return false;
  fuzz::CBytes bytes(reinterpret_cast<const std::uint8_t*>(file.data()), file.size());
  bytes.Word();
  bool finite = true;
  double last = 0.0;  // rho, which is positive
  while (!bytes.IsAtEnd()) {
    const std::uint64_t low = bytes.Word();
    last = std::bit_cast<double>(low | std::uint64_t{bytes.Word()} << 32);
    finite = finite && std::isfinite(last);
  }
  return finite && last > 0.0;
}

// What the regulator keeps now.
std::string Keep(const tests::CRun& run, const tests::CFolder& folder) {
  vcore::TEvent event = {{vcore::kEventKeep, vcore::kKeepOnRequest, 0, 0}};
  run.Object("reg").ReceiveEvent(&event);
  return tests::ReadFile(folder.Path("reg.par"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::CMemoryBalance balance;
  fuzz::CBytes bytes(data, size);
  const std::size_t choice = bytes.Below(2 * std::size(kLaws));
  const std::uint32_t law = static_cast<std::uint32_t>(choice % std::size(kLaws)) + 1;
  const bool refil = choice >= std::size(kLaws);
  const std::string file = bytes.Rest();
  const std::string text = tests::OneRegulator(
      "pid_regulator", std::string("parameters adaptive = true; regulator_type = ") + kLaws[law - 1] +
                           "; file_name = \"reg.par\"; refil = " + (refil ? "true" : "false") + "; end_parameters;");

  const tests::CFolder folder;
  tests::CRun fresh(folder, "test.lbx", text);
  const std::string untouched = Keep(fresh, folder);
  folder.Write("reg.par", file);
  tests::CRun run(folder, "test.lbx", text);
  fuzz::Check(run.IsRead(), "no parameter file makes an application wrong: " + run.Diagnostics());
  const bool sound = IsSound(file);
  const bool ofThisLaw = file.starts_with(untouched.substr(0, 4));
  const bool taken = sound && ofThisLaw;
  fuzz::Check(run.messages.empty() == (sound || (file.size() == kFileSize && !ofThisLaw)),
              "a file that is not whole and finite is reported, and no other");
  fuzz::Check(Keep(run, folder) == (taken ? file : untouched), "a file is taken whole or not at all");

  for (int k = 0; k < 40; ++k) {
    if (k % 10 == 0) run.SetValue("wish", k % 20 == 0 ? 30.0 : 60.0);
    run.Steps(1);
    run.SetValue("x", 0.9 * run.Value("x") + 0.1 * run.Value("u"));
    fuzz::CheckFinite(run);
    fuzz::CheckOutput(fuzz::OutputOf(run, "reg"));
  }
  const std::string learnt = Keep(run, folder);
  fuzz::Check(IsSound(learnt), "what is kept is whole and finite");
  tests::CRun next(folder, "test.lbx", text);
  fuzz::Check(next.messages.empty() && Keep(next, folder) == learnt, "what is kept is taken again");
  return 0;
}
