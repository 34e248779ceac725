// What the results of a study say, in memory that doesn't grow with them.
#ifndef LOOPBOX_STUDY_STATISTICS_H
#define LOOPBOX_STUDY_STATISTICS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "study/plan.h"

namespace study {

// The interval in which the share of successes lies with a probability of 95 %, by the
// score test (Wilson: Probable inference, the law of succession, and statistical
// inference, 1927). Of no trials: 0 to 1.
std::pair<double, double> WilsonInterval(std::uint64_t successes, std::uint64_t trials);

// Spearman's: the correlation of ranks, those of equal values their mean; 0 where all
// values of one are the same. As many of each.
double RankCorrelation(std::span<const double> one, std::span<const double> other);

// The quantiles of a figure: p stands for the least of the values that at least p n of
// all n don't exceed, so that each is a run's own.
inline constexpr std::array kQuantiles = {0.0, 0.25, 0.5, 0.75, 0.95, 1.0};
inline constexpr std::size_t kMedian = 2;  // of them

struct TFigureSpread {
  std::uint64_t count = 0;  // of the runs that have it
  std::array<double, kQuantiles.size()> quantiles{};
  // The input that it depends on most, by the correlation of ranks.
  std::optional<std::size_t> input;
  double correlation = 0.0;
};

// Runs of all, evenly spaced: what can't be had in constant memory is made of them.
struct TSample {
  std::vector<std::vector<double>> inputs;   // by input; of a list with words their places
  std::vector<std::vector<double>> figures;  // by figure, NaN where a run has none
  std::vector<bool> met;                     // what is required, by run
  std::vector<std::uint64_t> numbers;        // of the cases, by run
};
inline constexpr std::uint64_t kMostSampled = 10'000;

struct TStatistics {
  std::uint64_t runs = 0;                                            // there are results of
  std::uint64_t failed = 0;                                          // of them
  std::vector<std::pair<std::uint64_t, std::string>> firstFailures;  // cases, and what failed
  std::uint64_t met = 0;                                             // what is required; those that failed don't
  std::vector<TFigureSpread> figures;
  TSample sample;
  // By the first figure, of those that have it: the largest first; the median; the least.
  std::vector<TCase> worst;
  std::optional<TCase> median;
  std::optional<TCase> best;
};

// A value of an input as a number: a word is its place in the list.
double InputNumber(const TInput& input, const std::string& value);

// Of results.csv, failures.csv and cases.csv. False with a message.
bool StatisticsOf(const TPlan& plan, TStatistics* statistics, std::string* error);

}  // namespace study

#endif
