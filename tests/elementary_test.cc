// The elementary functions against MPFR, and against their own bits elsewhere.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <random>
#include <vector>

#include "runtime/elementary_constants.h"
#include "runtime/elementary_functions.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }

struct TFunction {
  const char* name;
  double (*ours1)(double);
  double (*ours2)(double, double);
  int (*theirs1)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
  int (*theirs2)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);
  double least, most;      // the range of many of the arguments
  std::uint64_t sameBits;  // of 10,000 results, on every platform

  double Ours(double x, double y) const { return ours1 != nullptr ? ours1(x) : ours2(x, y); }
};

const TFunction kFunctions[] = {
    {"Sin", elementary::Sin, {}, mpfr_sin, {}, -10, 10, 0xD14C29D9850733DE},
    {"Cos", elementary::Cos, {}, mpfr_cos, {}, -10, 10, 0x15F630398B94A912},
    {"Tan", elementary::Tan, {}, mpfr_tan, {}, -10, 10, 0xA8DCF6DC02D67144},
    {"ArcSin", elementary::ArcSin, {}, mpfr_asin, {}, -1, 1, 0xEC4E34B9CC4FD9A0},
    {"ArcCos", elementary::ArcCos, {}, mpfr_acos, {}, -1, 1, 0x6A91C6D00F168B30},
    {"ArcTan", elementary::ArcTan, {}, mpfr_atan, {}, -10, 10, 0x22BCD9095FFE5D65},
    {"Exp", elementary::Exp, {}, mpfr_exp, {}, -750, 750, 0x1F43892C41AD73B7},
    {"Ln", elementary::Ln, {}, mpfr_log, {}, 0, 3, 0xF6E178FABD41E81D},
    {"Log10", elementary::Log10, {}, mpfr_log10, {}, 0, 3, 0xDEA01A394606E2AA},
    {"Cosh", elementary::Cosh, {}, mpfr_cosh, {}, -750, 750, 0xB276088AEF984854},
    {"ArcTan2", {}, elementary::ArcTan2, {}, mpfr_atan2, -10, 10, 0xC354E24E35DD1E7A},
    {"Power", {}, elementary::Power, {}, mpfr_pow, 0, 3, 0x8F25ADD4034D3109},
};

// Around 0, 1, the least and greatest numbers and the ends of the ranges;
// arguments whose results lie very near to the middle of two doubles, and the
// one nearest to a multiple of pi/2.
// clang-format off
constexpr double kHard[] = {
    0.0, 0x1p-1074, 0x3p-1074, 0x1p-1022, 0x1p-537, 0x1p-54, 0x1p-53, 0x1p-52, 0x1.8p-52, 0x1p-28, 0x1p-27, 0x1p-26,
    0.1, 0.25, 0.5, 0x1.6a09e667f3bcdp-1, 1.0, 1.25, 1.5, 2.0, 2.5, 3.0, 5.0, 10.0, 22.0, 33.0, 34.0, 35.0, 1000.0,
    0x1p53, 0x1p70, 0x1.fffffffffffffp1023, kInf, kNan, 0x1.6ac5b262ca1ffp849, 0x1.921fb54442d18p0,
    0x1.921fb54442d18p-1, 0x1.62e42fefa39efp9, 0x1.633ce8fb9f87dp9, 0x1.74910d52d3051p9, 0x1.6232bdd7abcd2p9,
    0x1.9e9cbbfd6080bp-31, 0x1.62a88613629b5p678, 0x1.e0000000001c2p-20, 0x1.06b505550e6b2p-9, 0x1.dffffffffff1fp-22,
    0x1.7718543a5606ap-2, 0x1.12d978e4b9ea7p-1, 0x1.accfbe46b4efp-1, 0x1.ea5c00d41b7acp-4,
};
// clang-format on

// The correctly rounded value.
class CReference {
 public:
  CReference() {
    mpfr_inits2(53, x, y, result, nullptr);
    mpfr_set_emin(-1073);
    mpfr_set_emax(1024);
  }
  ~CReference() { mpfr_clears(x, y, result, nullptr); }

  double operator()(const TFunction& function, double xValue, double yValue) {
    mpfr_set_d(x, xValue, MPFR_RNDN);
    mpfr_set_d(y, yValue, MPFR_RNDN);
    const int inexact = function.theirs1 != nullptr ? function.theirs1(result, x, MPFR_RNDN)
                                                    : function.theirs2(result, x, y, MPFR_RNDN);
    mpfr_subnormalize(result, inexact, MPFR_RNDN);
    return mpfr_get_d(result, MPFR_RNDN);
  }

 private:
  mpfr_t x, y, result;
};

// Arguments of every kind, taken at random.
class CArguments {
 public:
  explicit CArguments(const TFunction& function) : least(function.least), most(function.most) {}
  double Next() {
    const double part = static_cast<double>(random() >> 11) * 0x1p-53;
    const double few = static_cast<double>(1 + random() % 255);
    const int power = static_cast<int>(random() % 60);
    const double sign = random() % 2 != 0 ? 1 : -1;
    switch (kind = random() % 8) {
      case 0:  // few bits, and few more in the last places
        return sign * std::ldexp(few, power - 50) * (1 + static_cast<double>(random() % 32) * 0x1p-52);
      case 1:  // near 1
        return 1 + sign * std::ldexp(few, -53 + power / 2);
      case 2:  // near a multiple of pi/2
        return std::nextafter(std::round(std::ldexp(part, power)) * elementary::kHalfPi.high, sign * kInf);
      case 3:
      case 4:  // every exponent alike
        return std::bit_cast<double>(random());
      default:
        return least + (most - least) * part;
    }
  }
  // The second argument, often such that powers stay finite.
  double Second(double x) {
    const double y = Next();
    return random() % 2 != 0 || kind == 0 ? y : y / (std::fabs(std::log(std::fabs(x))) + 0x1p-60);
  }

 private:
  std::mt19937_64 random;
  double least, most;
  std::uint64_t kind = 0;
};

class Elementary : public testing::TestWithParam<TFunction> {
 protected:
  void Expect(double x, double y) {
    const double ours = GetParam().Ours(x, y);
    const double theirs = reference(GetParam(), x, y);
    EXPECT_EQ(Bits(ours), std::isnan(theirs) ? Bits(kNan) : Bits(theirs))
        << std::hexfloat << '(' << x << ", " << y << "): " << ours << ", not " << theirs;
  }
  CReference reference;
};
INSTANTIATE_TEST_SUITE_P(All, Elementary, testing::ValuesIn(kFunctions),
                         [](const auto& row) { return row.param.name; });

TEST_P(Elementary, IsCorrectlyRounded) {
  const char* wish = std::getenv("LOOPBOX_MPFR_ARGUMENTS");
  CArguments arguments(GetParam());
  for (long left = wish != nullptr ? std::atol(wish) : 20'000; left > 0 && !HasFailure(); --left) {
    const double x = arguments.Next();
    Expect(x, GetParam().ours2 != nullptr ? arguments.Second(x) : 0);
  }
}

// The hard arguments, their neighbours and negatives, each with each.
TEST_P(Elementary, HardAndSpecialArguments) {
  std::vector<double> values;
  for (const double hard : kHard) {
    for (const double x : {hard, std::nextafter(hard, 0.0), std::nextafter(hard, kInf)}) {
      values.insert(values.end(), {x, -x});
    }
  }
  for (const double x : values) {
    for (const double y : GetParam().ours2 != nullptr ? values : std::vector<double>{0}) Expect(x, y);
  }
}

TEST_P(Elementary, HasTheSameBitsEverywhere) {
  std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a, a word at a time
  CArguments arguments(GetParam());
  for (int i = 0; i < 10'000; ++i) {
    const double x = arguments.Next();
    hash = (hash ^ Bits(GetParam().Ours(x, arguments.Next()))) * 0x100000001B3;
  }
  EXPECT_EQ(hash, GetParam().sameBits) << std::hex << hash;
}

TEST(ElementaryConstants, TwoOverPi) {
  mpfr_t value;
  mpfr_init2(value, 1400);
  mpfr_const_pi(value, MPFR_RNDN);
  mpfr_ui_div(value, 2, value, MPFR_RNDN);
  for (const std::uint32_t word : elementary::kTwoOverPi) {
    mpfr_mul_2ui(value, value, 32, MPFR_RNDN);
    EXPECT_EQ(word, mpfr_get_ui(value, MPFR_RNDZ));
    mpfr_sub_ui(value, value, word, MPFR_RNDN);
  }
  mpfr_clear(value);
}

}  // namespace
