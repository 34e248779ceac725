#include "study/part.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <optional>
#include <system_error>

#include "study/files.h"

namespace study {
namespace {

constexpr std::uint64_t kPartsOfAJob = 4;
constexpr char kEnding[] = ".csv";

std::optional<TRange> RangeOf(const std::string& name) {
  TRange range;
  const char* const end = name.data() + name.size();
  const auto [dash, status] = std::from_chars(name.data(), end, range.first);
  if (status != std::errc() || dash == end || *dash != '-') return std::nullopt;
  const auto [rest, second] = std::from_chars(dash + 1, end, range.last);
  if (second != std::errc() || std::string(rest, end) != kEnding || range.last < range.first) return std::nullopt;
  return range;
}

std::string HeadingOf(const TPlan& plan) {
  std::string heading = "case";
  for (const TFigure& figure : plan.definition.figures) heading += "," + figure.name;
  return heading + ",failure\n";
}

}  // namespace

std::vector<TRange> PartsOf(const TPlan& plan) {
  std::vector<TRange> parts;
  std::error_code failure;
  for (const auto& entry : std::filesystem::directory_iterator(PartsFolder(plan), failure)) {
    const std::optional<TRange> range = RangeOf(entry.path().filename().string());
    if (range && range->last < plan.runs) parts.push_back(*range);
  }
  std::sort(parts.begin(), parts.end(), [](const TRange& one, const TRange& other) {
    return one.first != other.first ? one.first < other.first : one.last > other.last;
  });
  return parts;
}

std::string PartName(const TPlan& plan, const TRange& part) {
  return PartsFolder(plan) + "/" + std::to_string(part.first) + "-" + std::to_string(part.last) + kEnding;
}

std::vector<TRange> MissingOf(const std::vector<TRange>& parts, const TRange& wanted) {
  std::vector<TRange> missing;
  std::uint64_t next = wanted.first;
  for (const TRange& part : parts) {
    if (part.last < next) continue;
    if (part.first > wanted.last) break;
    if (part.first > next) missing.push_back({next, part.first - 1});
    next = part.last + 1;
  }
  if (next <= wanted.last) missing.push_back({next, wanted.last});
  return missing;
}

std::string TextOf(const std::vector<TRange>& ranges) {
  std::string text;
  for (const TRange& range : ranges) {
    text += (text.empty() ? "" : ", ") + std::to_string(range.first);
    if (range.last > range.first) text += "-" + std::to_string(range.last);
  }
  return text;
}

ERunning RunParts(const TSite& site, const TPlan& plan, const TRange& wanted, const TEffort& effort,
                  std::string* error) {
  const std::vector<TRange> missing = MissingOf(PartsOf(plan), wanted);
  std::uint64_t size = plan.chunk;
  if (effort.jobs > 1) {
    std::uint64_t cases = 0;
    for (const TRange& range : missing) cases += range.Count();
    size = std::clamp<std::uint64_t>(cases / (kPartsOfAJob * effort.jobs), 1, size);
  }
  std::size_t range = 0;
  std::uint64_t done = 0;  // of the range
  const auto next = [&]() -> std::optional<TCases> {
    if (range == missing.size()) return std::nullopt;
    const TRange& whole = missing[range];
    const TCases cases = {whole.first + done, std::min(whole.last, whole.first + done + size - 1)};
    done += cases.Count();
    if (cases.last == whole.last) {
      ++range;
      done = 0;
    }
    return cases;
  };
  const auto take = [&](const TCases& cases, const std::string& rows, std::string* problem) {
    return WriteFile(PartName(plan, {cases.first, cases.last}), HeadingOf(plan) + rows, problem);
  };
  return RunCases(site, plan, effort, next, take, error);
}

}  // namespace study
