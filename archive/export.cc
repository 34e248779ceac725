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
  CColumn(CFolder& folder, const TExport& what, const std::string& name)
      : pieces(folder.Pieces(what.run, name, what.from, what.to + 1)) {
    const auto earlier = folder.Pieces(what.run, name, 0, what.from);
    if (!earlier.empty()) {
      if (const auto held = earlier.back().reader->Before(*earlier.back().channel, what.from)) SetText(held->last);
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
  std::vector<CColumn> columns;
  std::string row = "time";
  for (const TChannel& channel : folder.Channels(what.run)) {
    columns.emplace_back(folder, what, channel.name);
    row += "," + channel.name;
  }
  const auto run =
      std::find_if(folder.Runs().begin(), folder.Runs().end(), [&](const TRun& one) { return one.id == what.run; });
  if (run == folder.Runs().end()) throw TFailure("the archive has no such run");
  const auto write = [&] {
    row += "\r\n";
    if (std::fwrite(row.data(), 1, row.size(), file) != row.size()) {
      throw TFailure(std::string("the export is not complete: ") + std::strerror(errno));
    }
  };
  write();
  std::uint64_t period = std::max(what.from, run->first);
  while (period <= std::min(what.to, run->last)) {
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
