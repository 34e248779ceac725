// Samples of a channel: their bytes in a file, and what they are in sum.
//
// A chunk's bytes:
//   flags (1)  count (2)  first period (varint)
//   even:      the distance of all others (varint)
//   otherwise: the distance of each other to the one before (varint)
//   qualities  (1 each), where there is one that isn't good
//   values     (8 each), the doubles' bits
// Numbers are little-endian; a varint has seven bits a byte, the lowest first, and the
// highest bit set in all bytes but its last.
#ifndef LOOPBOX_ARCHIVE_CHUNK_H
#define LOOPBOX_ARCHIVE_CHUNK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace archive {

constexpr std::size_t kMostSamples = 512;  // of a chunk
constexpr std::size_t kJoined = 16;        // spans of a level in one of the level above
constexpr std::size_t kMostLevels = 12;    // 16 to the power of this is more than there are periods
constexpr std::uint64_t kMostPeriods = std::uint64_t{1} << 53;  // a double counts them

// Of one length; periods ascend.
struct TSamples {
  std::vector<std::uint64_t> periods;
  std::vector<double> values;
  std::vector<std::uint8_t> qualities;  // 0: good

  std::size_t Count() const { return periods.size(); }
  void Add(std::uint64_t period, double value, std::uint8_t quality);
  void Clear();
};

// Consecutive samples in sum. What is no number is left out of minimum, maximum and
// mean; they are NaN where there is none.
struct TSpan {
  std::uint64_t begin = 0;  // the first period
  std::uint64_t end = 0;    // the last one
  double first = 0.0;
  double last = 0.0;
  double min = 0.0;
  double max = 0.0;
  double mean = 0.0;
  std::uint64_t count = 0;
  std::uint8_t quality = 0;  // the worst
  std::int64_t samples = 0;  // of a chunk, their row

  static TSpan Of(std::uint64_t period, double value, std::uint8_t quality);
  static TSpan Of(const TSamples& samples);  // one at least
  // With one that comes later.
  void Join(const TSpan& later);
};

// Of a mean of so many samples and a later one's; a NaN is none.
double JoinedMean(double mean, std::uint64_t count, double later, std::uint64_t laterCount);

std::vector<std::uint8_t> Coded(const TSamples& samples);
// False when the bytes are no such code. At most kMostSamples.
bool Decode(std::span<const std::uint8_t> bytes, TSamples* samples);

}  // namespace archive

#endif
