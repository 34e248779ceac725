// The elementary functions against MPFR, and against their own bits elsewhere.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <vector>

#include "runtime/numbers/elementary_constants.h"
#include "tests/elementary_arguments.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }

// MPFR's functions in the order of kElementary: of one argument, then of two.
constexpr int (*kOfOne[])(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t) = {mpfr_sin,  mpfr_cos, mpfr_tan, mpfr_asin,  mpfr_acos,
                                                                mpfr_atan, mpfr_exp, mpfr_log, mpfr_log10, mpfr_cosh};
constexpr int (*kOfTwo[])(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t) = {mpfr_atan2, mpfr_pow};
static_assert(std::size(kOfOne) + std::size(kOfTwo) == std::size(tests::kElementary));

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
class CExact {
 public:
  CExact() {
    mpfr_inits2(53, x, y, result, nullptr);
    mpfr_set_emin(-1073);
    mpfr_set_emax(1024);
  }
  ~CExact() { mpfr_clears(x, y, result, nullptr); }

  double operator()(std::size_t function, double xValue, double yValue) {
    mpfr_set_d(x, xValue, MPFR_RNDN);
    mpfr_set_d(y, yValue, MPFR_RNDN);
    const int inexact = function < std::size(kOfOne) ? kOfOne[function](result, x, MPFR_RNDN)
                                                     : kOfTwo[function - std::size(kOfOne)](result, x, y, MPFR_RNDN);
    mpfr_subnormalize(result, inexact, MPFR_RNDN);
    return mpfr_get_d(result, MPFR_RNDN);
  }

 private:
  mpfr_t x, y, result;
};

class Elementary : public testing::TestWithParam<std::size_t> {
 protected:
  void Expect(double x, double y) {
    const double ours = function.Of(x, y);
    const double theirs = reference(GetParam(), x, y);
    EXPECT_EQ(Bits(ours), std::isnan(theirs) ? Bits(kNan) : Bits(theirs))
        << std::hexfloat << '(' << x << ", " << y << "): " << ours << ", not " << theirs;
  }
  const tests::TElementary& function = tests::kElementary[GetParam()];
  CExact reference;
};
INSTANTIATE_TEST_SUITE_P(All, Elementary, testing::Range(std::size_t{0}, std::size(tests::kElementary)),
                         [](const auto& row) { return tests::kElementary[row.param].name; });

TEST_P(Elementary, IsCorrectlyRounded) {
  const char* wish = std::getenv("LOOPBOX_MPFR_ARGUMENTS");
  tests::CArguments arguments(function);
  for (long left = wish != nullptr ? std::atol(wish) : 20'000; left > 0 && !HasFailure(); --left) {
    const double x = arguments.Next();
    Expect(x, function.ofTwo != nullptr ? arguments.Second(x) : 0);
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
    for (const double y : function.ofTwo != nullptr ? values : std::vector<double>{0}) Expect(x, y);
  }
}

TEST_P(Elementary, HasTheSameBitsEverywhere) {
  const std::uint64_t digest = tests::Digest(function);
  EXPECT_EQ(digest, function.sameBits) << std::hex << digest;
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
