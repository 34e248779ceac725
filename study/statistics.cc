#include "study/statistics.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <string_view>
#include <system_error>

#include "study/files.h"

namespace study {
namespace {

constexpr double kNormal975 = 1.959963984540054;  // the normal distribution's 97.5 %
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kMostWorst = 3;
constexpr std::size_t kMostFailures = 20;

// None where it is a word, however that begins.
double NumberOf(std::string_view field) {
  double number = kNone;
  const auto [end, status] = std::from_chars(field.data(), field.data() + field.size(), number);
  return status == std::errc() && end == field.data() + field.size() ? number : kNone;
}

// The results' rows, the figures of each with NaN where there is none.
bool ForEachResult(const TPlan& plan, const std::function<void(std::uint64_t, std::span<const double>)>& work,
                   std::string* error) {
  CRows rows(ResultsName(plan));
  const std::size_t count = plan.definition.figures.size();
  std::vector<double> figures;
  while (rows.Next()) {
    const std::vector<std::string_view> fields = rows.Fields(count);
    if (fields.size() != count) {
      *error = ResultsName(plan) + ": case " + std::to_string(rows.Number()) + " hasn't a field for each figure";
      return false;
    }
    figures.clear();
    for (const std::string_view field : fields) figures.push_back(NumberOf(field));
    work(rows.Number(), figures);
  }
  return true;
}

// --- Quantiles -----------------------------------------------------------------------------

// Doubles in their order as unsigned numbers, and back.
std::uint64_t KeyOf(double value) {
  const auto bits = std::bit_cast<std::uint64_t>(value);
  return (bits >> 63) != 0 ? ~bits : bits | (std::uint64_t{1} << 63);
}
double ValueOf(std::uint64_t key) {
  return std::bit_cast<double>((key >> 63) != 0 ? key & ~(std::uint64_t{1} << 63) : ~key);
}

// The value of a rank among many, found digit by digit in so many passes over them.
class CRankSearch {
 public:
  static constexpr int kDigitBits = 16;
  static constexpr int kPasses = 64 / kDigitBits;

  explicit CRankSearch(std::uint64_t wanted) : rank(wanted), counts(std::size_t{1} << kDigitBits) {}

  void Feed(double value) {
    const std::uint64_t key = KeyOf(value);
    if (shift + kDigitBits < 64 && (key >> (shift + kDigitBits)) != found) return;
    ++counts[(key >> shift) & (counts.size() - 1)];
  }
  void EndPass() {
    std::uint64_t digit = 0;
    while (rank >= counts[digit]) rank -= counts[digit++];
    found = (found << kDigitBits) | digit;
    shift -= kDigitBits;
    std::fill(counts.begin(), counts.end(), 0);
  }
  double Value() const { return ValueOf(found); }

 private:
  std::uint64_t rank;  // from 0, among those with the digits found
  int shift = 64 - kDigitBits;
  std::uint64_t found = 0;
  std::vector<std::uint32_t> counts;
};

bool FindQuantiles(const TPlan& plan, std::vector<TFigureSpread>* spreads, std::string* error) {
  std::vector<std::vector<CRankSearch>> searches(spreads->size());
  for (std::size_t i = 0; i < spreads->size(); ++i) {
    const std::uint64_t count = (*spreads)[i].count;
    for (const double p : kQuantiles) {
      if (count == 0) break;
      const double rank = std::ceil(p * static_cast<double>(count));
      searches[i].emplace_back(static_cast<std::uint64_t>(std::max(rank, 1.0)) - 1);
    }
  }
  for (int pass = 0; pass < CRankSearch::kPasses; ++pass) {
    const auto feed = [&](std::uint64_t, std::span<const double> figures) {
      for (std::size_t i = 0; i < figures.size(); ++i) {
        if (std::isnan(figures[i])) continue;
        for (CRankSearch& search : searches[i]) search.Feed(figures[i]);
      }
    };
    if (!ForEachResult(plan, feed, error)) return false;
    for (auto& ofFigure : searches) {
      for (CRankSearch& search : ofFigure) search.EndPass();
    }
  }
  for (std::size_t i = 0; i < searches.size(); ++i) {
    for (std::size_t q = 0; q < searches[i].size(); ++q) (*spreads)[i].quantiles[q] = searches[i][q].Value();
  }
  return true;
}

// --- Ranks ---------------------------------------------------------------------------------

std::vector<double> RanksOf(std::span<const double> values) {
  std::vector<std::size_t> order(values.size());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return values[a] != values[b] ? values[a] < values[b] : a < b; });
  std::vector<double> ranks(values.size());
  for (std::size_t begin = 0; begin < order.size();) {
    std::size_t end = begin;
    while (end < order.size() && values[order[end]] == values[order[begin]]) ++end;
    const double mean = 0.5 * static_cast<double>(begin + end - 1);
    for (; begin < end; ++begin) ranks[order[begin]] = mean;
  }
  return ranks;
}

void FindInfluences(const TSample& sample, std::vector<TFigureSpread>* spreads) {
  for (std::size_t i = 0; i < spreads->size(); ++i) {
    TFigureSpread& spread = (*spreads)[i];
    for (std::size_t input = 0; input < sample.inputs.size(); ++input) {
      std::vector<double> ones;
      std::vector<double> others;
      for (std::size_t run = 0; run < sample.numbers.size(); ++run) {
        if (std::isnan(sample.figures[i][run])) continue;
        ones.push_back(sample.inputs[input][run]);
        others.push_back(sample.figures[i][run]);
      }
      const double correlation = RankCorrelation(ones, others);
      if (std::fabs(correlation) <= std::fabs(spread.correlation)) continue;
      spread.input = input;
      spread.correlation = correlation;
    }
  }
}

// --- The whole -----------------------------------------------------------------------------

class CStatistics {
 public:
  CStatistics(const TPlan& thePlan, TStatistics* theStatistics)
      : plan(thePlan),
        statistics(*theStatistics),
        stride((plan.runs - 1) / kMostSampled + 1),
        failures(FailuresName(plan)) {}

  bool Find(std::string* error) {
    isFailure = failures.Next();
    TSample& sample = statistics.sample;
    sample.inputs.resize(plan.definition.inputs.size());
    sample.figures.resize(plan.definition.figures.size());
    statistics.figures.resize(plan.definition.figures.size());
    const auto add = [this](std::uint64_t number, std::span<const double> figures) { Add(number, figures); };
    if (!ForEachResult(plan, add, error) || !FindQuantiles(plan, &statistics.figures, error)) return false;
    FindInputs();
    FindInfluences(sample, &statistics.figures);
    return FindMedian(error);
  }

 private:
  // In step with the results, which are in the order of the cases too.
  bool HasFailed(std::uint64_t number) {
    while (isFailure && failures.Number() < number) isFailure = failures.Next();
    if (!isFailure || failures.Number() != number) return false;
    const std::vector<std::string_view> fields = failures.Fields(1);
    if (statistics.failed++ < kMostFailures && !fields.empty()) {
      statistics.firstFailures.emplace_back(number, std::string(fields[0]));
    }
    return true;
  }

  void Add(std::uint64_t number, std::span<const double> figures) {
    ++statistics.runs;
    const bool met =
        !HasFailed(number) && plan.definition.required.IsGiven() && plan.definition.required.Holds(figures);
    if (met) ++statistics.met;
    for (std::size_t i = 0; i < figures.size(); ++i) {
      if (!std::isnan(figures[i])) ++statistics.figures[i].count;
    }
    if (number % stride == 0) {
      statistics.sample.numbers.push_back(number);
      statistics.sample.met.push_back(met);
      for (std::size_t i = 0; i < figures.size(); ++i) statistics.sample.figures[i].push_back(figures[i]);
    }
    if (std::isnan(figures[0])) return;
    if (!best || figures[0] < best->first) best = {figures[0], number};
    const auto isBefore = [](const auto& one, const auto& other) { return one.first > other.first; };
    worst.insert(std::upper_bound(worst.begin(), worst.end(), TRanked{figures[0], number}, isBefore),
                 {figures[0], number});
    if (worst.size() > kMostWorst) worst.pop_back();
  }

  // The inputs of the sample, which are in the order of the cases.
  void FindInputs() {
    CRows rows(CasesName(plan));
    TCase one;
    for (const std::uint64_t number : statistics.sample.numbers) {
      bool isThere = rows.Next();
      while (isThere && rows.Number() < number) isThere = rows.Next();
      isThere = isThere && CaseOf(rows, plan.definition.inputs.size(), &one);
      for (std::size_t i = 0; i < plan.definition.inputs.size(); ++i) {
        statistics.sample.inputs[i].push_back(isThere ? InputNumber(plan.definition.inputs[i], one.values[i]) : 0.0);
      }
    }
  }

  std::optional<TCase> CaseNumbered(std::uint64_t number) const {
    CRows rows(CasesName(plan));
    rows.Seek(number);
    TCase one;
    if (!rows.Next() || rows.Number() != number || !CaseOf(rows, plan.definition.inputs.size(), &one)) return {};
    return one;
  }

  bool FindMedian(std::string* error) {
    for (const auto& [value, number] : worst) {
      if (const auto one = CaseNumbered(number)) statistics.worst.push_back(*one);
    }
    if (!best) return true;
    statistics.best = CaseNumbered(best->second);
    const double median = statistics.figures[0].quantiles[kMedian];
    std::optional<std::uint64_t> first;
    const auto look = [&](std::uint64_t number, std::span<const double> figures) {
      if (!first && figures[0] == median) first = number;
    };
    if (!ForEachResult(plan, look, error)) return false;
    if (first) statistics.median = CaseNumbered(*first);
    return true;
  }

  using TRanked = std::pair<double, std::uint64_t>;  // the first figure, the case

  const TPlan& plan;
  TStatistics& statistics;
  const std::uint64_t stride;
  CRows failures;
  bool isFailure = false;  // the row read last is one
  std::vector<TRanked> worst;
  std::optional<TRanked> best;
};

}  // namespace

std::pair<double, double> WilsonInterval(std::uint64_t successes, std::uint64_t trials) {
  if (trials == 0) return {0.0, 1.0};
  const auto n = static_cast<double>(trials);
  const double p = static_cast<double>(successes) / n;
  constexpr double kSquare = kNormal975 * kNormal975;
  const double middle = p + kSquare / (2.0 * n);
  const double half = kNormal975 * std::sqrt(p * (1.0 - p) / n + kSquare / (4.0 * n * n));
  const double scale = 1.0 + kSquare / n;
  return {successes == 0 ? 0.0 : (middle - half) / scale, successes == trials ? 1.0 : (middle + half) / scale};
}

double RankCorrelation(std::span<const double> one, std::span<const double> other) {
  const std::vector<double> x = RanksOf(one);
  const std::vector<double> y = RanksOf(other);
  const double mean = 0.5 * (static_cast<double>(x.size()) - 1.0);
  double products = 0.0;
  double squaresX = 0.0;
  double squaresY = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    products += (x[i] - mean) * (y[i] - mean);
    squaresX += (x[i] - mean) * (x[i] - mean);
    squaresY += (y[i] - mean) * (y[i] - mean);
  }
  return squaresX == 0.0 || squaresY == 0.0 ? 0.0 : products / std::sqrt(squaresX * squaresY);
}

double InputNumber(const TInput& input, const std::string& value) {
  const double number = NumberOf(value);
  if (!std::isnan(number)) return number;
  return static_cast<double>(std::find(input.list.begin(), input.list.end(), value) - input.list.begin());
}

bool StatisticsOf(const TPlan& plan, TStatistics* statistics, std::string* error) {
  return CStatistics(plan, statistics).Find(error);
}

}  // namespace study
