#include "tuning/certificate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace tuning {

namespace {

constexpr double kLeastTValue = 5.0;  // of the gain
constexpr double kWhite = 1.5;        // inflation that residuals of noise alone stay below
constexpr double kCertain = 1.2;      // regret
constexpr double kOpen = 1.3;
constexpr double kQuiet = 0.02;  // noise at the output, of its range
constexpr double kSeen = 1e-3;   // noise of the value, of what it moves over
constexpr int kRelayRows = 800;  // about 20 cycles
constexpr int kLongRows = 2400;
constexpr int kRootDegree = 60;

template <typename... TArguments>
std::string Text(const char* format, TArguments... arguments) {
  char text[512];
  std::snprintf(text, sizeof(text), format, arguments...);
  return text;
}

struct TExtent {
  double low = 0;
  double high = 0;
  double Width() const { return high - low; }
};

TExtent Extent(const std::vector<double>& v) {
  const auto [low, high] = std::minmax_element(v.begin(), v.end());
  return {*low, *high};
}

std::vector<double> UsedValues(const TRecord& record) {
  std::vector<double> values;
  for (std::size_t i = 0; i < record.output.size(); ++i) {
    if (record.used[i]) values.push_back(record.output[i]);
  }
  return values;
}

bool Moves(const TRecord& record) {
  return std::adjacent_find(record.input.begin(), record.input.end(), std::not_equal_to<>()) != record.input.end();
}

// Whether the input went back and forth, as a relay's does.
bool Alternates(const TRecord& record) {
  constexpr int kSwitches = 8;
  int switches = 0;
  for (std::size_t i = 1; i < record.input.size(); ++i) switches += record.input[i] != record.input[i - 1];
  return switches >= kSwitches;
}

// What can be said of records without a model.
void RefuseLimits(const std::vector<TRecord>& records, const TTuneOptions& o, std::vector<std::string>* refused) {
  const double nearOutput = 1e-9 * (o.outputHigh - o.outputLow);
  const double nearValue = 1e-9 * (o.valueHigh - o.valueLow);
  std::size_t rows = 0;
  std::size_t limited = 0;
  std::size_t off = 0;
  for (const TRecord& record : records) {
    rows += record.input.size();
    for (const double u : record.input) limited += u <= o.outputLow + nearOutput || u >= o.outputHigh - nearOutput;
    for (const double y : UsedValues(record)) off += y <= o.valueLow + nearValue || y >= o.valueHigh - nearValue;
  }
  if (2 * limited > rows) {
    refused->push_back(
        Text("The output is at a limit of %g to %g in %.0f %% of the rows, more than half: record an experiment of a "
             "smaller amplitude, or from another output.",
             o.outputLow, o.outputHigh, 100.0 * static_cast<double>(limited) / static_cast<double>(rows)));
  }
  if (off > 0) {
    refused->push_back(
        Text("The value is at a limit of its pane of %g to %g in %.0f rows, where nobody knows what it was: widen the "
             "pane, or record an experiment of a smaller amplitude.",
             o.valueLow, o.valueHigh, static_cast<double>(off)));
  }
}

// What speaks against the records once a model is fitted. What is left of a clean record is rounding.
void RefuseResiduals(const TEstimate& e, bool noisy, std::vector<std::string>* refused) {
  const double most = std::max({e.loadStep, e.drift, e.notAtRest});
  if (most > 0) {
    const char* what = most == e.loadStep ? "A step of the load within the record"
                       : most == e.drift  ? "A drift of the value"
                                          : "A value that wasn't at rest when the record began";
    refused->push_back(
        Text("%s explains %.3g %% of what the model leaves: record the experiment again, from rest and without "
             "disturbances.",
             what, 100.0 * most));
  }
  if (noisy && e.inflation > kWhite) {
    refused->push_back(
        Text("What the model leaves is not noise alone (correlated, by a factor of %.2f, at most %.1f): a disturbance, "
             "a start that wasn't at rest, a drift, or a valve that sticks or is limited. Record the experiment again, "
             "with a greater amplitude.",
             e.inflation, kWhite));
  }
}

struct TChoice {
  ELaw law = ELaw::kTakahashi;
  double lag = 0;
  bool derivative = true;
};

// From the one that answers quickest to the one that lets the least noise through.
std::vector<TChoice> Choices(const TTuneOptions& options, bool noisy) {
  const ELaw law = options.law.value_or(noisy ? ELaw::kTakahashiDelay : ELaw::kTakahashi);
  if (options.lag) return {{law, *options.lag, true}};
  std::vector<TChoice> choices;
  for (const double lag : {0.0, 0.1, 0.2, 0.5}) {
    if (lag == 0.0 || HasLag(law)) choices.push_back({law, lag, true});
  }
  choices.push_back({law, 0.2, false});
  return choices;
}

TDesignOptions DesignOptions(const TChoice& choice, double period, double nominalMs) {
  TDesignOptions design;
  design.law = choice.law;
  design.lag = choice.lag;
  design.derivative = choice.derivative;
  design.period = period;
  design.nominalMs = nominalMs;
  design.worstMs = std::max(design.worstMs, nominalMs);
  return design;
}

// The first choice whose noise at the output is low enough, else the last one. The best model tells quickly which
// ones need no trying on all.
std::optional<TController> Choose(const TEstimate& estimate, const std::vector<TChoice>& choices, double period,
                                  const TTuneOptions& options) {
  const TSampledModel model = Sample(estimate.model, period);
  const double most = kQuiet * (options.outputHigh - options.outputLow);
  const auto isQuiet = [&](const std::optional<TController>& c) {
    return c && estimate.sigma * NoiseGain(*c, model) <= most;
  };
  std::optional<TController> found;
  for (const TChoice& choice : choices) {
    const bool last = &choice == &choices.back();
    const TDesignOptions design = DesignOptions(choice, period, options.nominalMs);
    if (!last && !isQuiet(Design({estimate.model}, design))) continue;
    found = Design(estimate.set, design);
    if (isQuiet(found)) break;
  }
  return found;
}

double RoundedDown(double x) {
  double decade = 1.0;
  while (decade > x) decade /= 10.0;
  while (10.0 * decade <= x) decade *= 10.0;
  double rounded = decade;
  for (const double digit : {1.5, 2.0, 2.5, 3.0, 4.0, 5.0, 6.0, 8.0}) {
    if (digit * decade <= x) rounded = digit * decade;
  }
  return rounded;
}

// theta/10; theta/5 with much noise; theta/3 without derivative.
double WantedPeriod(const TController& c, double theta) {
  const double share = c.tD == 0.0 ? 3.0 : HasLag(c.law) && c.lag >= 0.5 ? 5.0 : 10.0;
  return RoundedDown(theta / share);
}

bool IsStable(const TController& c, const TModel& model) {
  const TSampledModel sampled = Sample(model, c.period);
  if (!Margins(c, sampled).stable) return false;
  return sampled.delay > kRootDegree || IsStableByRoots(c, sampled);
}

struct TOpen {
  const char* name = "";
  const char* unit = "";
  TExtent extent;
  double share = 0;
};

// What the models of a set agree on least.
TOpen LeastKnown(const std::vector<TModel>& set) {
  std::vector<double> gains;
  std::vector<double> lags;
  std::vector<double> deadTimes;
  for (const TModel& model : set) {
    const TApparent a = Apparent(model);
    deadTimes.push_back(a.deadTime);
    gains.push_back(std::isinf(a.lag) ? a.gain : a.gain / (a.lag + a.deadTime));
    if (!std::isinf(a.lag)) lags.push_back(a.lag);
  }
  std::vector<TOpen> open = {{"the dead time", "s", Extent(deadTimes), 0}, {"the rate of rise", "", Extent(gains), 0}};
  if (!lags.empty()) open.push_back({"the lag", "s", Extent(lags), 0});
  for (TOpen& one : open) {
    one.share = one.extent.Width() / std::max(std::fabs(one.extent.low), std::fabs(one.extent.high));
  }
  return *std::max_element(open.begin(), open.end(), [](const TOpen& a, const TOpen& b) { return a.share < b.share; });
}

void AdvisePeriod(const TController& c, double theta, std::vector<std::string>* advice) {
  const double wanted = WantedPeriod(c, theta);
  if (c.period > 0.5 * theta) {
    advice->push_back(
        Text("The period of %g s is more than half of the apparent dead time of %.3g s: the loop answers later than it "
             "could. %g s would suit.",
             c.period, theta, wanted));
  } else if (c.period > 2.0 * wanted) {
    advice->push_back(Text("A period of %g s would suit the apparent dead time of %.3g s better than %g s.", wanted,
                           theta, c.period));
  }
}

void Certify(const TTuneOptions& options, bool alternates, TProposal* p) {
  const TController& c = *p->controller;
  const std::vector<TModel>& set = p->estimate.set;
  const TSampledModel nominal = Sample(set[0], c.period);
  p->nominal = Margins(c, nominal);
  for (const TModel& model : set) {
    const TMargins margins = Margins(c, Sample(model, c.period));
    p->worst.ms = std::max(p->worst.ms, margins.ms);
    if (margins.gain) p->worst.gain = std::min(p->worst.gain.value_or(*margins.gain), *margins.gain);
    if (margins.phase) p->worst.phase = std::min(p->worst.phase.value_or(*margins.phase), *margins.phase);
  }
  p->cost = Cost(c, nominal, DesignLoad(set[0], c.period));
  p->noiseAtOutput = p->estimate.sigma * NoiseGain(c, nominal);
  const TChoice choice = {c.law, c.lag, c.tD > 0.0};
  p->regret = Regret(c, set, DesignOptions(choice, c.period, options.nominalMs));
  if (!p->regret || *p->regret <= kCertain) return;
  p->ask = TAsk{EExperiment::kRelay, alternates ? kLongRows : kRelayRows};
  const TOpen open = LeastKnown(set);
  const std::string text = Text(
      "The records leave %s open, from %.3g to %.3g%s%s: the proposal may cost %.2f times as much as the best one. A "
      "relay experiment of %d rows would tell more.",
      open.name, open.extent.low, open.extent.high, *open.unit ? " " : "", open.unit, *p->regret, p->ask->rows);
  (*p->regret > kOpen ? p->refused : p->advice).push_back(text);
}

}  // namespace

std::optional<double> Regret(const TController& controller, const std::vector<TModel>& set,
                             const TDesignOptions& options) {
  double regret = 1.0;
  for (const TModel& model : set) {
    const TSampledModel sampled = Sample(model, options.period);
    const double load = DesignLoad(model, options.period);
    const double cost = Cost(controller, sampled, load).Sum();
    if (!std::isfinite(cost)) return std::nullopt;
    const std::optional<TController> best = Best(sampled, load, {controller}, options.worstMs, options.derivative);
    if (best) regret = std::max(regret, cost / Cost(*best, sampled, load).Sum());
  }
  return regret;
}

TProposal Propose(const TEstimate& e, const std::vector<TRecord>& records, const TTuneOptions& options) {
  TProposal p;
  p.estimate = e;
  double moved = 0;  // by the value
  for (const TRecord& record : records) moved = std::max(moved, Extent(UsedValues(record)).Width());
  const bool noisy = e.sigma > kSeen * moved;
  RefuseResiduals(e, noisy, &p.refused);
  if (!(e.gainTValue >= kLeastTValue)) {
    p.refused.push_back(Text(
        "The gain of %.3g is only %.1f times its standard deviation, at least %.0f are needed: record an experiment "
        "of a greater amplitude, or a longer one.",
        e.model.k, e.gainTValue, kLeastTValue));
    p.ask = TAsk{EExperiment::kRelay, kRelayRows};
    return p;
  }
  if (e.model.k < 0) {
    p.refused.push_back(Text(options.inverse
                                 ? "The gain of %.3g contradicts the flag inverse: the value rises with the "
                                   "output. Take the flag out, or see whether the value is another one."
                                 : "The gain of %.3g contradicts the regulator's direction: the value falls "
                                   "as the output rises. Add the flag inverse, or see whether the value is "
                                   "another one.",
                             e.model.k));
    return p;
  }

  const bool alternates = std::any_of(records.begin(), records.end(), Alternates);
  const std::vector<TChoice> choices = Choices(options, noisy);
  const double theta = Apparent(e.model).deadTime;
  p.controller = Choose(e, choices, options.period, options);
  if (!options.fixedPeriod && theta > 0) {
    const double wanted = WantedPeriod(p.controller.value_or(TController{}), theta);
    if (options.period > 2.0 * wanted || !p.controller) p.controller = Choose(e, choices, wanted, options);
  }
  if (!p.controller ||
      !std::all_of(e.set.begin(), e.set.end(), [&](const TModel& model) { return IsStable(*p.controller, model); })) {
    p.controller.reset();
    const TOpen open = LeastKnown(e.set);
    p.ask = TAsk{EExperiment::kRelay, alternates ? kLongRows : kRelayRows};
    p.refused.push_back(
        Text("No parameters keep the sensitivity below %.1f on all models that the records allow, which leave %s open, "
             "from %.3g to %.3g. A relay experiment of %d rows would tell more.",
             TDesignOptions{}.worstMs, open.name, open.extent.low, open.extent.high, p.ask->rows));
    return p;
  }
  Certify(options, alternates, &p);
  AdvisePeriod(*p.controller, theta, &p.advice);
  return p;
}

TProposal Tune(const std::vector<TRecord>& records, const TTuneOptions& options) {
  std::vector<TRecord> seen = records;
  if (options.inverse) {
    for (TRecord& record : seen) {
      for (double& u : record.input) u = options.outputLow + options.outputHigh - u;
    }
  }
  TProposal p;
  if (std::none_of(seen.begin(), seen.end(), Moves)) {
    p.refused.push_back(
        "The output keeps one level throughout: nothing can be learnt from that. Record an experiment.");
    p.ask = TAsk{EExperiment::kRelay, kRelayRows};
    return p;
  }
  std::vector<std::string> refused;
  RefuseLimits(seen, options, &refused);
  TEstimateOptions estimating;
  estimating.seed = options.seed;
  try {
    p = Propose(Estimate(seen, estimating), seen, options);
  } catch (const std::invalid_argument& e) {
    refused.push_back(e.what());
  }
  p.refused.insert(p.refused.begin(), refused.begin(), refused.end());
  return p;
}

}  // namespace tuning
