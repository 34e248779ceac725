#include "study/merge.h"

#include <optional>
#include <string_view>

#include "study/files.h"

namespace study {
namespace {

constexpr std::uint64_t kAtOnce = 20;  // of those that are run again, in one child

// The row without the failure behind its last figure.
std::string_view FiguresOf(const std::string& row, std::size_t figures) {
  std::size_t comma = row.find(',');
  for (std::size_t i = 0; i < figures && comma != std::string::npos; ++i) comma = row.find(',', comma + 1);
  return std::string_view(row).substr(0, comma);
}

}  // namespace

bool Merge(const TPlan& plan, std::vector<TRange>* missing, std::string* error) {
  CWholeFile results(ResultsName(plan));
  CWholeFile failures(FailuresName(plan));
  std::string heading = "case";
  for (const TFigure& figure : plan.definition.figures) heading += "," + figure.name;
  results.Write(heading + "\n");
  failures.Write("case,failure\n");
  const std::size_t figures = plan.definition.figures.size();
  const std::vector<TRange> parts = PartsOf(plan);
  *missing = MissingOf(parts, {0, plan.runs - 1});
  std::uint64_t next = 0;
  for (const TRange& part : parts) {
    if (part.last < next) continue;
    CRows rows(PartName(plan, part));
    for (std::uint64_t number = part.first; number <= part.last; ++number) {
      const bool isThere = rows.Next() && rows.Number() == number;
      const std::vector<std::string_view> fields = rows.Fields(figures + 1);
      if (!isThere || fields.size() != figures + 1) {
        *error = PartName(plan, part) + ": has no case " + std::to_string(number);
        return false;
      }
      if (number < next) continue;
      results.Write(std::string(FiguresOf(rows.Line(), figures)) + "\n");
      const std::string_view failure = fields.back();
      if (!failure.empty()) failures.Write(std::to_string(number) + "," + Quoted(failure) + "\n");
    }
    next = part.last + 1;
  }
  return results.Finish(error) && failures.Finish(error);
}

ERunning RunAgain(const TSite& site, const TPlan& plan, const TEffort& effort, std::vector<TRange>* different,
                  std::string* error) {
  TEffort anew = effort;
  anew.readsAnew = true;
  std::uint64_t first = 0;
  const auto next = [&]() -> std::optional<TCases> {
    if (first >= plan.runs) return std::nullopt;
    TCases cases = {first, std::min(plan.runs - 1, first + kOneInRunAgain * (kAtOnce - 1)), kOneInRunAgain};
    first += kOneInRunAgain * kAtOnce;
    return cases;
  };
  const std::size_t figures = plan.definition.figures.size();
  const auto take = [&](const TCases& cases, const std::string& rows, std::string*) {
    CRows results(ResultsName(plan));
    results.Seek(cases.first);
    std::size_t begin = 0;
    for (std::uint64_t number = cases.first; number <= cases.last; number += cases.step) {
      const std::size_t end = rows.find('\n', begin);
      const std::string again = rows.substr(begin, end - begin);
      begin = end + 1;
      bool isThere = results.Next();
      while (isThere && results.Number() < number) isThere = results.Next();
      if (isThere && results.Number() == number && results.Line() != FiguresOf(again, figures)) {
        different->push_back({number, number});
      }
    }
    return true;
  };
  return RunCases(site, plan, anew, next, take, error);
}

}  // namespace study
