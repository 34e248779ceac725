#include "panel/server/samples.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace panel {
namespace {

constexpr std::size_t kMostSamples = 6000;
constexpr std::size_t kMostBytes = std::size_t{64} << 20;

// What several samples are joined into.
struct TJoined {
  double first = 0.0;  // times
  double last = 0.0;
  double low = 0.0;
  double high = 0.0;
  double sum = 0.0;
  std::size_t count = 0;  // of finite values

  void Add(double time, double value) {
    last = time;
    if (!std::isfinite(value)) return;
    low = count == 0 ? value : std::min(low, value);
    high = count == 0 ? value : std::max(high, value);
    sum += value;
    ++count;
  }
  TPoint Point() const {
    const double time = first + 0.5 * (last - first);
    if (count == 0) return {time, std::nan(""), std::nan(""), std::nan("")};
    return {time, low, high, std::clamp(sum / static_cast<double>(count), low, high)};
  }
};

}  // namespace

std::size_t CSamples::CapacityFor(std::size_t columns) {
  return std::clamp<std::size_t>(kMostBytes / ((columns + 1) * sizeof(double)), 2, kMostSamples);
}

std::size_t CSamples::Bytes(std::size_t columns, std::size_t capacity) {
  return live::PlaceBytes(sizeof(std::atomic<std::uint64_t>)) +
         live::PlaceBytes(capacity * (columns + 1) * sizeof(double));
}

CSamples::CSamples(live::CSharedBlock& block, std::size_t theColumns, std::size_t theCapacity)
    : columns(theColumns),
      capacity(theCapacity),
      added(block.Place<std::atomic<std::uint64_t>>()),
      rows(block.PlaceZeroed<double>(theCapacity * (theColumns + 1))) {}

void CSamples::Add(double time, std::span<const double> values) {
  const std::uint64_t number = End();
  if (number > 0 && !(time > At(number - 1)[0])) return;
  double* const row = rows + number % capacity * (columns + 1);
  row[0] = time;
  std::copy_n(values.begin(), columns, row + 1);
  added->store(number + 1, std::memory_order_release);
}

std::uint64_t CSamples::Find(double time, bool isGreater) const {
  std::uint64_t begin = Begin();
  std::uint64_t end = End();
  while (begin < end) {
    const std::uint64_t middle = begin + (end - begin) / 2;
    const double there = At(middle)[0];
    if (isGreater ? there > time : there >= time) {
      end = middle;
    } else {
      begin = middle + 1;
    }
  }
  return begin;
}

TTrend CSamples::Trend(std::span<const std::size_t> wanted, double from, double to, std::size_t points) const {
  TTrend trend;
  trend.series.resize(wanted.size());
  const std::uint64_t begin = Find(from, false);
  const std::uint64_t end = Find(to, true);
  if (begin >= end) return trend;
  const double span = At(end - 1)[0] - At(begin)[0];
  // Joined by a grid of powers of two, which stands still while somebody scrolls.
  if (end - begin > points) {
    trend.resolution = points > 1 ? std::exp2(std::ceil(std::log2(span / static_cast<double>(points - 1))))
                                  : std::numeric_limits<double>::max();
  }
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const std::size_t column = 1 + wanted[i];
    for (std::uint64_t sample = begin; sample < end;) {
      TJoined joined;
      joined.first = At(sample)[0];
      const double place = std::floor(joined.first / trend.resolution);
      do {
        joined.Add(At(sample)[0], At(sample)[column]);
        ++sample;
      } while (sample < end && trend.resolution > 0.0 && std::floor(At(sample)[0] / trend.resolution) == place);
      trend.series[i].push_back(joined.Point());
    }
  }
  if (points == 1) trend.resolution = span;
  return trend;
}

}  // namespace panel
