// The rows of the bench's table. Each batch of a row is timed beside a batch of
// R, in turn, so that both meet the same machine; a row's figure is the median
// of the ratios.
#ifndef LOOPBOX_BENCH_ROWS_H
#define LOOPBOX_BENCH_ROWS_H

#include <functional>
#include <string>

namespace bench {

struct TBatch {
  std::function<void()> run;
  double items = 1.0;                // operations of one run
  double bytes = 0.0;                // that one run reads or writes; 0: rates mean nothing
  std::function<void()> after = {};  // tidies up what runs have left, untimed
};

// What a row is held against.
enum class EMeasure {
  kRatio,   // of an item to R
  kOther,   // of an item to one of the other batch
  kRate,    // megabytes (10^6 bytes) a second; the target is a least one
  kAmount,  // bytes; nothing is timed
};

struct TRow {
  std::string name;
  EMeasure measure = EMeasure::kRatio;
  double target = 0.0;  // 0: none
  // Makes what the row needs, which lives as long as the batch.
  std::function<TBatch()> make;
  std::function<TBatch()> makeOther;  // of kOther: the same in plain C++
  std::function<double()> amount;     // of kAmount
  int batches = 61;                   // timed in a row, each beside one of R
};

void AddRow(TRow row);

// Keeps a result from being optimised away.
void Keep(double value);

// Each file's rows.
void AddLawRows();
void AddPeriodRows();
void AddExpressionRows();
void AddLoadingRows();
void AddTraceRows();
void AddSimulationRows();
void AddFrameRows();

}  // namespace bench

#endif
