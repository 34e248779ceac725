#include "archive/export.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace archive {
namespace {

constexpr std::uint64_t kNone = std::numeric_limits<std::uint64_t>::max();

// A channel's samples one after the other, a chunk at a time.
class CColumn {
 public:
  // Of the periods from <= period < to of a run.
  CColumn(CFolder& folder, std::int64_t run, const std::string& name, std::uint64_t from, std::uint64_t to)
      : pieces(folder.Pieces(run, name, from, to)) {
    const auto earlier = folder.Pieces(run, name, 0, from);
    if (!earlier.empty()) {
      if (const auto held = earlier.back().reader->Before(*earlier.back().channel, from)) SetText(held->last);
    }
    Fill();
  }

  // The period of the next sample; kNone behind the last.
  std::uint64_t Next() const { return at < samples.Count() ? samples.periods[at] : kNone; }
  void Take() {
    SetText(samples.values[at]);
    if (++at == samples.Count()) Fill();
  }
  const std::string& Text() const { return text; }

 private:
  void Fill() {
    samples.Clear();
    at = 0;
    while (samples.Count() == 0 && piece < pieces.size()) {
      CFolder::TPiece& one = pieces[piece];
      one.reader->Samples(*one.channel, one.from, one.to, &samples, 1);
      if (samples.Count() == 0) {
        ++piece;
      } else {
        one.from = samples.periods.back() + 1;
      }
    }
  }

  // As a trace has it; empty for what is no number.
  void SetText(double value) {
    char digits[32];
    text.clear();
    if (std::isfinite(value)) text.assign(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
  }

  std::vector<CFolder::TPiece> pieces;
  std::size_t piece = 0;
  TSamples samples;
  std::size_t at = 0;
  std::string text;
};

std::string TimeText(double time) {
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof(digits), time).ptr};
}

}  // namespace

void Export(CFolder& folder, const TExport& what, std::FILE* file) {
  const std::vector<TRun>& runs = folder.Runs();
  const auto run = std::find_if(runs.begin(), runs.end(), [&](const TRun& one) { return one.id == what.run; });
  if (run == runs.end()) throw TFailure("the archive has no such run");
  const std::uint64_t from = std::max(PeriodOf(*run, what.from), run->first);
  const std::uint64_t to = std::min(PeriodBehind(*run, what.to), run->last + 1);
  std::vector<CColumn> columns;
  std::string row = "time";
  for (const TChannel& channel : folder.Channels(what.run)) {
    columns.emplace_back(folder, what.run, channel.name, from, to);
    row += "," + channel.name;
  }
  const auto write = [&] {
    row += "\r\n";
    if (std::fwrite(row.data(), 1, row.size(), file) != row.size()) {
      throw TFailure(std::string("the export is not complete: ") + std::strerror(errno));
    }
  };
  write();
  std::uint64_t period = from;
  while (period < to) {
    row = TimeText(static_cast<double>(period) * run->period);
    std::uint64_t next = kNone;
    for (CColumn& column : columns) {
      if (column.Next() == period) column.Take();
      row.append(",").append(column.Text());
      next = std::min(next, column.Next());
    }
    write();
    period = next;
  }
}

}  // namespace archive
