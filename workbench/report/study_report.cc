#include "workbench/report/study_report.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "json/json.h"
#include "page/page.h"
#include "runtime/runtime.h"
#include "workbench/report/report_assets.h"
#include "workbench/run/study_text.h"
#include "workbench/text.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

using page::Escaped;
using runtime::Translated;

constexpr std::size_t kBars = 40;            // of a distribution
constexpr std::uint64_t kMostPoints = 1500;  // of a curve, and of a cloud of runs
constexpr std::size_t kMostLines = 400;      // runs across parallel axes
constexpr std::size_t kMostWords = 12;       // of a list, beside its axis

std::string Spoken(const std::string& text) { return Escaped(Translated(text)); }

// The wish and the value of the regulator that the first figure is of, or of the first
// one; of an application without regulators the first element.
class CStudyCurve {
 public:
  explicit CStudyCurve(const study::TFigure& theFigure) : figure(theFigure) {}

  void Observe(runtime::CApplication& application) {
    if (application.PeriodsDone() % (application.PeriodCount() / kMostPoints + 1) != 0) return;
    std::optional<std::size_t> regulator;
    if (figure.kind == study::TFigure::kOfInstrument) regulator = figure.instrument;
    times.Append(application.Time());
    if (regulator) {
      const runtime::CInstrumentHandle instrument = application.Instrument(*regulator);
      wishes.Append(instrument.Pane(runtime::kWishPane).measured);
      values.Append(instrument.Pane(runtime::kValuePane).measured);
      outputs.Append(instrument.Pane(runtime::kOutputPane).value);
    } else {
      values.Append(application.ElementValue(figure.item.element, figure.item.item));
    }
  }
  json::CValue Value(const std::string& name) const {
    return {{"name", name}, {"times", times}, {"wishes", wishes}, {"values", values}, {"outputs", outputs}};
  }

 private:
  const study::TFigure& figure;
  json::CValue times = json::CValue::Array();
  json::CValue wishes = json::CValue::Array();
  json::CValue values = json::CValue::Array();
  json::CValue outputs = json::CValue::Array();
};

json::CValue StudyCurves(const study::TSite& site, const study::TPlan& plan, const study::TStatistics& statistics) {
  std::vector<std::pair<const char*, const study::TCase*>> chosen;
  if (!statistics.worst.empty()) chosen.emplace_back("worst", &statistics.worst[0]);
  if (statistics.median) chosen.emplace_back("median", &*statistics.median);
  if (statistics.best) chosen.emplace_back("best", &*statistics.best);
  json::CValue curves = json::CValue::Array();
  study::CCaseRunner runner(site, plan, false);
  for (const auto& [name, one] : chosen) {
    CStudyCurve curve(plan.definition.figures[0]);
    runner.Run(*one, [&curve](runtime::CApplication& application) { curve.Observe(application); });
    curves.Append(curve.Value(Translated(name) + " (" + std::to_string(one->number) + ")"));
  }
  return curves;
}

// Bars of equal width between the least and the largest: their middles and counts.
json::CValue Distribution(const std::vector<double>& values, const study::TFigureSpread& spread) {
  const double low = spread.quantiles.front();
  const double width = (spread.quantiles.back() - low) / static_cast<double>(kBars);
  std::vector<std::uint64_t> counts(width > 0.0 ? kBars : 1);
  for (const double value : values) {
    if (std::isnan(value)) continue;
    const double place = width > 0.0 ? (value - low) / width : 0.0;
    ++counts[std::min(static_cast<std::size_t>(std::max(place, 0.0)), counts.size() - 1)];
  }
  json::CValue bars = json::CValue::Array();
  for (std::size_t i = 0; i < counts.size(); ++i) {
    json::CValue bar = json::CValue::Array();
    bar.Append(low + (static_cast<double>(i) + 0.5) * width);
    bar.Append(counts[i]);
    bars.Append(std::move(bar));
  }
  return bars;
}

json::CValue Marked(double value, const std::string& text) {
  json::CValue pair = json::CValue::Array();
  pair.Append(value);
  pair.Append(text);
  return pair;
}

// An axis from the least of the values to the largest. Marked are both, or what a list
// has.
json::CValue StudyAxis(const std::string& name, const std::vector<double>& values, const study::TInput* input) {
  double low = std::numeric_limits<double>::infinity();
  double high = -low;
  for (const double value : values) {
    if (std::isnan(value)) continue;
    low = std::min(low, value);
    high = std::max(high, value);
  }
  json::CValue marks = json::CValue::Array();
  if (input == nullptr || input->list.empty() || input->list.size() > kMostWords) {
    for (const double end : {low, high}) marks.Append(Marked(end, Significant(end)));
  } else {
    for (const std::string& word : input->list) marks.Append(Marked(study::InputNumber(*input, word), word));
  }
  return {{"name", name}, {"low", low}, {"high", high}, {"marks", std::move(marks)}};
}

// Runs as lines across the axes of all inputs and figures; those that lack a figure are
// left out.
json::CValue StudyLines(const study::TPlan& plan, const study::TStatistics& statistics) {
  const study::TSample& sample = statistics.sample;
  json::CValue axes = json::CValue::Array();
  std::vector<const std::vector<double>*> columns;
  for (std::size_t i = 0; i < sample.inputs.size(); ++i) {
    const study::TInput& input = plan.definition.inputs[i];
    axes.Append(StudyAxis(input.name, sample.inputs[i], &input));
    columns.push_back(&sample.inputs[i]);
  }
  for (std::size_t i = 0; i < sample.figures.size(); ++i) {
    if (statistics.figures[i].count == 0) continue;
    axes.Append(StudyAxis(plan.definition.figures[i].name, sample.figures[i], nullptr));
    columns.push_back(&sample.figures[i]);
  }
  json::CValue lines = json::CValue::Array();
  for (std::size_t run = 0; run < sample.met.size(); run += sample.met.size() / kMostLines + 1) {
    json::CValue values = json::CValue::Array();
    bool isWhole = true;
    for (const auto* column : columns) {
      isWhole = isWhole && !std::isnan((*column)[run]);
      values.Append((*column)[run]);
    }
    if (isWhole) lines.Append({{"met", static_cast<bool>(sample.met[run])}, {"values", std::move(values)}});
  }
  return {{"axes", std::move(axes)}, {"lines", std::move(lines)}};
}

// The figure above the input that it depends on most: of runs that meet what is
// required, and of the others.
json::CValue Cloud(const study::TSample& sample, std::size_t figure, std::size_t input) {
  const std::vector<double>& x = sample.inputs[input];
  const std::vector<double>& y = sample.figures[figure];
  std::vector<std::size_t> order;
  for (std::size_t run = 0; run < y.size(); run += y.size() / kMostPoints + 1) {
    if (!std::isnan(y[run])) order.push_back(run);
  }
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return x[a] != x[b] ? x[a] < x[b] : a < b; });
  json::CValue points = json::CValue::Array();
  for (const std::size_t run : order) {
    json::CValue point = json::CValue::Array();
    point.Append(x[run]);
    point.Append(sample.met[run] ? json::CValue(y[run]) : json::CValue());
    point.Append(sample.met[run] ? json::CValue() : json::CValue(y[run]));
    points.Append(std::move(point));
  }
  return points;
}

std::string StudyTable(const std::vector<std::vector<std::string>>& rows) {
  std::string text = "<div class=\"scroll\"><table>\n";
  for (const auto& row : rows) {
    text += "<tr>";
    for (const std::string& cell : row) {
      text += (&row == &rows[0] ? "<th>" : "<td>") + Escaped(cell) + (&row == &rows[0] ? "</th>" : "</td>");
    }
    text += "</tr>\n";
  }
  return text + "</table></div>\n";
}

std::string StudyPlot(const std::string& id, const std::string& heading, bool hasLegend) {
  const std::string legend = hasLegend ? "<div class=\"legend\" id=\"" + id + "-legend\"></div>\n" : "";
  return "<h3>" + Escaped(heading) + "</h3>\n" + legend + "<div class=\"plot low\" id=\"" + id + "\"></div>\n";
}

}  // namespace

bool WriteStudyReport(const study::TSite& site, const study::TPlan& plan, const study::TStatistics& statistics,
                      const std::string& fileName, std::string* error) {
  page::TPage shown;
  shown.title = plan.definition.name;
  shown.language = Translated("page.language") == "page.language" ? "en" : Translated("page.language");
  shown.body = "<h1>" + Escaped(plan.definition.name) + "</h1>\n<p>" + Escaped(plan.file) + ", " +
               Spoken(Count(statistics.runs, "run")) + "</p>\n" + StudyTable(SpreadRows(plan, statistics));
  for (const std::string& line : OutcomeLines(plan, statistics)) shown.body += "<p>" + Escaped(line) + "</p>\n";
  const std::vector<std::string> commands = WorstCommands(plan, statistics);
  if (!commands.empty()) shown.body += "<h2>" + Escaped(WorstLabel(plan)) + "</h2>\n<pre>";
  for (const std::string& command : commands) shown.body += Escaped(command) + "\n";
  if (!commands.empty()) shown.body += "</pre>\n";
  shown.body += "<h2>" + Spoken("Worst, median and best run") + "</h2>\n";
  const bool isOfInstrument = plan.definition.figures[0].kind == study::TFigure::kOfInstrument;
  shown.body += StudyPlot("values", Translated("value"), true);
  if (isOfInstrument) shown.body += StudyPlot("outputs", Translated("output"), true);
  shown.body += "<h2>" + Spoken("What goes with what") +
                "</h2>\n<div class=\"legend\" id=\"lines-legend\"></div>\n<div class=\"scroll\" id=\"lines\"></div>\n";
  json::CValue figures = json::CValue::Array();
  shown.body += "<h2>" + Spoken("Distributions") + "</h2>\n";
  for (std::size_t i = 0; i < statistics.figures.size(); ++i) {
    const study::TFigureSpread& spread = statistics.figures[i];
    const std::string& name = plan.definition.figures[i].name;
    if (spread.count == 0) continue;
    json::CValue figure = {{"number", static_cast<std::uint64_t>(i)},
                           {"name", name},
                           {"bars", Distribution(statistics.sample.figures[i], spread)}};
    shown.body += StudyPlot("bars-" + std::to_string(i), name, false);
    if (spread.input) {
      const std::string& input = plan.definition.inputs[*spread.input].name;
      std::string heading = name;
      heading.append(" / ").append(input);
      shown.body += StudyPlot("cloud-" + std::to_string(i), heading, false);
      figure.Set("input", input);
      figure.Set("cloud", Cloud(statistics.sample, i, *spread.input));
    }
    figures.Append(std::move(figure));
  }
  shown.body += "<details><summary>dygraphs</summary><pre>" + Escaped(page::PlottingLicence()) + "</pre></details>\n";
  json::CValue words = json::CValue::Object();
  for (const char* word :
       {"wish", "runs", "What goes with what", "meets what is required", "doesn't meet it", "time, s", "time, h:min"})
    words.Set(word, Translated(word));
  const json::CValue data = {{"words", std::move(words)},
                             {"required", plan.definition.required.IsGiven()},
                             {"curves", StudyCurves(site, plan, statistics)},
                             {"across", StudyLines(plan, statistics)},
                             {"figures", std::move(figures)}};
  shown.data = page::ScriptText(data.Text());
  shown.scripts = page::PlottingScripts();
  shown.scripts.push_back(StudyScript());
  return WriteWholeFile(fileName, page::Document(shown), error);
}

}  // namespace workbench
