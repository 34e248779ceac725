#include "workbench/report/tune_report.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <iterator>
#include <numbers>
#include <utility>

#include "json/json.h"
#include "page/page.h"
#include "painting/plot.h"
#include "workbench/report/report_assets.h"
#include "workbench/text.h"
#include "workbench/version.h"
#include "workbench/whole_file.h"

namespace workbench {
namespace {

using json::CValue;
using runtime::Translated;

constexpr std::uint32_t kModelColor = 0x00A0A0A0;
constexpr std::uint32_t kProposedColor = painting::kPlotColors[0];
constexpr std::uint32_t kNowColor = painting::kPlotColors[1];
constexpr std::uint32_t kFitColor = painting::kPlotColors[1];
constexpr std::uint32_t kOutputColor = painting::kPlotColors[2];
constexpr std::size_t kAnswerPoints = 400;  // of an answer
constexpr int kAnswerPeriods = 20'000;      // of an answer
constexpr int kFrequencies = 200;
constexpr double kDecades = 3.0;        // of them
constexpr double kNyquistRadius = 4.0;  // what is drawn of the loop's gain
constexpr double kTradedMs[] = {1.2, 1.3, 1.4, 1.5, 1.6, 1.7, 1.85, 2.0};

CValue Rounded(const std::vector<double>& numbers) {
  CValue list = CValue::Array();
  // Six digits are more than a pixel, and half of the page.
  for (const double number : numbers) {
    const double digit = std::pow(10.0, 5.0 - std::floor(std::log10(std::max(std::abs(number), 1e-12))));
    list.Append(std::isfinite(number) ? CValue(std::round(number * digit) / digit) : CValue());
  }
  return list;
}

// A curve without a name is one of many models.
CValue NamedCurve(const std::string& name, std::uint32_t color, const std::vector<double>& y, bool holds, bool dashed) {
  return {{"name", Translated(name)},
          {"color", page::Color(color)},
          {"holds", holds},
          {"dash", dashed ? CValue::ArrayOf(std::vector<int>{6, 4}) : CValue()},
          {"y", Rounded(y)}};
}

struct TSpan {
  double low = 0.0;
  double high = 0.0;
};

class CTunePage {
 public:
  CTunePage(const TTuneResult& theResult, const std::vector<TLoopRecord>& theRecords,
            const tuning::TTuneOptions& theOptions)
      : result(theResult), records(theRecords), options(theOptions) {}

  std::string Text();

 private:
  void Records();
  void Responses();
  void Response(const std::string& heading, double wish, double load);
  void Frequencies();
  void Trade();
  // Adds a plot to the page; `kind` is time, frequency or plain.
  void Plot(const char* kind, const std::string& xLabel, const std::string& unit, const std::vector<double>& x,
            CValue curves, bool low, std::optional<TSpan> range = {});
  void Heading(const std::string& text) { body += "<h2>" + page::Escaped(Translated(text)) + "</h2>\n"; }
  int PeriodsOf(const tuning::TController& controller) const;

  const TTuneResult& result;
  const std::vector<TLoopRecord>& records;
  const tuning::TTuneOptions& options;
  std::string body;
  CValue plots = CValue::Array();
  CValue nyquist;
  std::size_t plotCount = 0;
};

std::string CTunePage::Text() {
  const std::string& name = result.loop.instrument.Name();
  const std::string title = Translated("tuning of " + name);
  body = "<h1>" + page::Escaped(title) + "</h1>\n<pre>" + page::Escaped(result.Text()) + "</pre>\n";
  if (result.estimate != nullptr) {
    Records();
    if (result.proposed) {
      Responses();
      Frequencies();
      Trade();
    }
  }
  body += "<details><summary>Loopbox " + std::string(kProgramVersion) + "; " +
          page::Escaped(Translated("plots by dygraphs")) + "</summary><pre>" + page::Escaped(page::PlottingLicence()) +
          "</pre></details>\n";
  CValue words = CValue::Object();
  for (const char* word : {"time, s", "time, h:min"}) words.Set(word, Translated(word));
  page::TPage shown;
  shown.title = title;
  if (const std::string language = Translated(kPageLanguageKey); language != kPageLanguageKey)
    shown.language = language;
  shown.styles = {TuneReportStyle()};
  shown.body = body;
  shown.data = page::ScriptText(CValue({{"words", words}, {"plots", plots}, {"nyquist", nyquist}}).Text());
  shown.scripts = page::PlottingScripts();
  shown.scripts.push_back(TuneReportScript());
  return page::Document(shown);
}

void CTunePage::Plot(const char* kind, const std::string& xLabel, const std::string& unit, const std::vector<double>& x,
                     CValue curves, bool low, std::optional<TSpan> range) {
  body += "<div class=\"legend\"></div>\n<div class=\"plot" + std::string(low ? " low" : "") + "\" id=\"plot-" +
          std::to_string(plotCount++) + "\"></div>\n";
  plots.Append({{"kind", kind},
                {"xLabel", Translated(xLabel)},
                {"unit", unit},
                {"x", Rounded(x)},
                {"curves", std::move(curves)},
                {"low", range ? CValue(range->low) : CValue()},
                {"high", range ? CValue(range->high) : CValue()}});
}

// --- Records -------------------------------------------------------------------------------

void CTunePage::Records() {
  for (std::size_t i = 0; i < records.size(); ++i) {
    const TLoopRecord& record = records[i];
    const std::vector<double>& fitted = result.estimate->fitted[i];
    std::vector<double> times;
    std::vector<double> values = record.rows.output;
    std::vector<double> residuals;
    for (std::size_t row = 0; row < values.size(); ++row) {
      times.push_back(record.begin + static_cast<double>(row) * record.rows.period);
      if (record.rows.used[row] == 0) values[row] = std::nan("");
      residuals.push_back(values[row] - fitted[row]);
    }
    body += "<section>\n<h2>" + page::Escaped(record.path) + "</h2>\n";
    CValue curves = CValue::Array();
    curves.Append(NamedCurve("value", kProposedColor, values, false, false));
    curves.Append(NamedCurve("model", kFitColor, fitted, false, true));
    Plot("time", "", result.loop.instrument.QuantityUnit(), times, std::move(curves), false);
    curves = CValue::Array();
    curves.Append(NamedCurve("value less model", kProposedColor, residuals, false, false));
    Plot("time", "", result.loop.instrument.QuantityUnit(), times, std::move(curves), true);
    curves = CValue::Array();
    curves.Append(NamedCurve("output", kOutputColor, record.rows.input, true, false));
    Plot("time", "", result.loop.instrument.OutputUnit(), times, std::move(curves), true);
    body += "</section>\n";
  }
}

// --- Answers to steps -----------------------------------------------------------------------

// Until all has settled, as far as a loop's own times tell.
int CTunePage::PeriodsOf(const tuning::TController& controller) const {
  const tuning::TApparent apparent = tuning::Apparent(result.estimate->model);
  const double seconds = 12.0 * std::max(apparent.deadTime, controller.period) + 6.0 * controller.tI;
  return static_cast<int>(std::clamp(seconds / controller.period, 50.0, double{kAnswerPeriods}));
}

void CTunePage::Responses() {
  body += "<section>\n";
  Response("A step of the wish by 1", 1.0, 0.0);
  Response("A step of the load by " +
               Significant(tuning::DesignLoad(result.estimate->model, result.proposed->controller.period)),
           0.0, tuning::DesignLoad(result.estimate->model, result.proposed->controller.period));
  body += "</section>\n";
}

void CTunePage::Response(const std::string& heading, double wish, double load) {
  const tuning::TController& controller = result.proposed->controller;
  const int periods = PeriodsOf(controller);
  const double end = static_cast<double>(periods) * controller.period;
  std::vector<double> times;
  const std::size_t points = std::min(kAnswerPoints, static_cast<std::size_t>(periods));
  for (std::size_t i = 0; i < points; ++i) times.push_back(end * static_cast<double>(i) / static_cast<double>(points));
  CValue values = CValue::Array();
  CValue outputs = CValue::Array();
  // At those times, each of its own period.
  const auto add = [&](const tuning::TController& one, const tuning::TModel& model, const std::string& name,
                       std::uint32_t color, bool dashed) {
    const int count = static_cast<int>(std::ceil(end / one.period)) + 1;
    const tuning::TResponse response = tuning::Response(one, tuning::Sample(model, one.period), wish, load, count);
    std::vector<double> value;
    std::vector<double> output;
    for (const double time : times) {
      const auto at = static_cast<std::size_t>(time / one.period);
      value.push_back(response.value[at]);
      output.push_back(response.output[at]);
    }
    values.Append(NamedCurve(name, color, value, false, dashed));
    outputs.Append(NamedCurve(name, color, output, true, dashed));
  };
  const std::vector<tuning::TModel>& set = result.estimate->set;
  for (std::size_t i = 1; i < set.size(); ++i) add(controller, set[i], "", kModelColor, false);
  add(controller, set[0], "proposed", kProposedColor, false);
  if (result.now && result.now->nominal.stable) add(result.now->controller, set[0], "now", kNowColor, true);
  Heading(heading);
  Plot("time", "", result.loop.instrument.QuantityUnit(), times, std::move(values), false);
  Plot("time", "", result.loop.instrument.OutputUnit(), times, std::move(outputs), true);
}

// --- Frequencies ------------------------------------------------------------------------------

void CTunePage::Frequencies() {
  const double highest = std::numbers::pi / result.proposed->controller.period;
  std::vector<double> decades;
  decades.reserve(kFrequencies);
  for (int i = 0; i < kFrequencies; ++i) {
    decades.push_back(std::log10(highest) - kDecades * (1.0 - (static_cast<double>(i) + 0.5) / kFrequencies));
  }
  CValue magnitudes = CValue::Array();
  CValue phases = CValue::Array();
  CValue planes = CValue::Array();
  const auto add = [&](const tuning::TController& controller, const tuning::TModel& model, const std::string& name,
                       std::uint32_t color, bool dashed) {
    const tuning::TSampledModel sampled = tuning::Sample(model, controller.period);
    std::vector<double> magnitude;
    std::vector<double> phase;
    CValue points = CValue::Array();
    double before = 0.0;
    for (const double decade : decades) {
      const double omega = std::pow(10.0, decade);
      if (omega > std::numbers::pi / controller.period) {
        magnitude.push_back(std::nan(""));
        phase.push_back(std::nan(""));
        continue;
      }
      const std::complex<double> gain = tuning::LoopGain(controller, sampled, omega);
      magnitude.push_back(20.0 * std::log10(std::abs(gain)));
      double angle = std::arg(gain) * 180.0 / std::numbers::pi;
      // The gain of two integrators begins at -180°.
      if (phase.empty() && angle > 0.0) angle -= 360.0;
      while (!phase.empty() && angle > before + 180.0) angle -= 360.0;
      while (!phase.empty() && angle < before - 180.0) angle += 360.0;
      before = angle;
      phase.push_back(angle);
      if (std::abs(gain) < kNyquistRadius) points.Append(Rounded({gain.real(), gain.imag()}));
    }
    magnitudes.Append(NamedCurve(name, color, magnitude, false, dashed));
    phases.Append(NamedCurve(name, color, phase, false, dashed));
    planes.Append({{"name", Translated(name)},
                   {"color", page::Color(color)},
                   {"dash", dashed ? CValue::ArrayOf(std::vector<int>{6, 4}) : CValue()},
                   {"points", std::move(points)}});
  };
  const std::vector<tuning::TModel>& set = result.estimate->set;
  for (std::size_t i = 1; i < set.size(); ++i) add(result.proposed->controller, set[i], "", kModelColor, false);
  add(result.proposed->controller, set[0], "proposed", kProposedColor, false);
  if (result.now) add(result.now->controller, set[0], "now", kNowColor, true);
  body += "<section>\n";
  Heading("The loop's gain");
  Plot("frequency", "frequency, rad/s", "dB", decades, std::move(magnitudes), false);
  Plot("frequency", "frequency, rad/s", "°", decades, std::move(phases), false, TSpan{-360.0, 0.0});
  body += "</section>\n<section>\n";
  Heading("The same in the plane");
  body += "<div class=\"legend\"></div>\n<canvas id=\"nyquist\"></canvas>\n</section>\n";
  nyquist = {{"ms", options.nominalMs}, {"curves", std::move(planes)}};
}

// --- The trade ----------------------------------------------------------------------------------

// What other bounds on the sensitivity would give.
void CTunePage::Trade() {
  const tuning::TController& controller = result.proposed->controller;
  const std::vector<tuning::TModel>& set = result.estimate->set;
  const TLoopModels models = SampledModels(*result.estimate, controller.period);
  tuning::TDesignOptions design;
  design.law = controller.law;
  design.lag = controller.lag;
  design.period = controller.period;
  design.derivative = controller.tD > 0.0;
  std::vector<double> bounds;
  std::vector<double> wishes;
  std::vector<double> loads;
  std::string rows;
  for (const double bound : kTradedMs) {
    design.nominalMs = bound;
    const std::optional<tuning::TController> found = tuning::Design(set, design);
    if (!found) continue;
    const TJudged judged = Judge(*found, models);
    bounds.push_back(bound);
    wishes.push_back(judged.cost.setPoint);
    loads.push_back(judged.cost.load);
    rows += "<tr>";
    for (const double number :
         {bound, found->r0, found->tI, found->tD, judged.cost.setPoint, judged.cost.load, judged.worst.ms}) {
      rows += "<td>" + Significant(number) + "</td>";
    }
    rows += "</tr>\n";
  }
  CValue curves = CValue::Array();
  curves.Append(NamedCurve("cost of a wish's step", kProposedColor, wishes, false, false));
  curves.Append(NamedCurve("cost of a load's step", kOutputColor, loads, false, false));
  body += "<section>\n";
  Heading("What a bound on the sensitivity costs");
  if (bounds.size() > 1) Plot("plain", "bound on Ms", "", bounds, std::move(curves), false);
  body += "<table><tr>";
  for (const char* heading :
       {"bound on Ms", "r0", "tI", "tD", "cost of a wish's step", "cost of a load's step", "Ms at worst"}) {
    body += "<th>" + page::Escaped(Translated(heading)) + "</th>";
  }
  body += "</tr>\n" + rows + "</table>\n</section>\n";
}

}  // namespace

bool WriteTuneReport(const std::string& fileName, const TTuneResult& result, const std::vector<TLoopRecord>& records,
                     const tuning::TTuneOptions& options, std::string* error) {
  return WriteWholeFile(fileName, CTunePage(result, records, options).Text(), error);
}

}  // namespace workbench
