#include "workbench/run/summary.h"

#include <algorithm>
#include <cmath>

#include "workbench/text.h"

namespace workbench {
namespace {

constexpr double kSettlingBand = 0.02;  // of the change

std::string Product(const std::string& unit, const char* further) {
  return unit.empty() ? further : unit + "·" + further;
}

std::string SettlingText(const CRegulatorSummary& summary) {
  const auto time = summary.SettlingTime();
  return time ? Quantity(*time, "s") : "not settled";
}

std::string OvershootText(const CRegulatorSummary& summary, const std::string& unit) {
  const TOvershoot overshoot = summary.Overshoot();
  return Quantity(overshoot.amount, overshoot.isShare ? "%" : unit);
}

std::string OutsideText(const CRegulatorSummary& summary) {
  const auto time = summary.OutsideBand();
  if (!time) return "not known";
  return Quantity(*time, "s") + " (" + Quantity(*summary.OutsideBandShare(), "%") + ")";
}

}  // namespace

void CRegulatorSummary::Feed(const TSample& sample) {
  const double error = sample.wish - sample.value;
  absoluteError += std::fabs(error) * period;
  squaredError += error * error * period;
  if (sample.output > 0.0) ++plusSteps;
  if (sample.output < 0.0) ++minusSteps;
  if (periods > 0) {
    outputTravel += std::fabs(sample.output - last.output);
    if (sample.output != last.output) ++switchings;
  }
  if (sample.band) {
    bandKnown = true;
    if (sample.value > sample.wish + sample.band->plus || sample.value < sample.wish - sample.band->minus)
      ++outsidePeriods;
  }
  FollowWish(sample);
  FollowValue(sample);
  last = sample;
  ++periods;
}

void CRegulatorSummary::FollowWish(const TSample& sample) {
  const bool changed = periods > 0 && sample.wish != last.wish;
  if (periods == 0) {
    changeFrom = sample.value;
  } else if (changed && !wishChangedJust) {
    changeFrom = last.wish;
  }
  if (periods == 0 || changed) {
    changeTo = sample.wish;
    changeTime = sample.time;
    excursion = 0.0;
    settled.reset();
  }
  wishChanged = wishChanged || changed;
  wishChangedJust = changed;
}

void CRegulatorSummary::FollowValue(const TSample& sample) {
  const double change = changeTo - changeFrom;
  const double beyond = sample.value - changeTo;
  // Without a direction, as when a ramp came back, either side counts.
  const double signedBeyond = change > 0.0 ? beyond : change < 0.0 ? -beyond : std::fabs(beyond);
  excursion = std::max(excursion, signedBeyond);
  if (std::fabs(beyond) > kSettlingBand * std::fabs(change)) {
    settled.reset();
  } else if (!settled) {
    settled = sample.time;
  }
}

TOvershoot CRegulatorSummary::Overshoot() const {
  const double change = std::fabs(changeTo - changeFrom);
  if (!wishChanged || change == 0.0) return {excursion, false};
  return {excursion / change * 100.0, true};
}

std::optional<double> CRegulatorSummary::SettlingTime() const {
  if (!settled) return std::nullopt;
  return *settled - changeTime;
}

double CRegulatorSummary::Share(std::uint64_t part) const {
  return periods == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(periods) * 100.0;
}

std::optional<double> CRegulatorSummary::OutsideBand() const {
  if (!bandKnown) return std::nullopt;
  return static_cast<double>(outsidePeriods) * period;
}

std::optional<double> CRegulatorSummary::OutsideBandShare() const {
  if (!bandKnown) return std::nullopt;
  return Share(outsidePeriods);
}

std::vector<std::vector<std::string>> ReportRows(const CRegulatorSummary& summary, const TRegulatorReport& report) {
  const std::string& unit = report.quantityUnit;
  const std::string finalError = Quantity(summary.FinalError(), unit);
  std::vector<std::vector<std::string>> rows;
  switch (report.kind) {
    case ERegulatorKind::kContinuous:
      rows.push_back({"final error", finalError, "IAE", Quantity(summary.AbsoluteError(), Product(unit, "s")), "ISE",
                      Quantity(summary.SquaredError(), Product(unit.empty() ? unit : unit + "²", "s"))});
      rows.push_back({"overshoot", OvershootText(summary, unit), "settling time (2 %)", SettlingText(summary),
                      "output travel", Quantity(summary.OutputTravel(), report.outputUnit)});
      break;
    case ERegulatorKind::kTwoState:
      rows.push_back({"final error", finalError, "outside the band", OutsideText(summary)});
      rows.push_back({"switchings", std::to_string(summary.Switchings()), "duty", Quantity(summary.Duty(), "%")});
      break;
    case ERegulatorKind::kIncremental:
      rows.push_back({"final error", finalError, "outside the band", OutsideText(summary)});
      rows.push_back({"steps",
                      std::to_string(summary.PlusSteps()) + " plus, " + std::to_string(summary.MinusSteps()) + " minus",
                      "valve travel", Quantity(summary.ValveTravel(), "s")});
      break;
  }
  if (report.wishLimited > 0 || report.valueLimited > 0) {
    rows.push_back(
        {"wish limited", Count(report.wishLimited, "period"), "value limited", Count(report.valueLimited, "period")});
  }
  return rows;
}

}  // namespace workbench
