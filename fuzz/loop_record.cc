// Any bytes as a record of a loop. It is refused with a sentence that names the file, or
// its rows are whole: those that tuning uses are finite, and at equal distances no longer
// than the period. Of a few rows, models are made too, where the first byte says so.
#include "workbench/run/loop_record.h"

#include <cmath>
#include <stdexcept>

#include "fuzz/harness.h"

namespace {

constexpr std::uint8_t kEstimates = 240;
constexpr std::size_t kMostRows = 40;  // each takes time
constexpr double kPeriod = 1.0;        // s

void CheckModels(const tuning::TRecord& record) {
  try {
    for (const tuning::TModel& model : tuning::Estimate({record}, {}).set) {
      fuzz::Check(std::isfinite(model.k + model.kb + model.L + model.tau + model.eps + model.T3), "a model is finite");
    }
  } catch (const std::invalid_argument&) {  // the record tells nothing
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const tests::CFolder folder;
  static const tests::CRun run(tests::OneRegulator("pid_regulator", ""));
  std::string error;
  static const auto loop = workbench::LoopOf(*run, {}, "test.lbx", "reg", &error);
  fuzz::CBytes bytes(data, size);
  const std::uint8_t effort = bytes.Byte();
  const bool isMapped = bytes.Byte() % 2 > 0;
  const std::string path = folder.Write("record.csv", bytes.Rest());
  const std::vector<std::string> maps = {"time=Zeit", "x=PV"};
  const auto read =
      workbench::ReadLoopRecord(path, *loop, isMapped ? maps : std::vector<std::string>(), kPeriod, &error);
  fuzz::Check(read || error.starts_with(path), "a record is read, or an error names it");
  if (!read) return 0;
  const tuning::TRecord& rows = read->rows;
  fuzz::Check(std::isfinite(read->begin), "it begins");
  fuzz::Check(rows.period > 0.0 && rows.period <= kPeriod, "rows are no more than a period apart");
  fuzz::Check(rows.input.size() == rows.output.size() && rows.input.size() == rows.used.size(), "rows are whole");
  for (std::size_t i = 0; i < rows.input.size(); ++i) {
    fuzz::Check(rows.used[i] == 0 || std::isfinite(rows.input[i] + rows.output[i]), "what is used is finite");
  }
  if (effort >= kEstimates && rows.input.size() <= kMostRows) CheckModels(rows);
  return 0;
}
