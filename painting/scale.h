// A meter's range as shares of its length, and where its ticks are.
#ifndef LOOPBOX_PAINTING_SCALE_H
#define LOOPBOX_PAINTING_SCALE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/gaugekit.h"

namespace painting {

struct TTick {
  double share;         // of the range, 0 to 1
  std::u16string text;  // empty: a small tick
};

class CScale {
 public:
  CScale(double rangeFrom, double rangeTo) : from(rangeFrom), to(rangeTo) {}

  // Where a value is in the range; beyond it, the end that is nearer. A range
  // may run downward.
  double Share(double value) const;
  // Ticks at round numbers, about `most` with a text (two at least, if need be
  // at the ends of the range), each interval divided by small ones.
  std::vector<TTick> Ticks(std::size_t most) const;

 private:
  double from;
  double to;
};

std::u16string NumberText(double value, std::uint32_t places);
// Four significant digits, for where the whole number has no room.
std::u16string ShortNumberText(double value);
// What the meter prints for its value: rounded to its step, with its decimal
// places, in its mask.
std::u16string ValueText(const gaugekit::CMeter& meter);

}  // namespace painting

#endif
