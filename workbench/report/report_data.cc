// What the report's script draws, as JSON.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/json.h"
#include "page/page.h"
#include "workbench/report/report.h"

namespace workbench {
namespace {

using json::CValue;

// Eight significant digits, and no decimal point without need: a page has many
// numbers. Null: not finite.
CValue Number(double value) {
  constexpr int kDigits = 8;
  constexpr double kWhole = 1e15;  // below it whole numbers are written in full
  if (!std::isfinite(value)) return nullptr;
  char digits[32];
  const char* const end =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::scientific, kDigits - 1).ptr;
  double rounded = 0.0;
  std::from_chars(digits, end, rounded);
  if (std::fabs(rounded) < kWhole && rounded == std::trunc(rounded)) return static_cast<std::int64_t>(rounded);
  return rounded;
}

CValue List(const std::vector<double>& numbers) {
  CValue list = CValue::Array();
  for (const double number : numbers) list.Append(Number(number));
  return list;
}

// The times at which a plot's curves have points: where a bucket is more than
// one sample, two, the second in its middle; at the end the last sample.
std::vector<double> PointTimes(const painting::CPlot& plot) {
  std::vector<double> points;
  const std::vector<double>& times = plot.Times();
  for (std::size_t i = 0; i < times.size(); ++i) {
    points.push_back(times[i]);
    if (plot.PerBucket() == 1) continue;
    points.push_back(times[i] + (((i + 1 < times.size()) ? times[i + 1] : plot.LastTime()) - times[i]) / 2);
  }
  if (!times.empty() && plot.LastTime() > points.back()) points.push_back(plot.LastTime());
  return points;
}

// The lowest and the highest in the order that is nearer to the first sample.
std::vector<double> Points(const painting::CPlot& plot, std::size_t curve) {
  std::vector<double> points;
  const std::vector<painting::TPlotBucket>& buckets = plot.Buckets(curve);
  for (const painting::TPlotBucket& bucket : buckets) {
    if (plot.PerBucket() == 1) {
      points.push_back(bucket.last);
      continue;
    }
    const bool rises = !(bucket.first - bucket.lowest > bucket.highest - bucket.first);
    points.push_back(rises ? bucket.lowest : bucket.highest);
    points.push_back(rises ? bucket.highest : bucket.lowest);
  }
  if (!buckets.empty()) points.push_back(buckets.back().last);
  return points;
}

// The lists of points in the page. Many curves are one and the same, such as that of
// a plain element and of the pane that shows it: each list stands there once, and a
// number alone where all points are it.
class CSeries {
 public:
  // The number of a curve's list.
  std::size_t Of(const painting::CPlot& plot, std::size_t curve);
  std::string Text() const { return "[" + lists + "]"; }

 private:
  struct TKnown {
    const painting::CPlot* plot;
    std::size_t curve;
    std::size_t number;
  };

  std::unordered_multimap<std::size_t, TKnown> known;  // by a hash of the points
  std::size_t count = 0;
  std::string lists;
};

std::string_view Bytes(const painting::CPlot& plot, std::size_t curve) {
  const std::vector<painting::TPlotBucket>& buckets = plot.Buckets(curve);
  return {reinterpret_cast<const char*>(buckets.data()), buckets.size() * sizeof(painting::TPlotBucket)};
}

std::size_t CSeries::Of(const painting::CPlot& plot, std::size_t curve) {
  const std::string_view bytes = Bytes(plot, curve);
  const std::size_t hashed = std::hash<std::string_view>()(bytes);
  const auto [first, last] = known.equal_range(hashed);
  for (auto same = first; same != last; ++same) {
    const auto& [otherPlot, otherCurve, number] = same->second;
    if (otherPlot == &plot && Bytes(plot, otherCurve) == bytes) return number;
  }
  known.insert({hashed, {&plot, curve, count}});
  const std::vector<double> points = Points(plot, curve);
  const bool isConstant = !points.empty() && std::count(points.begin(), points.end(), points[0]) ==
                                                 static_cast<std::ptrdiff_t>(points.size());
  if (count > 0) lists += ',';
  lists += (isConstant ? Number(points[0]) : List(points)).Text();
  return count++;
}

// `before`: the same curve of the earlier run.
CValue Curve(const painting::TPlotCurve& drawn, std::size_t series, bool before) {
  const bool isBand = drawn.name.starts_with("band");
  return {{"name", runtime::Translated(before ? drawn.name + " before" : drawn.name)},
          {"color", page::Color(drawn.color)},
          {"holds", drawn.holds},
          {"dash", before   ? List({6, 4})
                   : isBand ? List({2, 3})
                            : CValue()},
          {"other", before},
          {"series", series}};
}

// The column of a trace in which a curve stands; empty: in none.
std::string ColumnOf(const std::string& regulator, const std::string& curve) {
  if (curve == "wish") return regulator + ".wish_value";
  if (curve == "value" || curve == "output") return regulator + "." + curve;
  return std::string();
}

CValue Panel(const CReport& report, const TShownPanel& shown, CSeries* series) {
  const painting::CPlot& plot = report.Plot();
  const painting::TPlotPanel& panel = plot.Panels()[shown.panel];
  const CComparison& comparison = report.Comparison();
  const std::string& regulator = report.Instrument(shown.regulator).Name();
  CValue curves = CValue::Array();
  for (const std::size_t curve : panel.curves) {
    const painting::TPlotCurve& drawn = plot.Curves()[curve];
    curves.Append(Curve(drawn, series->Of(plot, curve), false));
    const auto before = comparison.Curves().find(ColumnOf(regulator, drawn.name));
    if (before == comparison.Curves().end()) continue;
    curves.Append(Curve(drawn, series->Of(comparison.Plot(), before->second), true));
  }
  CValue hand = CValue::Array();
  if (panel.shade) {
    for (const painting::TStretch& stretch : plot.Stretches(*panel.shade))
      hand.Append(List({stretch.from, stretch.to}));
  }
  return {{"unit", panel.unit}, {"regulator", regulator},  {"marked", !shown.low},
          {"zero", shown.low},  {"hand", std::move(hand)}, {"curves", std::move(curves)}};
}

// Whatever a person may draw a curve of.
CValue Quantities(const CReport& report, CSeries* series) {
  CValue list = CValue::Array();
  for (std::size_t i = 0; i < report.Quantities().size(); ++i) {
    const TQuantity& quantity = report.Quantities()[i];
    list.Append({{"name", quantity.name},
                 {"unit", quantity.unit},
                 {"holds", quantity.holds},
                 {"series", series->Of(report.Plot(), report.CurveOf(i))}});
  }
  return list;
}

// Those of the page's scripts that the language says otherwise; null: none.
CValue Words() {
  CValue words;
  for (const char* word : {"in hand", "time, s", "time, h:min"}) {
    if (const std::string said = runtime::Translated(word); said != word) words.Set(word, said);
  }
  return words;
}

// The panels that the view asks for, by the names of their curves.
CValue Chosen(const CReport& report) {
  CValue panels = CValue::Array();
  for (const std::vector<TQuantity>& curves : report.View().curves) {
    CValue names = CValue::Array();
    for (const TQuantity& quantity : curves) names.Append(quantity.name);
    panels.Append(std::move(names));
  }
  return panels;
}

}  // namespace

std::string ReportData(const CReport& report, const std::vector<TShownPanel>& panels) {
  const runtime::CApplication& application = report.Application();
  const painting::CPlot& other = report.Comparison().Plot();
  CValue marks = CValue::Array();
  for (const TReportMark& mark : report.Marks()) {
    marks.Append({{"time", Number(mark.time)}, {"instrument", mark.instrument}, {"text", mark.text}});
  }
  CValue palette = CValue::Array();
  for (const std::uint32_t color : painting::kPlotColors) palette.Append(page::Color(color));
  CSeries series;
  const double end = std::max({application.Time(), other.LastTime(), application.Period()});
  const auto& window = report.View().window;
  CValue data = {{"from", 0},
                 {"to", Number(end)},
                 {"window", window ? List({window->from, window->to}) : CValue()},
                 {"times", List(PointTimes(report.Plot()))},
                 {"otherTimes", List(PointTimes(other))},
                 {"quantities", Quantities(report, &series)},
                 {"chosen", Chosen(report)},
                 {"palette", std::move(palette)},
                 {"marks", std::move(marks)}};
  if (CValue words = Words(); !words.IsNull()) data.Set("words", std::move(words));
  // One panel at a time, since numbers take more memory as JSON than as text.
  std::string text = page::ScriptText(data.Text());
  text.back() = ',';
  text += "\"panels\":[";
  for (const TShownPanel& panel : panels) {
    if (&panel != &panels.front()) text += ',';
    text += page::ScriptText(Panel(report, panel, &series).Text());
  }
  return text + "],\"series\":" + series.Text() + "}";
}

}  // namespace workbench
