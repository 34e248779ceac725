// The public face of an application and of its instruments.
#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "runtime/expressions/machine.h"
#include "runtime/instruments/application_state.h"
#include "runtime/instruments/driver.h"
#include "runtime/instruments/making.h"
#include "runtime/instruments/meters.h"
#include "runtime/platform/clock.h"
#include "runtime/text/wide_text.h"
#include "runtime/text_block.h"

namespace runtime {

namespace {

constexpr std::size_t kPaneCount = 3;
constexpr std::size_t kFewArguments = 8;  // of a procedure
constexpr const char* kIsConnected = "it is read from the plant";

// The paths of the files, of those among `chosen` where that is given.
std::vector<std::string> InFolder(const runlib::TFileContext& context, const std::vector<std::string>& names,
                                  const std::set<std::string>* chosen) {
  std::vector<std::string> paths;
  for (const std::string& name : names) {
    if (chosen == nullptr || chosen->contains(name)) paths.push_back(context.folder + "/" + name);
  }
  return paths;
}

void StartProcess(TApplicationState& application, std::uint64_t seed) {
  application.process.Start(seed, [&application](std::uint32_t mark, const std::string& message) {
    application.Report("process", "line " + std::to_string(application.source.Locate(mark).line) + ": " + message);
  });
}

const void* PlaceOf(const TApplicationState& application, TItem item) {
  return application.data.Place(static_cast<std::int32_t>(item.element), static_cast<std::uint32_t>(item.item));
}

}  // namespace

// --- CApplication ---

CApplication::CApplication() = default;
CApplication::~CApplication() = default;

std::unique_ptr<CApplication> CApplication::Read(const TReadOptions& options, CPlugin& plugin,
                                                 std::vector<TDiagnostic>* diagnostics) {
  std::unique_ptr<CApplication> application(new CApplication());
  application->state = std::make_unique<TApplicationState>(plugin);
  TApplicationState& state = *application->state;
  state.face = application.get();
  state.options = options;
  state.diagnostics = diagnostics;
  std::string error;
  if (!options.text) state.options.folder = std::filesystem::path(options.path).parent_path().string();
  const bool isLoaded = options.text ? CSource::FromBytes(options.path, *options.text, &state.source, &error)
                                     : CSource::Load(options.path, &state.source, &error);
  if (!isLoaded) {
    TDiagnostic diagnostic;
    diagnostic.message = Translated(error);
    diagnostics->push_back(std::move(diagnostic));
    return nullptr;
  }
  state.files = MakeFileContext(state.options.folder);
  if (options.restarts) state.start = std::make_unique<CStart>(state);
  ReadApplication(state);
  const bool failed = state.HasErrors();
  state.diagnostics = nullptr;
  if (failed) return nullptr;
  if (state.start != nullptr) state.start->Keep();
  StartProcess(state, options.seed);
  return application;
}

bool CApplication::Restart(const std::vector<std::pair<std::string, std::string>>& initialValues, std::uint64_t seed) {
  const auto& before = state->options.initialValues;
  if (state->start == nullptr || initialValues.size() != before.size() || !state->start->Restore()) return false;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (initialValues[i].first != before[i].first) return false;
    std::string error;
    const bool isSame = initialValues[i].second == before[i].second;
    if (!isSame && !SetInitialValue(*state, initialValues[i].first, initialValues[i].second, &error)) return false;
  }
  SetClock(0);
  StartProcess(*state, seed);
  return true;
}

const std::string& CApplication::Name() const { return state->name; }
double CApplication::Period() const { return state->period; }
double CApplication::Duration() const { return state->duration; }
std::uint64_t CApplication::PeriodCount() const { return state->periodCount; }
std::uint64_t CApplication::PeriodsDone() const { return state->periodsDone; }
double CApplication::Time() const { return state->expressions.Time(); }

void CApplication::SetMessageSink(std::function<void(const TRunTimeMessage&)> sink) {
  state->sink = std::move(sink);
  for (const TRunTimeMessage& message : state->unseen) state->sink(message);
  state->unseen.clear();
}

void CApplication::LeaveOut(std::uint64_t periods) {
  const std::uint64_t left = state->periodCount - state->periodsDone;
  const std::uint64_t count = left == 0 ? 0 : std::min(periods, left - 1);
  state->periodsDone += count;
  state->leftOut += count;
}

bool CApplication::Step() {
  if (state->ended || state->periodsDone >= state->periodCount) return false;
  if (!state->linkError.empty()) return false;
  RunPeriod(*state);
  return state->linkError.empty();
}

void CApplication::End() {
  if (state->ended) return;
  state->ended = true;
  SetClock(state->clock);
  KeepLearnt(*state, vcore::kKeepAtEnd);
}

std::size_t CApplication::ElementCount() const { return static_cast<std::size_t>(state->declaredCount); }

TElement CApplication::Element(std::size_t index) const {
  const TDataElement& element = state->data[static_cast<std::int32_t>(index)];
  return {element.name,
          element.unit,
          element.isArray ? element.count : 0,
          element.type == EType::kBoolean,
          element.type == EType::kInteger,
          element.isOutput,
          element.mark};
}

double CApplication::ElementValue(std::size_t index, std::size_t item) const {
  return state->data.AsDouble(static_cast<std::int32_t>(index), static_cast<std::uint32_t>(item));
}

bool CApplication::FindItem(const std::string& name, TItem* item, std::string* error) const {
  std::int32_t element = 0;
  std::uint32_t index = 0;
  if (!state->data.FindItem(name, state->declaredCount, &element, &index, error)) return false;
  *item = {static_cast<std::size_t>(element), index};
  return true;
}

const char* CApplication::WriterOf(TItem item) const {
  const TDataElement& element = state->data[static_cast<std::int32_t>(item.element)];
  if (state->process.Writes(PlaceOf(*state, item))) return kWriterProcess;
  if (element.isOutput) return "an instrument's output";
  for (const CDataLink* link : state->links) {
    const std::vector<TItem>& written = link->Written();
    if (std::find(written.begin(), written.end(), item) != written.end()) return link->Name();
  }
  return nullptr;
}

bool CApplication::ProcessComputes(const std::string& name) const {
  const std::int32_t element = state->data.Find(name);
  if (element < 0) return false;
  for (std::uint32_t item = 0; item < state->data.CountOf(element); ++item) {
    if (state->process.Writes(state->data.Place(element, item))) return true;
  }
  return false;
}

bool CApplication::ReadValue(std::size_t index, const std::string& text, double* value, std::string* error) const {
  return runtime::ReadValue(state->data[static_cast<std::int32_t>(index)].type, text, value, error);
}

bool CApplication::WriteElement(TItem item, double value, std::string* error) {
  const auto element = static_cast<std::int32_t>(item.element);
  const auto index = static_cast<std::uint32_t>(item.item);
  const TDataElement& found = state->data[element];
  const void* const place = state->data.Place(element, index);
  const char* const problem = state->connected.contains(place) ? kIsConnected
                              : state->process.Computes(place) ? "the process computes it in every period"
                                                               : ProblemOfValue(found.type, value);
  if (problem == nullptr) {
    state->data.SetFromDouble(element, index, value);
    return true;
  }
  *error = "'" + found.name + "': " + problem;
  return false;
}

void CApplication::SetElementValue(TItem item, double value) {
  state->data.SetFromDouble(static_cast<std::int32_t>(item.element), static_cast<std::uint32_t>(item.item), value);
}

bool CApplication::AddLink(CDataLink& link, std::string* error) {
  if (!link.Open(*this, error)) return false;
  for (const TItem& item : link.Written()) {
    if (link.ReplacesProcess()) state->process.LeaveTo(PlaceOf(*state, item));
    const char* const writer = WriterOf(item);
    if (writer == nullptr) continue;
    *error = "'" + Element(item.element).name + "' is written by " + link.Name() + " and by " + writer;
    return false;
  }
  const auto later = [](EDataLink kind, const CDataLink* other) { return kind < other->Kind(); };
  state->links.insert(std::upper_bound(state->links.begin(), state->links.end(), link.Kind(), later), &link);
  return true;
}

void CApplication::SetQuality(TItem item, bool good, double age) {
  const auto element = static_cast<std::int32_t>(item.element);
  CQualities::TValues* const asked = state->expressions.Qualities().Find(state->data[element]);
  if (asked == nullptr) return;
  asked->good[item.item] = good ? 1 : 0;
  asked->ages[item.item] = age;
}

bool CApplication::AsksForAge(TItem item) const {
  return state->expressions.Qualities().Find(state->data[static_cast<std::int32_t>(item.element)]) != nullptr;
}

void CApplication::SetConnected(TItem item) { state->connected.insert(PlaceOf(*state, item)); }

const std::string& CApplication::LinkError() const { return state->linkError; }

bool CApplication::HasScript() const { return state->script != nullptr; }
const std::vector<TNamedSpan>& CApplication::Windows() const { return state->windows; }

std::size_t CApplication::InstrumentCount() const { return state->instruments.size(); }
CInstrumentHandle CApplication::Instrument(std::size_t index) const { return {state.get(), index}; }

std::string_view CApplication::Text() const { return state->source.Text(); }
std::vector<std::string> CApplication::IncludedFiles() const {
  return {state->includedFiles.begin(), state->includedFiles.end()};
}

TDiagnostic CApplication::At(std::uint32_t offset, std::string message) const {
  return MakeDiagnostic(state->source, TDiagnostic::kWarning, offset, std::move(message));
}

TApplicationState& StateOf(CApplication& application) { return *application.state; }

// --- CInstrumentHandle ---

CInstrumentHandle::CInstrumentHandle(TApplicationState* theApplication, std::size_t theIndex)
    : application(theApplication), index(theIndex) {}

TInstrumentState& CInstrumentHandle::State() const { return application->instruments[index]; }
const std::string& CInstrumentHandle::Name() const { return State().name; }
const std::string& CInstrumentHandle::ClassName() const { return State().className; }
const std::string& CInstrumentHandle::Title() const { return State().title; }
bool CInstrumentHandle::NeedsTiming() const { return State().timed; }
void CInstrumentHandle::NoteRegulating() const { State().object->stateWord |= kStateNoted; }

bool CInstrumentHandle::Regulates() const {
  const hx_vinst::THostPart& host = *State().object->host;
  return host.conditionHeld && (host.output == nullptr || !host.output->Tracks());
}

bool CInstrumentHandle::Tracks() const {
  const hx_vinst::THostPart& host = *State().object->host;
  return host.output != nullptr && host.output->Tracks();
}

const std::string& CInstrumentHandle::QuantityUnit() const { return State().quantityUnit; }
const std::string& CInstrumentHandle::OutputUnit() const { return State().outputUnit; }

std::optional<double> CInstrumentHandle::OutputElement() const {
  const CDataElements& data = application->data;
  const std::int32_t element = State().output;
  if (element < 0) return std::nullopt;
  std::uint32_t item = 0;
  if (State().outputIndex != nullptr) {
    hx_expr::TValue place = {};
    State().object->EvaluateExpression(State().outputIndex, hx_expr::kReal, &place);
    if (!ToIndex(place.real, data.CountOf(element), &item)) return std::nullopt;
  }
  return data.AsDouble(element, item);
}

const std::vector<TItem>& CInstrumentHandle::OutputItems() const { return State().outputItems; }

namespace {

// Null where there is no such pane.
const gaugekit::CMeter* PaneOf(const hx_vinst::CInstrument& object, std::size_t pane) {
  if (object.kind == view::kMeter) return static_cast<const gaugekit::CMeter*>(&object);
  return pane < kPaneCount ? MeterOf(object, pane) : nullptr;
}

COutputHost& OutputOf(TInstrumentState& instrument) {
  std::unique_ptr<COutputHost>& output = instrument.object->host->output;
  if (output == nullptr) throw std::logic_error("nobody steers outputs");
  return *output;
}

}  // namespace

void CInstrumentHandle::TrackFromOutside(std::optional<double> value) const {
  OutputOf(State()).TrackFromOutside(value);
}

void CInstrumentHandle::StartFrom(double value) const { OutputOf(State()).StartFrom(value); }
void CInstrumentHandle::SetPreviousOutput(double value) const { OutputOf(State()).SetPreviousOutput(value); }

std::uint32_t CInstrumentHandle::Offset() const { return State().header; }
const view::CNodeView* CInstrumentHandle::View() const { return State().object; }
bool CInstrumentHandle::IsMeter() const { return State().object->kind == view::kMeter; }
std::vector<TNamed> CInstrumentHandle::Events() const { return Described(EventsOf(*State().object)); }
std::vector<TNamed> CInstrumentHandle::Procedures() const { return Described(ProceduresOf(*State().object)); }

std::size_t CInstrumentHandle::PaneCount() const {
  const view::CNodeView& object = *State().object;
  return MeterOf(object, kPaneCount - 1) != nullptr && MeterOf(object, kPaneCount) == nullptr ? kPaneCount : 0;
}

TPane CInstrumentHandle::Pane(std::size_t pane) const {
  const gaugekit::CMeter* const found = PaneOf(*State().object, pane);
  if (found == nullptr) return {};
  const gaugekit::CMeter& meter = *found;
  const gaugekit::CMeter& given = GiverOf(meter);
  const hx_vinst::THostPart& host = *State().object->host;
  const auto* const cut = pane == kWishPane ? &host.wishCut : pane == kValuePane ? &host.valueCut : nullptr;
  const std::uint64_t actedIn = State().timed ? application->periodsDone : State().activatedIn;
  return {meter.meterValue,
          meter.rangeFrom,
          meter.rangeTo,
          given.rangeFromMark != hx_vinst::kNoMark || given.rangeToMark != hx_vinst::kNoMark,
          meter.disabled == 0,
          given.lowLimitMark != hx_vinst::kNoMark && meter.meterValue < meter.lowLimit,
          given.highLimitMark != hx_vinst::kNoMark && meter.meterValue > meter.highLimit,
          cut != nullptr && cut->period == actedIn ? cut->evaluated : meter.meterValue};
}

TPaneLimits CInstrumentHandle::Limits(std::size_t pane) const {
  const gaugekit::CMeter* const found = PaneOf(*State().object, pane);
  TPaneLimits limits;
  if (found == nullptr) return limits;
  const gaugekit::CMeter& given = GiverOf(*found);
  if (given.lowLimitMark != hx_vinst::kNoMark) limits.low = found->lowLimit;
  if (given.highLimitMark != hx_vinst::kNoMark) limits.high = found->highLimit;
  return limits;
}

double CInstrumentHandle::MeterValue() const {
  return IsMeter() ? static_cast<const gaugekit::CMeter*>(State().object)->meterValue : 0.0;
}

std::vector<std::string> CInstrumentHandle::Receivers() const {
  std::vector<std::string> names;
  for (const std::size_t receiver : State().receivers) names.push_back(application->instruments[receiver].name);
  return names;
}

std::vector<std::string> CInstrumentHandle::Files() const {
  return InFolder(application->files, State().files, nullptr);
}

std::vector<std::string> CInstrumentHandle::FilesRead() const {
  return InFolder(application->files, State().files, &application->files.read);
}

std::vector<std::string> CInstrumentHandle::FilesWritten() const {
  return InFolder(application->files, State().files, &application->files.written);
}

CProcedureName::CProcedureName(const std::string& theName) : name(Utf16(theName)), letters(LettersOf(theName)) {}

bool CInstrumentHandle::Call(const CProcedureName& procedure, std::vector<double>* arguments) const {
  hx_vinst::CInstrument& object = *State().object;
  const auto& [name, letters] = procedure;
  SetClock(application->clock);
  const std::uint32_t identifier = object.GetIdOfName(static_cast<std::uint32_t>(name.size()), name.c_str(), 0);
  if (identifier == hx_vinst::kNoIdentifier || letters.size() != arguments->size()) return false;
  // Few have more, and a period may call many.
  hx_expr::TValue few[kFewArguments] = {};
  std::vector<hx_expr::TValue> many(arguments->size() <= kFewArguments ? 0 : arguments->size());
  hx_expr::TValue* const values = many.empty() ? few : many.data();
  for (std::size_t i = 0; i < arguments->size(); ++i) {
    if (letters[i] == 'l') {
      hx_tool::SetValueBoolean(&values[i], (*arguments)[i] != 0.0);
    } else {
      hx_tool::SetValueLongReal(&values[i], (*arguments)[i]);
    }
  }
  hx_expr::TValueArray array = {static_cast<std::uint32_t>(arguments->size()), values};
  char16_t error[kTextCapacity + 1];
  if (!object.Invoke(identifier, &array, kTextCapacity, error)) return false;
  for (std::size_t i = 0; i < arguments->size(); ++i) {
    (*arguments)[i] = letters[i] == 'l' ? (values[i].boolean != 0 ? 1.0 : 0.0) : values[i].real;
  }
  return true;
}

// The definition has been read by its class, so that its form is known to be
// right: entries, and blocks that a keyword opens and an end_… keyword closes.
std::vector<TDefinitionEntry> CInstrumentHandle::Definition() const {
  std::vector<TDefinitionEntry> entries;
  const std::string_view text = application->source.Text();
  for (TEntryPlace& entry : EntriesOf(application->source, State().begin, State().end)) {
    entries.push_back({std::move(entry.block), std::move(entry.keyword),
                       std::string(text.substr(entry.begin, entry.end - entry.begin)), entry.offset});
  }
  return entries;
}

}  // namespace runtime
