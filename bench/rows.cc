#include "bench/rows.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <utility>
#include <vector>

#include "bench/baseline.h"

namespace bench {

namespace {

constexpr double kBatchSeconds = 0.0005;  // at least, of one
constexpr double kSlack = 1.15;           // kept from a target for the machine's noise

std::map<std::string, TRow>& Rows() {
  static std::map<std::string, TRow> rows;
  return rows;
}

double Seconds(const TBatch& batch, int repeats) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < repeats; ++i) batch.run();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  if (batch.after) batch.after();
  return taken.count();
}

// How often a batch is run to take long enough.
int Repeats(const TBatch& batch) {
  int repeats = 1;
  while (Seconds(batch, repeats) < kBatchSeconds) repeats *= 2;
  return repeats;
}

double Quantile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}

void Measure(benchmark::State& state, const TRow& row) {
  if (row.measure == EMeasure::kAmount) {
    while (state.KeepRunning()) state.counters["figure"] = row.amount();
    return;
  }
  const TBatch batch = row.make();
  const TBatch other = row.makeOther ? row.makeOther() : TBatch{[] { Keep(RunBaseline()); }, kBaselineItems};
  const int repeats = Repeats(batch);
  const int otherRepeats = Repeats(other);
  std::vector<double> ratios;
  std::vector<double> rates;
  std::vector<double> times;
  while (state.KeepRunning()) {
    const double baseline = Seconds(other, otherRepeats) / (otherRepeats * other.items);
    const double seconds = Seconds(batch, repeats);
    const double item = seconds / (repeats * batch.items);
    state.SetIterationTime(seconds);
    ratios.push_back(item / baseline);
    times.push_back(item * 1e9);
    rates.push_back(batch.bytes * repeats / seconds * 1e-6);
  }
  const std::vector<double>& figures = row.measure == EMeasure::kRate ? rates : ratios;
  state.counters["figure"] = Quantile(figures, 0.5);
  state.counters["low"] = Quantile(figures, 0.25);
  state.counters["high"] = Quantile(figures, 0.75);
  state.counters["ratio"] = Quantile(ratios, 0.5);
  state.counters["ns"] = Quantile(times, 0.5);
}

const char* Verdict(const TRow& row, double figure) {
  if (row.target == 0.0) return "";
  const bool exact = row.measure == EMeasure::kAmount;
  const double shortfall = row.measure == EMeasure::kRate ? row.target / figure : figure / row.target;
  return shortfall > 1.0 ? "missed" : exact || shortfall * kSlack <= 1.0 ? "met" : "near";
}

// One line a row, as it comes.
class CTable final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override {
    std::printf("%-64s %10s %10s %17s %9s\n", "", "ns", "figure", "quartiles", "target");
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    constexpr const char* kUnits[] = {"R", "x", "MB/s", "B"};
    for (const Run& run : runs) {
      const std::string name = run.run_name.function_name;
      if (run.error_occurred) {
        std::printf("%-64s %s\n", name.c_str(), run.error_message.c_str());
        continue;
      }
      const TRow& row = Rows().at(name);
      const auto counter = [&run](const char* key) {
        const auto found = run.counters.find(key);
        return found == run.counters.end() ? 0.0 : found->second.value;
      };
      const double figure = counter("figure");
      const char* unit = kUnits[static_cast<int>(row.measure)];
      if (row.measure == EMeasure::kAmount) {
        std::printf("%-64s %10s %7.0f %-3s %16s", name.c_str(), "", figure, unit, "");
      } else {
        std::printf("%-64s %10.1f %7.2f %-4s %7.2f %7.2f", name.c_str(), counter("ns"), figure, unit, counter("low"),
                    counter("high"));
      }
      if (row.target != 0.0) {
        std::printf("  %s %-6.5g %s", row.measure == EMeasure::kRate ? ">=" : "<=", row.target, Verdict(row, figure));
      }
      std::printf("\n");
      std::fflush(stdout);
    }
  }
};

}  // namespace

void AddRow(TRow row) {
  const auto [place, isNew] = Rows().emplace(row.name, std::move(row));
  if (!isNew) return;
  const TRow& kept = place->second;
  auto* added =
      benchmark::RegisterBenchmark(kept.name.c_str(), [&kept](benchmark::State& state) { Measure(state, kept); });
  added->UseManualTime()->Iterations(kept.measure == EMeasure::kAmount ? 1 : kept.batches);
}

void Keep(double value) { benchmark::DoNotOptimize(value); }

}  // namespace bench

int main(int argc, char** argv) {
  // What is loaded first finds no room that others have left.
  for (const auto add : {bench::AddLoadingRows, bench::AddLawRows, bench::AddPeriodRows, bench::AddExpressionRows,
                         bench::AddSimulationRows, bench::AddTraceRows, bench::AddFrameRows}) {
    add();
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  bench::CTable table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return 0;
}
