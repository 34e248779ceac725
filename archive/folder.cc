#include "archive/folder.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

#include "archive/days.h"

namespace archive {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostReaders = 64;  // that stay open between two readings
constexpr double kForgiven = 1e-6;        // seconds; a double has those of the epoch no more exactly

}  // namespace

std::uint64_t PeriodAt(const TRun& run, double time) { return PeriodOf(run, time - run.start); }

std::uint64_t PeriodBehind(const TRun& run, double second) { return PeriodOf(run, second + 2.0 * kForgiven); }

std::uint64_t PeriodOf(const TRun& run, double second) {
  const double number = std::ceil((second - kForgiven) / run.period);
  if (!(number > 0.0)) return 0;
  return number < static_cast<double>(kMostPeriods) ? static_cast<std::uint64_t>(number) : kMostPeriods;
}

void CFolder::Begin() {
  std::vector<TFile> before = std::exchange(files, {});
  for (const std::int64_t day : DaysIn(folder)) {
    const auto known = std::find_if(before.begin(), before.end(), [day](const TFile& one) { return one.day == day; });
    TFile file;
    if (known != before.end()) file = std::move(*known);
    file.day = day;
    file.path = DayPath(folder, day);
    if (Look(file)) files.push_back(std::move(file));
  }
  Sum();
}

bool CFolder::Look(TFile& file) const {
  std::error_code failed;
  const std::uintmax_t size = fs::file_size(file.path, failed);
  const fs::file_time_type changed = failed ? fs::file_time_type() : fs::last_write_time(file.path, failed);
  if (failed) return false;
  if (!file.isOpen && size == file.size && changed == file.changed) return true;
  file.size = size;
  file.changed = changed;
  try {
    file.reader = std::make_unique<CDayReader>(file.path);
    file.isOpen = file.reader->IsOpen();
    file.runs = file.reader->Runs();
    return true;
  } catch (const TFailure&) {
    if (fs::exists(file.path, failed)) throw;
    return false;
  }
}

void CFolder::Sum() {
  days.clear();
  runs.clear();
  for (const TFile& file : files) {
    std::error_code failed;
    const std::uintmax_t ahead = file.isOpen ? fs::file_size(file.path + "-wal", failed) : 0;
    days.push_back({DayName(file.day), file.size + (failed ? 0 : ahead)});
    for (const TDayRun& day : file.runs) {
      const auto known = std::find_if(runs.begin(), runs.end(), [&](const TRun& one) { return one.id == day.run.id; });
      if (known == runs.end()) {
        runs.push_back(day.run);
      } else {
        known->last = day.run.last;
        known->lost = day.run.lost;
      }
    }
  }
  std::sort(runs.begin(), runs.end(), [](const TRun& a, const TRun& b) { return a.id < b.id; });
}

void CFolder::End() {
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].isOpen || i + kMostReaders < files.size()) files[i].reader.reset();
  }
}

std::vector<TChannel> CFolder::Channels(std::int64_t run) const {
  std::vector<TChannel> channels;
  for (const TFile& file : files) {
    for (const TDayRun& day : file.runs) {
      if (day.run.id != run || !channels.empty()) continue;
      for (const TDayChannel& channel : day.channels) channels.push_back(channel.channel);
    }
  }
  return channels;
}

std::vector<CFolder::TPiece> CFolder::Pieces(std::int64_t run, const std::string& name, std::uint64_t from,
                                             std::uint64_t to) {
  std::vector<TPiece> pieces;
  for (TFile& file : files) {
    for (const TDayRun& day : file.runs) {
      if (day.run.id != run || day.run.first >= to || day.run.last < from) continue;
      for (const TDayChannel& channel : day.channels) {
        if (channel.channel.name != name || channel.top < 0) continue;
        if (file.reader == nullptr) file.reader = std::make_unique<CDayReader>(file.path);
        pieces.push_back(
            {file.reader.get(), &day, &channel, std::max(from, day.run.first), std::min(to, channel.end + 1)});
      }
    }
  }
  return pieces;
}

}  // namespace archive
