#include "fmu/unit/controller.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <utility>

#include "fmu/unit/number_text.h"

namespace fmu {
namespace {

// Beyond any simulation; a multiple of no period needs to be met.
constexpr double kLongest = 9e12;  // seconds

bool ReadWhole(const std::string& path, std::string* text, std::string* error) {
  std::ifstream file(path, std::ios::binary);
  text->assign(std::istreambuf_iterator<char>(file), {});
  if (file.good() || (file.eof() && !file.bad())) return true;
  *error = path + ": it can't be read";
  return false;
}

}  // namespace

// Gives the application what the importer set, once, in the next period.
class CController::CInputs final : public runtime::CDataLink {
 public:
  explicit CInputs(const CController& theOwner) : owner(theOwner) {}

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kInput; }
  const char* Name() const override { return "the importer"; }
  // Where the process is left out, nobody computes its elements any more.
  bool Open(runtime::CApplication& opened, std::string* error) override {
    application = &opened;
    items.clear();
    for (const TVariable& variable : owner.variables) {
      if (variable.causality == ECausality::kInput) items.push_back(variable.item);
    }
    std::set<std::pair<std::size_t, std::size_t>> known;
    for (const runtime::TItem& item : items) known.emplace(item.element, item.item);
    for (std::size_t i = 0; !owner.unit.keepsProcess && i < opened.ElementCount(); ++i) {
      const runtime::TElement element = opened.Element(i);
      const std::size_t count = element.length == 0 ? 1 : element.length;
      if (!opened.ProcessComputes(element.name) || element.isOutput) continue;
      for (std::size_t item = 0; item < count; ++item) {
        if (!known.contains({i, item})) items.push_back({i, item});
      }
    }
    return BeforePeriod(0.0, error);
  }
  const std::vector<runtime::TItem>& Written() const override { return items; }
  bool ReplacesProcess() const override { return true; }
  bool BeforePeriod(double, std::string*) override {
    for (const auto& [reference, value] : given) application->SetElementValue(owner.variables[reference].item, value);
    given.clear();
    return true;
  }
  bool AfterPeriod(double, std::string*) override { return true; }

  std::map<std::uint32_t, double> given;  // by reference, not yet handed over

 private:
  const CController& owner;
  runtime::CApplication* application = nullptr;
  std::vector<runtime::TItem> items;
};

CController::CController() : inputs(std::make_unique<CInputs>(*this)) {}
CController::~CController() = default;

std::unique_ptr<CController> CController::Load(const std::string& folder, std::string* error) {
  std::unique_ptr<CController> controller(new CController());
  controller->folder = folder;
  std::string lines;
  if (!ReadWhole(folder + "/" + kUnitFile, &lines, error) || !ReadUnitFile(lines, &controller->unit, error) ||
      !ReadWhole(folder + "/" + kApplicationFile, &controller->text, error)) {
    return nullptr;
  }
  const std::string language = folder + "/" + kLanguageFile;
  if (std::filesystem::exists(language) && !runtime::SetLanguage({language}, error)) return nullptr;
  controller->plugin = runtime::CPlugin::Load(folder + "/" + controller->unit.plugin, error);
  return controller->plugin != nullptr && controller->Read(error) ? std::move(controller) : nullptr;
}

bool CController::Read(std::string* error) {
  runtime::TReadOptions options;
  options.path = unit.name + ".lbx";
  options.text = text;
  options.folder = folder + "/" + kApplicationFolder;
  options.duration = kLongest;
  options.seed = unit.seed;
  options.keepsLearnt = false;
  options.print = [this](const std::string& line) { Note(kNote, line); };
  for (const auto& [reference, value] : initial) {
    options.initialValues.emplace_back(variables[reference].name,
                                       ValueText(variables[reference].type == kBoolean, value));
  }
  messages.clear();  // of a reading before
  unsaid = 0;
  std::vector<runtime::TDiagnostic> diagnostics;
  auto read = runtime::CApplication::Read(options, *plugin, &diagnostics);
  if (!read) {
    for (const runtime::TDiagnostic& diagnostic : diagnostics) *error += runtime::Format(diagnostic);
    return false;
  }
  application = std::move(read);
  application->SetMessageSink([this](const runtime::TRunTimeMessage& message) {
    const std::string whom = message.instrument.empty() ? "" : message.instrument + ": ";
    Note(kDoubtful, "t=" + NumberText(message.time) + " s  " + whom + message.text);
  });
  variables.clear();
  outputs.clear();
  for (const TUnitVariable& row : unit.variables) {
    TVariable variable{row.item, {}, row.causality};
    if (!application->FindItem(row.item, &variable.item, error)) {
      *error = row.item + ": " + *error;
      return false;
    }
    const runtime::TElement element = application->Element(variable.item.element);
    variable.type = element.isBoolean ? kBoolean : element.isInteger ? kInteger : kReal;
    const bool isOutput = row.causality == ECausality::kOutput;
    std::string ignored;
    const double now = application->ElementValue(variable.item.element, variable.item.item);
    const bool isFree = application->WriteElement(variable.item, now, &ignored);
    variable.uses = static_cast<std::uint8_t>(
        (isOutput ? kIsOutput : 0) | (row.causality == ECausality::kInput || isFree ? kSetBefore : 0) |
        (row.causality == ECausality::kInput || row.causality == ECausality::kParameter ? kSetBetween : 0));
    if (isOutput) outputs.push_back(static_cast<std::uint32_t>(variables.size()));
    variables.push_back(std::move(variable));
  }
  return true;
}

bool CController::Refresh() {
  if (!isStale || isStarted) return true;
  std::string error;
  isStale = !Read(&error);
  if (isStale) Note(kWrong, error);
  return !isStale;
}

void CController::Note(std::uint32_t kind, const std::string& said) {
  if (kind != kNote && kind > status) status = kind;
  if (messages.size() < kMostMessages - 1) {
    messages.emplace_back(kind, said);
  } else {
    ++unsaid;
  }
}

void CController::Greet(TFrameWriter* writer) const {
  BeginFrame(writer, kHello);
  PutText(writer, unit.guid.data(), unit.guid.size());
  PutCount(writer, static_cast<std::uint32_t>(variables.size()));
  for (const TVariable& variable : variables) {
    PutByte(writer, variable.type);
    PutByte(writer, variable.uses);
  }
}

double CController::ValueOf(std::uint32_t reference) const {
  const auto given = inputs->given.find(reference);
  if (given != inputs->given.end()) return given->second;
  const runtime::TItem& item = variables[reference].item;
  return application->ElementValue(item.element, item.item);
}

void CController::Set(std::uint32_t reference, double value) {
  const TVariable& variable = variables[reference];
  std::string problem;
  if (variable.causality == ECausality::kInput) {
    inputs->given[reference] = value;
  } else if (!isStarted) {
    initial[reference] = value;
    isStale = true;
  } else if (!application->WriteElement(variable.item, value, &problem)) {
    Note(kWrong, problem);
  }
}

// Where the parameters can't be read nothing is started; then the answer says why.
void CController::Start() {
  std::string problem;
  if (isStarted || !Refresh()) return;
  isStarted = application->AddLink(*inputs, &problem);
  if (!isStarted) Note(kWrong, problem);
}

// Runs the periods k T that are due by `time` + `step`, with a rounding forgiven.
void CController::Step(double time, double step) {
  const double period = application->Period();
  const double to = time + step;
  const double forgiven =
      runtime::kForgivenRounding * period + 4.0 * std::numeric_limits<double>::epsilon() * std::fabs(to);
  if (!isStarted || isFinished || !std::isfinite(to) || step < 0.0 || time < reached - forgiven) {
    return Note(kWrong, "a step goes forward from the time that was reached, " + NumberText(reached) + " s");
  }
  if (stop && to > *stop + forgiven) {
    return Note(kWrong, "the step goes beyond the stop at " + NumberText(*stop) + " s");
  }
  const double due = std::floor((to - start + forgiven) / period);
  if (due > static_cast<double>(application->PeriodCount())) return Note(kWrong, "a time beyond all that can be run");
  while (static_cast<double>(application->PeriodsDone()) < due && application->Step()) {
  }
  if (!application->LinkError().empty()) Note(kWrong, application->LinkError());
  reached = to;
}

void CController::PutAnswer(TFrameWriter* writer, const std::vector<std::uint32_t>& asked) {
  if (unsaid > 0) messages.emplace_back(kDoubtful, std::to_string(unsaid) + " messages more");
  BeginFrame(writer, kDone);
  PutCount(writer, status);
  PutNumber(writer, reached);
  PutCount(writer, static_cast<std::uint32_t>(messages.size()));
  for (const auto& [kind, said] : messages) {
    PutCount(writer, kind);
    PutText(writer, said.data(), said.size());
  }
  PutCount(writer, static_cast<std::uint32_t>(asked.size()));
  for (const std::uint32_t reference : asked) PutNumber(writer, ValueOf(reference));
  messages.clear();
  unsaid = 0;
  status = kWell;
}

void CController::Answer(TFrameWriter* writer) { PutAnswer(writer, outputs); }

bool CController::Do(const TFrame& request, TFrameWriter* writer, bool* isAnswered) {
  TFrameReader reader = ReaderOf(&request);
  const auto isKnown = [this](std::uint32_t reference) { return reference < variables.size(); };
  *isAnswered = request.kind != kSetup && request.kind != kSet;
  if (request.kind == kSetup) {
    reached = start = TakeNumber(&reader);
    const double until = TakeNumber(&reader);
    if (std::isfinite(until)) stop = until;
    return IsTaken(&reader) && !isStarted && std::isfinite(start);
  }
  if (request.kind == kSet) {
    for (std::uint32_t left = TakeCount(&reader); left > 0; --left) {
      const std::uint32_t reference = TakeCount(&reader);
      const double value = TakeNumber(&reader);
      if (reader.isShort || !isKnown(reference) || !std::isfinite(value)) return false;
      Set(reference, value);
    }
    return IsTaken(&reader);
  }
  std::vector<std::uint32_t> asked = outputs;
  if (request.kind == kGet) {
    asked.clear();
    for (std::uint32_t left = TakeCount(&reader); left > 0; --left) {
      asked.push_back(TakeCount(&reader));
      if (reader.isShort || !isKnown(asked.back())) return false;
    }
    if (!Refresh()) asked.clear();
  } else if (request.kind == kStart) {
    Start();
  } else if (request.kind == kStep) {
    const double time = TakeNumber(&reader);
    const double step = TakeNumber(&reader);
    Step(time, step);
  } else if (request.kind == kFinish) {
    if (isStarted && !isFinished) application->End();
    isFinished = true;
  } else {
    return false;
  }
  if (!IsTaken(&reader)) return false;
  PutAnswer(writer, asked);
  return true;
}

}  // namespace fmu
