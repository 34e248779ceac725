#include "workbench/run/summary.h"

#include <cmath>

#include "runtime/runtime.h"
#include "workbench/text.h"

namespace workbench {
namespace {

using runtime::Translated;

constexpr char kNoFigure[] = "–";

std::string Product(const std::string& unit, const char* further) {
  return unit.empty() ? further : unit + "·" + further;
}

std::string Square(const std::string& unit) { return unit.empty() ? unit : unit + "²"; }

std::string Text(const std::optional<double>& figure, const std::string& unit) {
  return figure ? Quantity(*figure, unit) : kNoFigure;
}

std::string Whole(const std::optional<double>& count) {
  return count ? std::to_string(std::llround(*count)) : kNoFigure;
}

std::string SettlingText(const TFigures& figures) {
  return figures.responds && !figures.settling ? Translated("not settled") : Text(figures.settling, "s");
}

std::string OvershootText(const TFigures& figures, const std::string& unit) {
  return figures.overshootPercent ? Text(figures.overshootPercent, "%") : Text(figures.overshoot, unit);
}

std::string OutsideText(const TFigures& figures) {
  if (!figures.outsideBand) return Translated("not known");
  return Text(figures.outsideBand, "s") + " (" + Text(figures.outsideBandPercent, "%") + ")";
}

std::string LimitedText(const std::optional<double>& seconds, double rowSeconds) {
  return Translated(Count(static_cast<std::uint64_t>(std::llround(*seconds / rowSeconds)), "period")) + " (" +
         Text(seconds, "s") + ")";
}

}  // namespace

std::vector<std::vector<std::string>> FigureRows(ERegulatorKind kind, const TFigures& figures,
                                                 const TFigureUnits& units) {
  const std::string& unit = units.quantity;
  std::vector<std::vector<std::string>> rows;
  const std::string finalError = Text(figures.finalError, unit);
  switch (kind) {
    case ERegulatorKind::kContinuous:
      rows.push_back({"final error", finalError, "IAE", Text(figures.absoluteError, Product(unit, "s")), "ISE",
                      Text(figures.squaredError, Product(Square(unit), "s"))});
      // A wish that moves is followed: there is no change to answer.
      rows.push_back(figures.overshoot ? std::vector<std::string>{"overshoot", OvershootText(figures, unit),
                                                                  "settling time (2 %)", SettlingText(figures)}
                                       : std::vector<std::string>{"mean error", Text(figures.meanError, unit),
                                                                  "largest error", Text(figures.largestError, unit)});
      rows.back().insert(rows.back().end(), {"output travel", Text(figures.travel, units.output)});
      break;
    case ERegulatorKind::kTwoState:
      rows.push_back({"final error", finalError, "outside the band", OutsideText(figures)});
      rows.push_back({"switchings", Whole(figures.switchings), "duty", Text(figures.duty, "%")});
      break;
    case ERegulatorKind::kIncremental:
      rows.push_back({"final error", finalError, "outside the band", OutsideText(figures)});
      rows.push_back({"steps", Translated(Whole(figures.plusSteps) + " plus, " + Whole(figures.minusSteps) + " minus"),
                      "valve travel", Text(figures.valveTravel, "s")});
      break;
  }
  std::vector<std::string> ends;
  if (figures.wishLimited.value_or(0.0) > 0.0 || figures.valueLimited.value_or(0.0) > 0.0) {
    ends = {"wish limited", LimitedText(figures.wishLimited, units.rowSeconds), "value limited",
            LimitedText(figures.valueLimited, units.rowSeconds)};
  }
  if (figures.saturated.value_or(0.0) > 0.0) ends.insert(ends.end(), {"saturated", Text(figures.saturated, "s")});
  if (!ends.empty()) rows.push_back(std::move(ends));
  for (auto& row : rows) {
    for (std::size_t label = 0; label < row.size(); label += 2) row[label] = Translated(std::move(row[label]));
  }
  return rows;
}

std::vector<std::vector<std::string>> WindowRows(ERegulatorKind kind, const std::vector<TWindow>& windows,
                                                 const TFigureUnits& units) {
  std::vector<std::string> heading = {"window", "from", "to", "final error", "largest error"};
  switch (kind) {
    case ERegulatorKind::kContinuous:
      heading.insert(heading.end(), {"IAE", "overshoot", "settling", "travel"});
      break;
    case ERegulatorKind::kTwoState:
      heading.insert(heading.end(), {"outside the band", "switchings", "duty"});
      break;
    case ERegulatorKind::kIncremental:
      heading.insert(heading.end(), {"outside the band", "plus", "minus", "valve travel"});
      break;
  }
  for (std::string& label : heading) label = Translated(std::move(label));
  std::vector<std::vector<std::string>> rows = {std::move(heading)};
  for (const TWindow& window : windows) {
    const TFigures& figures = window.figures;
    std::vector<std::string> row = {window.isWish ? Translated(window.name) : window.name, Seconds(window.from) + " s",
                                    Seconds(window.to) + " s", Text(figures.finalError, ""),
                                    Text(figures.largestError, "")};
    switch (kind) {
      case ERegulatorKind::kContinuous:
        row.insert(row.end(), {Text(figures.absoluteError, ""), OvershootText(figures, units.quantity),
                               SettlingText(figures), Text(figures.travel, "")});
        break;
      case ERegulatorKind::kTwoState:
        row.insert(row.end(), {OutsideText(figures), Whole(figures.switchings), Text(figures.duty, "%")});
        break;
      case ERegulatorKind::kIncremental:
        row.insert(row.end(), {OutsideText(figures), Whole(figures.plusSteps), Whole(figures.minusSteps),
                               Text(figures.valveTravel, "s")});
        break;
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace workbench
