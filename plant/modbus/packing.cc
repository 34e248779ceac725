#include "plant/modbus/packing.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace plant {
namespace {

std::uint16_t Swapped(std::uint16_t word) { return static_cast<std::uint16_t>(word << 8 | word >> 8); }

bool SwapsBytes(EOrder order) { return order == EOrder::kBadc || order == EOrder::kDcba; }
bool ReversesWords(EOrder order) { return order == EOrder::kCdab || order == EOrder::kDcba; }

// Words in the order abcd, and back: each order is its own inverse.
TWords Ordered(TWords words, EType type, EOrder order) {
  const auto end = words.begin() + WordsOf(type);
  if (SwapsBytes(order)) std::transform(words.begin(), end, words.begin(), Swapped);
  if (ReversesWords(order)) std::reverse(words.begin(), end);
  return words;
}

// The number as an integer of that type, the nearest that there is.
template <typename TInteger>
std::uint64_t Nearest(double number, bool* wasLimited) {
  using TLimits = std::numeric_limits<TInteger>;
  // What is above the greatest is a power of two: the greatest itself may be no double.
  const double lowest = static_cast<double>(TLimits::min());
  const double above = std::ldexp(1.0, TLimits::digits);
  const double rounded = std::round(number);
  *wasLimited |= !(rounded >= lowest && rounded < above);
  if (!(rounded >= lowest)) return static_cast<std::uint64_t>(TLimits::min());
  if (rounded >= above) return static_cast<std::uint64_t>(TLimits::max());
  return static_cast<std::uint64_t>(static_cast<TInteger>(rounded));
}

template <typename TReal>
TReal Limited(double number, bool* wasLimited) {
  constexpr double kMost = std::numeric_limits<TReal>::max();
  *wasLimited |= std::fabs(number) > kMost;
  return static_cast<TReal>(std::clamp(number, -kMost, kMost));
}

}  // namespace

int WordsOf(EType type) {
  switch (type) {
    case EType::kBit:
    case EType::kInt16:
    case EType::kUint16:
      return 1;
    case EType::kInt32:
    case EType::kUint32:
    case EType::kFloat:
      return 2;
    case EType::kInt64:
    case EType::kDouble:
      return 4;
  }
  return 1;
}

double Unpacked(const std::uint16_t* words, EType type, EOrder order) {
  TWords stored{};
  std::copy_n(words, WordsOf(type), stored.begin());
  const TWords ordered = Ordered(stored, type, order);
  std::uint64_t bits = 0;
  for (int i = 0; i < WordsOf(type); ++i) bits = bits << 16 | ordered[i];
  switch (type) {
    case EType::kBit:
      return words[0] != 0 ? 1.0 : 0.0;
    case EType::kInt16:
      return static_cast<std::int16_t>(bits);
    case EType::kUint16:
      return static_cast<std::uint16_t>(bits);
    case EType::kInt32:
      return static_cast<std::int32_t>(bits);
    case EType::kUint32:
      return static_cast<std::uint32_t>(bits);
    case EType::kInt64:
      return static_cast<double>(static_cast<std::int64_t>(bits));
    case EType::kFloat:
      return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    case EType::kDouble:
      return std::bit_cast<double>(bits);
  }
  return 0.0;
}

TWords Packed(double number, EType type, EOrder order, bool* wasLimited) {
  std::uint64_t bits = 0;
  switch (type) {
    case EType::kBit:
      bits = number != 0.0 ? 1 : 0;
      break;
    case EType::kInt16:
      bits = Nearest<std::int16_t>(number, wasLimited);
      break;
    case EType::kUint16:
      bits = Nearest<std::uint16_t>(number, wasLimited);
      break;
    case EType::kInt32:
      bits = Nearest<std::int32_t>(number, wasLimited);
      break;
    case EType::kUint32:
      bits = Nearest<std::uint32_t>(number, wasLimited);
      break;
    case EType::kInt64:
      bits = Nearest<std::int64_t>(number, wasLimited);
      break;
    case EType::kFloat:
      bits = std::bit_cast<std::uint32_t>(Limited<float>(number, wasLimited));
      break;
    case EType::kDouble:
      bits = std::bit_cast<std::uint64_t>(Limited<double>(number, wasLimited));
      break;
  }
  TWords words{};
  for (int i = WordsOf(type) - 1; i >= 0; --i) {
    words[i] = static_cast<std::uint16_t>(bits);
    bits >>= 16;
  }
  return type == EType::kBit ? words : Ordered(words, type, order);
}

}  // namespace plant
