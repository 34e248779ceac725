#include "panel/server/archived.h"

#include <algorithm>
#include <utility>

#include "panel/server/kept_source.h"

namespace panel {

namespace {
constexpr double kForgiven = 0.25;  // of a period
}  // namespace

std::unique_ptr<CArchived> CArchived::Open(const std::string& folder, std::string* error) {
  std::unique_ptr<CArchived> opened(new CArchived(folder, 0.0));
  return opened->FindRun(error) ? std::move(opened) : nullptr;
}

std::unique_ptr<CArchived> CArchived::Follow(const std::string& folder, double start) {
  return std::unique_ptr<CArchived>(new CArchived(folder, start));
}

bool CArchived::FindRun(std::string* error) {
  if (archive != nullptr) return true;
  std::unique_ptr<archive::CArchive> opened = archive::CArchive::Open(folder, error);
  if (opened == nullptr) return false;
  if (opened->Runs().empty() || opened->Runs().back().start < start) {
    *error = folder + ": this archive holds no run";
    return false;
  }
  archive = std::move(opened);
  run = archive->Runs().back();
  channels = archive->Channels(run.id);
  std::vector<std::string> names;
  for (const archive::TChannel& channel : channels) names.push_back(channel.name);
  const std::vector<std::string> items = TKeptColumns(names).items;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!items[i].empty()) columns.emplace(items[i], names[i]);
  }
  return true;
}

bool CArchived::Knows(const std::string& item) const {
  return columns.contains(item) ||
         IsOfInstrument(item, [this](const std::string& name) { return columns.contains(name); });
}

bool CArchived::Read(const std::vector<std::string>& items, double from, double to, std::size_t points, TTrend* trend,
                     std::string* error) {
  trend->resolution = 0.0;
  trend->series.assign(items.size(), {});
  std::string none;
  if (!FindRun(&none)) return true;
  archive::TView view;
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto found = columns.find(items[i]);
    if (found == columns.end()) continue;
    view.channels.push_back(found->second);
    places.push_back(i);
  }
  // A period's time may be off by a rounding.
  view.from = run.start + from - kForgiven * run.period;
  view.to = run.start + to + kForgiven * run.period;
  view.points = std::max<std::size_t>(points / 2, 1);
  view.run = run.id;
  std::vector<archive::TSeries> series;
  if (!archive->View(view, &series, error)) return false;
  for (const archive::TRun& known : archive->Runs()) {
    if (known.id == run.id) run = known;  // it may go on
  }
  for (std::size_t i = 0; i < places.size(); ++i) {
    trend->resolution = std::max(trend->resolution, series[i].resolution);
    trend->series[places[i]] = PointsOf(series[i], from, to);
  }
  return true;
}

std::vector<TPoint> CArchived::PointsOf(const archive::TSeries& series, double from, double to) const {
  std::vector<TPoint> points;
  const auto put = [&](double time, const archive::TPoint& point) {
    points.push_back({time, point.min, point.max, point.mean});
  };
  // Of a point of several samples nothing says which was the last.
  const auto holds = [](const archive::TPoint& point) { return point.count == 1; };
  const archive::TPoint* last = series.before ? &*series.before : nullptr;
  if (last != nullptr && holds(*last)) put(from, *last);
  for (const archive::TPoint& point : series.points) {
    const double first = point.from - run.start;
    if (last != nullptr && holds(*last) && !points.empty() && first - points.back().time > 1.5 * run.period) {
      put(first - run.period, *last);
    }
    put(first + 0.5 * (point.to - point.from), point);
    last = &point;
  }
  const double end = std::min(to, static_cast<double>(run.last) * run.period);
  if (last != nullptr && holds(*last) && !points.empty() && end - points.back().time > (1.0 - kForgiven) * run.period)
    put(end, *last);
  return points;
}

}  // namespace panel
