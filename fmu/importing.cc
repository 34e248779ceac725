#include "fmu/importing.h"

#include <cmath>
#include <memory>
#include <optional>

#include "fmu/unit/frames.h"
#include "fmu/unit/number_text.h"

namespace fmu {
namespace {

class CImporting {
 public:
  CImporting(CLoadedUnit& theUnit, const TImported& theImported) : unit(theUnit), imported(theImported) {}

  // False when it is no request.
  bool Do(const TFrame& frame);
  bool IsAsked(const TFrame& frame) const { return frame.kind != kSet; }
  void Answer(TFrameWriter* writer);

 private:
  void Start();
  void SetAll();
  // Notes a failure; false when there is one.
  bool IsWell(fmi2Status status, const std::string& what);

  CLoadedUnit& unit;
  const TImported& imported;
  std::optional<CLoadedInstance> instance;
  std::vector<double> given;
  bool isStarted = false;
  double reached = 0.0;
  std::string problem;
};

bool CImporting::IsWell(fmi2Status status, const std::string& what) {
  if (status == fmi2OK || status == fmi2Warning) return problem.empty();
  if (problem.empty()) {
    problem = what + " ends with status " + std::to_string(status);
    if (instance && !instance->Told().empty()) problem += ": " + instance->Told();
  }
  return false;
}

void CImporting::SetAll() {
  const TFunctions& call = unit.Functions();
  for (std::size_t i = 0; i < given.size() && i < imported.inputs.size(); ++i) {
    const TScalar& input = imported.inputs[i];
    if (isStarted && input.causality != "input") continue;
    const double value = given[i];
    const int whole = input.type == "Boolean" ? value != 0.0 : static_cast<int>(std::lround(value));
    const fmi2Component component = instance->Component();
    const fmi2Status status = input.type == "Real"      ? call.fmi2SetReal(component, &input.reference, 1, &value)
                              : input.type == "Boolean" ? call.fmi2SetBoolean(component, &input.reference, 1, &whole)
                                                        : call.fmi2SetInteger(component, &input.reference, 1, &whole);
    if (!IsWell(status, "setting " + input.name)) return;
  }
}

void CImporting::Start() {
  const TFunctions& call = unit.Functions();
  if (!unit.Load(&problem)) return;
  instance.emplace(unit, "process", unit.Description().guid);
  const fmi2Component component = instance->Component();
  if (component == nullptr) {
    problem = "it can't be instantiated: " + instance->Told();
    return;
  }
  if (!IsWell(call.fmi2SetupExperiment(component, 0, 0.0, 0.0, 0, 0.0), "fmi2SetupExperiment")) return;
  SetAll();
  if (!IsWell(call.fmi2EnterInitializationMode(component), "fmi2EnterInitializationMode")) return;
  SetAll();
  isStarted = IsWell(call.fmi2ExitInitializationMode(component), "fmi2ExitInitializationMode");
}

bool CImporting::Do(const TFrame& frame) {
  TFrameReader reader = ReaderOf(&frame);
  if (frame.kind == kSet) {
    given.assign(imported.inputs.size(), 0.0);
    for (std::uint32_t left = TakeCount(&reader); left > 0 && !reader.isShort; --left) {
      const std::uint32_t place = TakeCount(&reader);
      const double value = TakeNumber(&reader);
      if (place >= given.size()) return false;
      given[place] = value;
    }
  } else if (frame.kind == kStart && !isStarted) {
    Start();
  } else if (frame.kind == kStep && isStarted) {
    const double time = TakeNumber(&reader);
    const double step = TakeNumber(&reader);
    SetAll();
    IsWell(unit.Functions().fmi2DoStep(instance->Component(), time, step, 1), "a step at " + NumberText(time) + " s");
    reached = time + step;
  } else {
    return false;
  }
  return IsTaken(&reader) != 0;
}

void CImporting::Answer(TFrameWriter* writer) {
  const TFunctions& call = unit.Functions();
  std::vector<double> values;
  for (const TScalar& output : imported.outputs) {
    double value = std::nan("");
    int whole = 0;
    if (!isStarted || !problem.empty()) break;
    const fmi2Component component = instance->Component();
    const bool isReal = output.type == "Real";
    const fmi2Status status = isReal                     ? call.fmi2GetReal(component, &output.reference, 1, &value)
                              : output.type == "Boolean" ? call.fmi2GetBoolean(component, &output.reference, 1, &whole)
                                                         : call.fmi2GetInteger(component, &output.reference, 1, &whole);
    if (IsWell(status, "the value of " + output.name)) values.push_back(isReal ? value : whole);
  }
  BeginFrame(writer, kDone);
  PutCount(writer, problem.empty() ? kWell : kWrong);
  PutNumber(writer, reached);
  PutCount(writer, problem.empty() ? 0 : 1);
  if (!problem.empty()) {
    PutCount(writer, kWrong);
    PutText(writer, problem.data(), problem.size());
  }
  PutCount(writer, static_cast<std::uint32_t>(values.size()));
  for (const double value : values) PutNumber(writer, value);
}

}  // namespace

int Import(CLoadedUnit& unit, const TImported& imported, int channel) {
  TFrameBuffer received = {};
  received.descriptor = -1;
  TFrameWriter writer = {};
  CImporting importing(unit, imported);
  TFrame frame;
  while (ReceiveFrame(channel, &received, &frame) == 1) {
    if (!importing.Do(frame)) return 1;
    if (!importing.IsAsked(frame)) continue;
    importing.Answer(&writer);
    if (!SendFrames(channel, &writer, -1)) break;
  }
  FreeBuffer(&received);
  FreeWriter(&writer);
  return 0;
}

}  // namespace fmu
