// Any bytes as a file of a study's plan, or in the place of some of its bytes. What is
// damaged is refused by the file's name. Rows are found by their number as by reading all
// of them; what is merged has a row for each case; statistics are of runs that there are.
#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "fuzz/harness.h"
#include "study/files.h"
#include "study/study.h"

namespace {

constexpr char kText[] =
    "application lag period = 1; duration = 3; end_application;\n"
    "data a : real; b : real; x : real; end_data;\n"
    "process x' = a - x; end_process;\n"
    "study s runs = 120; vary a = uniform(0, 1); vary b = list(1, 2); keep final(x), max(x); require max(x) < 0.9; "
    "end_study;\n";
constexpr std::uint64_t kChunk = 60;
constexpr std::uint8_t kStatistics = 8;      // modes below it: they take a hundred times as long
enum : std::size_t { kDescription, kPart };  // of the plan's files

// A plan whose parts are done, as it was before a file of it was damaged.
struct TPlanned {
  TPlanned() {
    site.program = folder.Write("program", "of that name");
    runtime::TReadOptions reading;
    reading.path = folder.Write("lag.lbx", kText);
    std::vector<runtime::TDiagnostic> diagnostics;
    std::string error;
    auto read = study::ReadStudy(site, reading, "", &diagnostics, &error);
    fuzz::Check(read && study::WritePlan(site, &*read, folder.Path("plan"), &error), error);
    plan = *read;
    for (std::uint64_t first = 0; first < plan.runs; first += kChunk) {
      std::string rows = "case,final(x),max(x),failure\n";
      for (std::uint64_t number = first; number < first + kChunk; ++number) {
        const double figure = static_cast<double>(number % 17) / 16.0;
        const bool failed = number % 50 == 7;
        rows += failed ? study::RowOf(plan, number, {{}, "t=1 s: no, \"more\""})
                       : study::RowOf(plan, number, {{figure, 1.0 - figure}, ""});
        rows += "\n";
      }
      fuzz::Check(study::WriteFile(study::PartName(plan, {first, first + kChunk - 1}), rows, &error), error);
    }
    std::vector<study::TRange> missing;
    fuzz::Check(study::Merge(plan, &missing, &error) && missing.empty(), error);
    for (const std::string& name : {plan.folder + "/study.json", study::PartName(plan, {0, kChunk - 1}),
                                    study::CasesName(plan), study::ResultsName(plan), study::FailuresName(plan)}) {
      files.emplace_back(name, tests::ReadFile(name));
    }
  }

  tests::CFolder folder;
  study::TSite site = {tests::Plugin(), "", [](const auto&) { return std::vector<std::string>(); }, nullptr};
  study::TPlan plan;
  std::vector<std::pair<std::string, std::string>> files;  // as they are whole
};

// Where all of the table can be read.
void CheckSeek(const std::string& name, const std::string& bytes) {
  std::vector<std::uint64_t> numbers;
  study::CRows all(name);
  while (all.Next()) numbers.push_back(all.Number());
  const auto lines = std::count(bytes.begin(), bytes.end(), '\n') + (bytes.ends_with('\n') ? 0 : 1);
  const bool isWhole = lines == static_cast<std::ptrdiff_t>(numbers.size()) + 1;
  const bool ascends = std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()) == numbers.end();
  for (const std::uint64_t wanted : {std::uint64_t{0}, std::uint64_t{5}, std::uint64_t{71}, ~std::uint64_t{0}}) {
    study::CRows rows(name);
    rows.Seek(wanted);
    const bool isThere = rows.Next();
    if (!isWhole || !ascends) continue;
    const auto expected = std::lower_bound(numbers.begin(), numbers.end(), wanted);
    fuzz::Check(isThere == (expected != numbers.end()), "a row is found where it is");
    fuzz::Check(!isThere || rows.Number() == *expected, "the row of a number, or the first behind it");
  }
}

void CheckStatistics(const study::TPlan& plan) {
  study::TStatistics statistics;
  std::string error;
  if (!study::StatisticsOf(plan, &statistics, &error)) {
    fuzz::Check(error.starts_with(study::ResultsName(plan)), "what is damaged is told by its name");
    return;
  }
  fuzz::Check(statistics.met + statistics.failed <= statistics.runs, "what failed meets nothing");
  for (const study::TFigureSpread& spread : statistics.figures) {
    fuzz::Check(spread.count <= statistics.runs, "figures are of runs");
    fuzz::Check(std::is_sorted(spread.quantiles.begin(), spread.quantiles.end()), "quantiles ascend");
    fuzz::Check(std::abs(spread.correlation) <= 1.0 + 1e-9, "a correlation is one");
  }
}

void CheckMerge(const study::TPlan& plan, const std::string& part) {
  std::vector<study::TRange> missing;
  std::string error;
  const bool isMerged = study::Merge(plan, &missing, &error);
  fuzz::Check(isMerged || error.starts_with(part), "what is damaged is told by its name");
  const std::string results = tests::ReadFile(study::ResultsName(plan));
  const auto lines = static_cast<std::uint64_t>(std::count(results.begin(), results.end(), '\n'));
  fuzz::Check(lines == plan.runs + 1, "what is merged has a row for each case");
}

void CheckReading(const study::TSite& site, const study::TPlan& plan) {
  std::string error;
  const auto read = study::ReadPlan(site, plan.folder, &error);
  fuzz::Check(read || error.starts_with(plan.folder), "what is damaged is told by its name");
  fuzz::Check(!read || (read->chunk > 0 && read->runs == plan.runs), "a plan has cases and parts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const TPlanned planned;
  fuzz::CBytes bytes(data, size);
  const std::size_t place = bytes.Below(planned.files.size());
  const auto& [file, whole] = planned.files[place];
  const std::uint8_t mode = bytes.Byte();
  std::string damaged = whole;
  if (mode % 2 == 0) damaged = bytes.Rest();
  while (!bytes.IsAtEnd()) {
    const std::size_t at = bytes.Word() % damaged.size();
    damaged[at] = static_cast<char>(bytes.Byte());
  }
  std::string error;
  fuzz::Check(study::WriteFile(file, damaged, &error), error);
  if (place == kDescription) {
    CheckReading(planned.site, planned.plan);
  } else {
    CheckSeek(file, damaged);
    if (place == kPart) CheckMerge(planned.plan, file);
    if (mode < kStatistics) CheckStatistics(planned.plan);
  }
  for (const auto& [name, before] : planned.files) fuzz::Check(study::WriteFile(name, before, &error), error);
  return 0;
}
