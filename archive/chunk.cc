#include "archive/chunk.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace archive {
namespace {

static_assert(std::endian::native == std::endian::little);

constexpr std::uint8_t kEven = 1;
constexpr std::uint8_t kHasQualities = 2;

void PutVarint(std::uint64_t number, std::vector<std::uint8_t>* bytes) {
  for (; number >= 0x80; number >>= 7) bytes->push_back(static_cast<std::uint8_t>(number | 0x80));
  bytes->push_back(static_cast<std::uint8_t>(number));
}

// Below kMostPeriods; false otherwise.
bool TakeVarint(std::span<const std::uint8_t>* bytes, std::uint64_t* number) {
  *number = 0;
  for (unsigned shift = 0; shift < 56 && !bytes->empty(); shift += 7) {
    const std::uint8_t byte = bytes->front();
    *bytes = bytes->subspan(1);
    *number |= std::uint64_t{byte & 0x7FU} << shift;
    if (byte < 0x80) return *number < kMostPeriods;
  }
  return false;
}

}  // namespace

void TSamples::Add(std::uint64_t period, double value, std::uint8_t quality) {
  periods.push_back(period);
  values.push_back(value);
  qualities.push_back(quality);
}

void TSamples::Clear() {
  periods.clear();
  values.clear();
  qualities.clear();
}

TSpan TSpan::Of(std::uint64_t period, double value, std::uint8_t quality) {
  return {period, period, value, value, value, value, value, 1, quality, 0};
}

TSpan TSpan::Of(const TSamples& samples) {
  TSpan span = Of(samples.periods[0], samples.values[0], samples.qualities[0]);
  span.end = samples.periods.back();
  span.last = samples.values.back();
  span.count = samples.Count();
  span.quality = *std::max_element(samples.qualities.begin(), samples.qualities.end());
  double number = 0.0;
  double mean = 0.0;  // as a running one: a sum might be past the largest number
  for (const double value : samples.values) {
    if (std::isnan(value)) continue;
    span.min = std::fmin(span.min, value);
    span.max = std::fmax(span.max, value);
    mean += (value - mean) / ++number;
  }
  if (number > 0.0) span.mean = mean;
  return span;
}

void TSpan::Join(const TSpan& later) {
  end = later.end;
  last = later.last;
  min = std::fmin(min, later.min);
  max = std::fmax(max, later.max);
  mean = JoinedMean(mean, count, later.mean, later.count);
  count += later.count;
  quality = std::max(quality, later.quality);
}

double JoinedMean(double mean, std::uint64_t count, double later, std::uint64_t laterCount) {
  if (std::isnan(mean) || std::isnan(later)) return std::isnan(mean) ? later : mean;
  return mean + (later - mean) * (static_cast<double>(laterCount) / static_cast<double>(count + laterCount));
}

std::vector<std::uint8_t> Coded(const TSamples& samples) {
  const std::size_t count = samples.Count();
  std::vector<std::uint64_t> distances;
  for (std::size_t i = 1; i < count; ++i) distances.push_back(samples.periods[i] - samples.periods[i - 1]);
  const bool isEven = std::all_of(distances.begin(), distances.end(), [&](auto one) { return one == distances[0]; });
  const bool isGood =
      std::all_of(samples.qualities.begin(), samples.qualities.end(), [](auto one) { return one == 0; });
  std::vector<std::uint8_t> bytes;
  bytes.reserve(16 + 11 * count);
  bytes.push_back(static_cast<std::uint8_t>((isEven ? kEven : 0) | (isGood ? 0 : kHasQualities)));
  bytes.push_back(static_cast<std::uint8_t>(count));
  bytes.push_back(static_cast<std::uint8_t>(count >> 8));
  PutVarint(samples.periods[0], &bytes);
  if (isEven && count > 1) distances.resize(1);
  for (const std::uint64_t distance : distances) PutVarint(distance, &bytes);
  if (!isGood) bytes.insert(bytes.end(), samples.qualities.begin(), samples.qualities.end());
  const std::size_t size = bytes.size();
  bytes.resize(size + count * sizeof(double));
  std::memcpy(bytes.data() + size, samples.values.data(), count * sizeof(double));
  return bytes;
}

bool Decode(std::span<const std::uint8_t> bytes, TSamples* samples) {
  samples->Clear();
  if (bytes.size() < 3) return false;
  const std::uint8_t flags = bytes[0];
  const std::size_t count = bytes[1] + 256U * bytes[2];
  bytes = bytes.subspan(3);
  if (flags > (kEven | kHasQualities) || count == 0 || count > kMostSamples) return false;
  std::uint64_t period = 0;
  if (!TakeVarint(&bytes, &period)) return false;
  samples->periods.push_back(period);
  std::uint64_t distance = 0;
  for (std::size_t i = 1; i < count; ++i) {
    if ((i == 1 || (flags & kEven) == 0) && !TakeVarint(&bytes, &distance)) return false;
    period += distance;
    if (distance == 0 || period >= kMostPeriods) return false;
    samples->periods.push_back(period);
  }
  const std::size_t qualities = (flags & kHasQualities) != 0 ? count : 0;
  if (bytes.size() != qualities + count * sizeof(double)) return false;
  samples->qualities.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(qualities));
  samples->qualities.resize(count);
  samples->values.resize(count);
  std::memcpy(samples->values.data(), bytes.data() + qualities, count * sizeof(double));
  return true;
}

}  // namespace archive
