#include "study/one_case.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "study/sampling.h"

namespace study {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// An element at the ends of the periods.
struct TWatched {
  runtime::TItem item;
  TFigure::EKind kind;
  double value = kNone;  // so far; of a mean the sum
  std::uint64_t periods = 0;

  void Observe(const runtime::CApplication& application) {
    const double now = application.ElementValue(item.element, item.item);
    const bool isFirst = periods++ == 0;
    if (isFirst || kind == TFigure::kFinal) {
      value = now;
    } else if (kind == TFigure::kMean) {
      value += now;
    } else {
      value = kind == TFigure::kMin ? std::min(value, now) : std::max(value, now);
    }
  }
  double Figure() const { return kind == TFigure::kMean ? value / static_cast<double>(periods) : value; }
};

// The figures of a run while it goes on.
class CWatch {
 public:
  CWatch(const TSite& site, const std::vector<TFigure>& theFigures, const runtime::CApplication& theApplication)
      : figures(theFigures), application(theApplication) {
    std::vector<TFigure> ofInstruments;
    for (const TFigure& figure : figures) {
      if (figure.kind == TFigure::kOfInstrument) ofInstruments.push_back(figure);
      if (figure.kind != TFigure::kOfInstrument) elements.push_back({figure.item, figure.kind});
    }
    if (!ofInstruments.empty()) measure = site.measure(application, ofInstruments);
  }

  void Observe() {
    for (TWatched& element : elements) element.Observe(application);
    if (measure) measure->Observe();
  }

  std::vector<double> Figures() const {
    std::vector<double> values;
    std::size_t element = 0;
    std::size_t ofInstrument = 0;
    for (const TFigure& figure : figures) {
      const double value =
          figure.kind == TFigure::kOfInstrument ? measure->Figure(ofInstrument++) : elements[element++].Figure();
      values.push_back(std::isfinite(value) ? value : kNone);
    }
    return values;
  }

 private:
  const std::vector<TFigure>& figures;
  const runtime::CApplication& application;
  std::vector<TWatched> elements;
  std::unique_ptr<CMeasure> measure;
};

std::string FirstError(const std::vector<runtime::TDiagnostic>& diagnostics) {
  for (const runtime::TDiagnostic& diagnostic : diagnostics) {
    if (diagnostic.kind == runtime::TDiagnostic::kError) return diagnostic.message;
  }
  return "can't be read";
}

}  // namespace

bool CCaseRunner::MakeReady(const TCase& one) {
  runtime::TReadOptions reading;
  reading.path = plan.file;
  reading.text = plan.text;
  reading.folder = plan.folder;
  reading.seed = one.seed;
  reading.keepsLearnt = false;
  for (std::size_t i = 0; i < one.values.size(); ++i) {
    reading.initialValues.emplace_back(plan.definition.inputs[i].name, one.values[i]);
  }
  if (!readsAnew && application && application->Restart(reading.initialValues, one.seed)) return true;
  reading.restarts = !readsAnew;
  application.reset();
  units.emplace(plan.folder);
  units->AddTo(&reading);
  std::vector<runtime::TDiagnostic> diagnostics;
  application = runtime::CApplication::Read(reading, site.plugin, &diagnostics);
  if (!application || !units->Check(*application, &diagnostics)) failure = FirstError(diagnostics);
  if (failure.empty() && units->Open(*application, &failure)) return true;
  application.reset();
  return false;
}

TOutcome CCaseRunner::Run(const TCase& one, const std::function<void(runtime::CApplication&)>& watch) {
  failure.clear();
  if (!MakeReady(one)) return {{}, failure};
  application->SetMessageSink([this](const runtime::TRunTimeMessage& message) {
    if (!failure.empty()) return;
    failure = "t=" + NumberText(message.time) + " s" + (message.instrument.empty() ? "" : " " + message.instrument) +
              ": " + message.text;
  });
  CWatch figures(site, plan.definition.figures, *application);
  if (watch) watch(*application);
  while (failure.empty() && application->Step()) {
    figures.Observe();
    if (watch) watch(*application);
  }
  application->End();
  if (failure.empty()) failure = application->LinkError();
  if (!failure.empty()) return {{}, failure};
  return {figures.Figures(), ""};
}

std::string RowOf(const TPlan& plan, std::uint64_t number, const TOutcome& outcome) {
  std::string row = std::to_string(number);
  for (std::size_t i = 0; i < plan.definition.figures.size(); ++i) {
    row += ",";
    if (i < outcome.figures.size() && !std::isnan(outcome.figures[i])) row += NumberText(outcome.figures[i]);
  }
  row += "," + outcome.failure;
  std::replace_if(
      row.begin(), row.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return row;
}

}  // namespace study
