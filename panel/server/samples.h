// The last minutes of a run, for trends: what was seen of it, in memory that outlives
// the process that writes and reads it.
#ifndef LOOPBOX_PANEL_SERVER_SAMPLES_H
#define LOOPBOX_PANEL_SERVER_SAMPLES_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "live/shared_block.h"
#include "panel/server/source.h"

namespace panel {

class CSamples {
 public:
  // As many samples as ten minutes have at ten a second, or as there is room for in 64 MB.
  static std::size_t CapacityFor(std::size_t columns);
  static std::size_t Bytes(std::size_t columns, std::size_t capacity);

  // In a block that outlives it.
  CSamples(live::CSharedBlock& block, std::size_t columns, std::size_t capacity);

  // The values of all columns at a time (seconds of the run). One that isn't later than
  // the last is there already.
  void Add(double time, std::span<const double> values);
  bool IsEmpty() const { return Begin() == End(); }
  double FirstTime() const { return At(Begin())[0]; }  // of the oldest; there is one
  // As CHistory::Read has it, of columns.
  TTrend Trend(std::span<const std::size_t> columns, double from, double to, std::size_t points) const;

 private:
  std::uint64_t End() const { return added->load(std::memory_order_relaxed); }
  // The place that is written next holds no sample: who wrote it may have died.
  std::uint64_t Begin() const { return End() < capacity ? 0 : End() - capacity + 1; }
  const double* At(std::uint64_t number) const { return rows + number % capacity * (columns + 1); }
  // The first from Begin on whose time isn't less, or is greater.
  std::uint64_t Find(double time, bool isGreater) const;

  std::size_t columns;
  std::size_t capacity;
  std::atomic<std::uint64_t>* added;
  double* rows;  // time and values each
};

}  // namespace panel

#endif
