// A unit driven through its functions.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "fmu/fmu.h"
#include "fmu/loaded_unit.h"
#include "fmu/unit/number_text.h"
#include "processes/child.h"

namespace fmu {
namespace {

constexpr double kPatience = 20.0;  // seconds for a case
constexpr double kUsualStep = 0.1;  // seconds, of a unit that names none
constexpr int kSteps = 20;
constexpr int kShortSteps = 501;
constexpr std::size_t kLongestAnswer = 4000;

// What a case throws: why it failed or was skipped.
struct TVerdict {
  TCase::EOutcome outcome;
  std::string message;
};

[[noreturn]] void FailBy(const std::string& message) { throw TVerdict{TCase::kFailed, message}; }
[[noreturn]] void SkipBy(const std::string& message) { throw TVerdict{TCase::kSkipped, message}; }

void Expect(bool isRight, const std::string& message) {
  if (!isRight) FailBy(message);
}

// An instance, its inputs moved in a way that is always the same.
class CSession {
 public:
  CSession(const CLoadedUnit& theUnit, const std::string& name)
      : unit(theUnit), call(theUnit.Functions()), instance(theUnit, name, theUnit.Description().guid) {
    Expect(instance.Component() != nullptr, "it can't be instantiated: " + instance.Told());
  }

  fmi2Component Component() const { return instance.Component(); }
  double StepSize() const { return unit.Description().step.value_or(kUsualStep); }

  void Begin() {
    NeedWell(instance.Begin(0.0), "the initialisation");
    time = 0.0;
    steps = 0;
  }

  void Step(double step) {
    SetInputs();
    NeedWell(call.fmi2DoStep(Component(), time, step, 0), "a step at " + NumberText(time) + " s");
    time += step;
    ++steps;
  }

  // The outputs' values after so many steps more.
  std::vector<double> Run(int count) {
    std::vector<double> all;
    for (int i = 0; i < count; ++i) {
      Step(StepSize());
      const std::vector<double> now = Values("output");
      all.insert(all.end(), now.begin(), now.end());
    }
    return all;
  }

  std::vector<double> Values(const std::string& causality) const {
    std::vector<double> values;
    for (const TScalar& scalar : unit.Description().variables) {
      if (scalar.causality == causality && scalar.type != "String") values.push_back(Value(scalar));
    }
    return values;
  }

  double Value(const TScalar& scalar) const {
    double value = std::nan("");
    int whole = 0;
    const fmi2Status status = scalar.type == "Real" ? call.fmi2GetReal(Component(), &scalar.reference, 1, &value)
                              : scalar.type == "Boolean"
                                  ? call.fmi2GetBoolean(Component(), &scalar.reference, 1, &whole)
                                  : call.fmi2GetInteger(Component(), &scalar.reference, 1, &whole);
    NeedWell(status, "the value of " + scalar.name);
    return scalar.type == "Real" ? value : whole;
  }

  void NeedWell(fmi2Status status, const std::string& what) const {
    Expect(status == fmi2OK || status == fmi2Warning, what + " ends with status " + std::to_string(status) +
                                                          (instance.Told().empty() ? "" : ": " + instance.Told()));
  }

  const CLoadedUnit& unit;
  const TFunctions& call;
  double time = 0.0;
  int steps = 0;

 private:
  void SetInputs() const {
    for (const TScalar& scalar : unit.Description().variables) {
      if (scalar.causality != "input") continue;
      const double start = std::strtod(scalar.start.c_str(), nullptr);
      const double value = start + 0.1 * steps;
      const int whole = scalar.type == "Boolean" ? steps % 2 : static_cast<int>(start);
      fmi2Status status = fmi2OK;
      if (scalar.type == "Real") status = call.fmi2SetReal(Component(), &scalar.reference, 1, &value);
      if (scalar.type == "Integer") status = call.fmi2SetInteger(Component(), &scalar.reference, 1, &whole);
      if (scalar.type == "Boolean") status = call.fmi2SetBoolean(Component(), &scalar.reference, 1, &whole);
      NeedWell(status, "setting " + scalar.name);
    }
  }

  CLoadedInstance instance;
};

// Not of numbers that are none: then they are none in both.
bool AreSame(const std::vector<double>& a, const std::vector<double>& b) {
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    if (i >= a.size() || i >= b.size() || (a[i] != b[i] && !(std::isnan(a[i]) && std::isnan(b[i])))) return false;
  }
  return true;
}

// --- The cases -----------------------------------------------------------------------

void DescriptionKeepsRules(const CLoadedUnit& unit) {
  std::string all;
  for (const std::string& fault : Faults(unit.Description())) all += (all.empty() ? "" : "; ") + fault;
  Expect(all.empty(), all);
}

void LibraryIsOfThisInterface(const CLoadedUnit& unit) {
  const TFunctions& call = unit.Functions();
  Expect(std::string(call.fmi2GetVersion()) == FMI2_VERSION, "fmi2GetVersion gives another version than 2.0");
  Expect(std::string(call.fmi2GetTypesPlatform()) == FMI2_PLATFORM, "fmi2GetTypesPlatform isn't default");
}

void WrongGuidIsRefused(const CLoadedUnit& unit) {
  const CLoadedInstance instance(unit, "wrong", unit.Description().guid + "x");
  Expect(instance.Component() == nullptr, "it was instantiated with another GUID");
}

void WrongOrderIsRefused(const CLoadedUnit& unit) {
  const CSession session(unit, "order");
  const auto isRefused = [](fmi2Status status) { return status == fmi2Error || status == fmi2Fatal; };
  Expect(isRefused(session.call.fmi2DoStep(session.Component(), 0.0, session.StepSize(), 0)),
         "a step before the initialisation is no error");
  Expect(isRefused(session.call.fmi2ExitInitializationMode(session.Component())),
         "the end of an initialisation that wasn't begun is no error");
}

void StartsAreWhatIsSaid(const CLoadedUnit& unit) {
  CSession session(unit, "starts");
  for (const TScalar& scalar : unit.Description().variables) {
    const bool isExact = scalar.initial == "exact" || scalar.causality == "input" ||
                         (scalar.initial.empty() && scalar.causality == "parameter");
    if (!isExact || scalar.start.empty() || scalar.type == "String") continue;
    const double start = scalar.start == "true" ? 1.0 : std::strtod(scalar.start.c_str(), nullptr);
    Expect(session.Value(scalar) == start, scalar.name + " doesn't begin with its start");
  }
}

void StepsGoOn(const CLoadedUnit& unit) {
  CSession session(unit, "steps");
  session.Begin();
  session.Run(kSteps);
  session.NeedWell(session.call.fmi2Terminate(session.Component()), "the termination");
}

void OddStepsGoOn(const CLoadedUnit& unit) {
  if (!unit.Description().takesAnyStep) SkipBy("its steps must be alike");
  CSession session(unit, "odd");
  session.Begin();
  for (const double share : {1.0 / 3.0, 1.0 / 3.0, 1.0 / 3.0, 0.1, 2.5, 7.0, 1e-6}) {
    session.Step(share * session.StepSize());
  }
}

// What a step costs by itself: its median, in microseconds.
void ShortStepsAreQuick(const CLoadedUnit& unit) {
  if (!unit.Description().takesAnyStep) SkipBy("its steps must be alike");
  CSession session(unit, "short");
  session.Begin();
  std::vector<double> costs;
  for (int i = 0; i < kShortSteps; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    session.Step(session.StepSize() / (2 * kShortSteps));
    costs.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin).count());
  }
  std::nth_element(costs.begin(), costs.begin() + kShortSteps / 2, costs.end());
  throw TVerdict{TCase::kPassed, NumberText(std::round(costs[kShortSteps / 2])) + " µs a step"};
}

void StepBackIsRefused(const CLoadedUnit& unit) {
  CSession session(unit, "back");
  session.Begin();
  session.Run(2);
  const fmi2Status status = session.call.fmi2DoStep(session.Component(), session.time, -session.StepSize(), 0);
  Expect(status >= fmi2Discard, "a step back is no error");
}

void InstancesAreApart(const CLoadedUnit& unit) {
  if (unit.Description().isOnlyOnce) SkipBy("there can be one instance alone");
  CSession first(unit, "first");
  CSession second(unit, "second");
  first.Begin();
  const std::vector<double> early = first.Run(kSteps / 2);
  second.Begin();
  std::vector<double> late;
  for (int i = 0; i < kSteps / 2; ++i) {
    const std::vector<double> now = second.Run(1);
    late.insert(late.end(), now.begin(), now.end());
    first.Run(1);
  }
  Expect(AreSame(early, late), "a second instance gives other outputs than the first gave");
}

void ResetBeginsAnew(const CLoadedUnit& unit) {
  CSession session(unit, "reset");
  session.Begin();
  const std::vector<double> before = session.Run(kSteps / 2);
  session.NeedWell(session.call.fmi2Reset(session.Component()), "the reset");
  session.Begin();
  Expect(AreSame(before, session.Run(kSteps / 2)), "behind a reset its outputs are others");
}

void StatesAreKept(const CLoadedUnit& unit) {
  if (!unit.Description().keepsStates) SkipBy("its states can't be kept");
  CSession session(unit, "states");
  session.Begin();
  session.Run(kSteps / 2);
  fmi2FMUstate state = nullptr;
  session.NeedWell(session.call.fmi2GetFMUstate(session.Component(), &state), "fmi2GetFMUstate");
  const double time = session.time;
  const int steps = session.steps;
  const std::vector<double> once = session.Run(kSteps / 2);
  session.NeedWell(session.call.fmi2SetFMUstate(session.Component(), state), "fmi2SetFMUstate");
  session.time = time;
  session.steps = steps;
  Expect(AreSame(once, session.Run(kSteps / 2)), "from a state that was kept its outputs are others");
  session.NeedWell(session.call.fmi2FreeFMUstate(session.Component(), &state), "fmi2FreeFMUstate");
}

// All that stands below a process.
std::vector<pid_t> Below(pid_t parent) {
  std::vector<pid_t> found;
  const std::string id = std::to_string(parent);
  std::ifstream children("/proc/" + id + "/task/" + id + "/children");
  for (pid_t child = 0; children >> child;) {
    found.push_back(child);
    const std::vector<pid_t> deeper = Below(child);
    found.insert(found.end(), deeper.begin(), deeper.end());
  }
  return found;
}

void KilledProcessIsFatal(const CLoadedUnit& unit) {
  CSession session(unit, "killed");
  session.Begin();
  session.Run(2);
  const std::vector<pid_t> below = Below(getpid());
  if (below.empty()) SkipBy("it has no process of its own");
  for (const pid_t id : below) kill(id, SIGKILL);
  const fmi2Status status = session.call.fmi2DoStep(session.Component(), session.time, session.StepSize(), 0);
  Expect(status == fmi2Fatal, "a step behind the end of its process isn't fatal");
}

struct TRow {
  const char* name;
  void (*drive)(const CLoadedUnit& unit);
  bool needsLibrary = true;
};

constexpr TRow kRows[] = {
    {"description", DescriptionKeepsRules, false},
    {"library", LibraryIsOfThisInterface},
    {"guid", WrongGuidIsRefused},
    {"order", WrongOrderIsRefused},
    {"starts", StartsAreWhatIsSaid},
    {"steps", StepsGoOn},
    {"odd-steps", OddStepsGoOn},
    {"short-steps", ShortStepsAreQuick},
    {"step-back", StepBackIsRefused},
    {"instances", InstancesAreApart},
    {"reset", ResetBeginsAnew},
    {"states", StatesAreKept},
    {"killed-process", KilledProcessIsFatal},
};

// The outcome's digit and the message.
std::string Drive(const TRow& row, CLoadedUnit& unit) {
  std::string error;
  try {
    if (row.needsLibrary && !unit.Load(&error)) FailBy(error);
    row.drive(unit);
  } catch (const TVerdict& verdict) {
    return std::to_string(verdict.outcome) + verdict.message;
  }
  return std::to_string(TCase::kPassed);
}

TCase RunApart(const TRow& row, CLoadedUnit& unit) {
  processes::CChild child([&](int answer) {
    setpgid(0, 0);
    std::string said = Drive(row, unit);
    said.resize(std::min(said.size(), kLongestAnswer));
    return write(answer, said.data(), said.size()) == static_cast<ssize_t>(said.size()) ? 0 : 1;
  });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<int>(1e3 * kPatience));
  const std::optional<int> status = child.WaitUntil(deadline);
  TCase made{row.name, TCase::kFailed, ""};
  if (!status) {
    child.Kill();
    made.message = "it hung";
  } else if (!WIFEXITED(*status) || WEXITSTATUS(*status) != 0) {
    made.message = "the importer's process crashed in it";
  } else {
    char said[kLongestAnswer];
    const ssize_t size = read(child.Answer(), said, sizeof(said));
    if (size > 0) {
      made.outcome = static_cast<TCase::EOutcome>(said[0] - '0');
      made.message.assign(said + 1, static_cast<std::size_t>(size - 1));
    }
  }
  return made;
}

}  // namespace

bool Check(const std::string& path, std::vector<TCase>* cases, std::string* error) {
  const std::unique_ptr<CLoadedUnit> unit = CLoadedUnit::Open(path, error);
  if (unit == nullptr) return false;
  for (const TRow& row : kRows) cases->push_back(RunApart(row, *unit));
  return true;
}

}  // namespace fmu
