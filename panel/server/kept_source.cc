#include "panel/server/kept_source.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace panel {

namespace {

// Of an instrument in a trace, and in a trend; by EOfInstrument.
constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kColumns = {
    {{".wish_value", ".wish"}, {".value", ".value"}, {".output", ".output"}}};

}  // namespace

TKeptColumns::TKeptColumns(const std::vector<std::string>& names) {
  model.isLive = false;
  model.phase = EPhase::kEnded;
  const auto has = [&](const std::string& name) { return std::find(names.begin(), names.end(), name) != names.end(); };
  for (const std::string& name : names) {
    const std::size_t dot = name.find('.');
    if (dot == std::string::npos) {
      model.elements.push_back({name, "", false, false});
      items.push_back(name);
      continue;
    }
    items.emplace_back();
    const std::string instrument = name.substr(0, dot);
    for (const auto& [column, trend] : kColumns) {
      if (name.substr(dot) == column) items.back() = instrument + std::string(trend);
    }
    if (name.substr(dot) != kColumns[kValueNow].first) continue;
    TModel::TInstrument& shown = model.instruments.emplace_back();
    shown.name = instrument;
    shown.facts.kind = has(instrument + ".output") ? "continuous" : "meter";
  }
}

std::unique_ptr<CRows> CRows::Make(const std::vector<std::string>& items, const std::vector<double>& rows,
                                   std::string* error) {
  const std::size_t width = items.size() + 1;
  const std::size_t capacity = rows.size() / width + 1;
  std::unique_ptr<CRows> made(new CRows());
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!items[i].empty()) made->columns.emplace(items[i], i);
  }
  made->block = live::CSharedBlock::Make(CSamples::Bytes(items.size(), capacity), error);
  if (made->block == nullptr) return nullptr;
  made->samples.emplace(*made->block, items.size(), capacity);
  for (auto row = rows.begin(); row != rows.end(); row += static_cast<std::ptrdiff_t>(width)) {
    made->samples->Add(*row, std::span(&*row, width).subspan(1));
  }
  return made;
}

bool IsOfInstrument(const std::string& item, const std::function<bool(const std::string& item)>& isKnown) {
  const std::size_t dot = item.find('.');
  if (dot == std::string::npos) return false;
  const auto isTrend = [&](const auto& column) { return item.substr(dot) == column.second; };
  const std::string value = item.substr(0, dot) + std::string(kColumns[kValueNow].second);
  return std::any_of(kColumns.begin(), kColumns.end(), isTrend) && isKnown(value);
}

bool CRows::Knows(const std::string& item) const {
  const auto isKnown = [this](const std::string& name) { return columns.contains(name); };
  return isKnown(item) || IsOfInstrument(item, isKnown);
}

bool CRows::Read(const std::vector<std::string>& items, double from, double to, std::size_t points, TTrend* trend,
                 std::string*) {
  std::vector<std::size_t> wanted;
  std::vector<std::size_t> places;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto found = columns.find(items[i]);
    if (found == columns.end()) continue;
    wanted.push_back(found->second);
    places.push_back(i);
  }
  TTrend there = samples->Trend(wanted, from, to, points);
  trend->resolution = there.resolution;
  trend->series.assign(items.size(), {});
  for (std::size_t i = 0; i < places.size(); ++i) trend->series[places[i]] = std::move(there.series[i]);
  return true;
}

CKeptSource::CKeptSource(TModel theModel, std::unique_ptr<CHistory> theHistory)
    : model(std::move(theModel)), history(std::move(theHistory)) {
  for (const TModel::TInstrument& instrument : model.instruments) names.instruments.push_back(instrument.name);
}

bool CKeptSource::Picture(std::size_t, EPicture, int, int, std::string*, std::string* error) {
  *error = "there are no pictures of a run that is over";
  return false;
}

std::string CKeptSource::Journal(std::optional<std::uint64_t>, std::size_t) {
  return R"({"lines":[],"first":0,"total":0})";
}

}  // namespace panel
