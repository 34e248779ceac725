// Reading an application: the blocks of its text, then the process, the
// script and the instruments, since a name may be used before the block that
// declares it.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>
#include <utility>

#include "runtime/block_state.h"
#include "runtime/expressions/vocabulary.h"
#include "runtime/instruments/application_state.h"
#include "runtime/instruments/driver.h"
#include "runtime/instruments/making.h"
#include "runtime/instruments/placing.h"
#include "runtime/platform/clock.h"
#include "runtime/platform/memory.h"
#include "runtime/refused_definition.h"
#include "runtime/script/script.h"
#include "runtime/text/near_names.h"
#include "runtime/text/wide_text.h"
#include "runtime/text_block.h"
#include "runtime/whole_text.h"

namespace runtime {

namespace {

constexpr double kMinimumPeriod = 0.001;        // seconds, one step of the clock
constexpr double kMaximumTime = 0x1p53 / 1000;  // seconds, whose milliseconds a double counts exactly
constexpr std::size_t kMaximumInstruments = 100'000;
constexpr std::size_t kMaximumWindows = 100;
constexpr std::size_t kMaximumErrors = 20;  // shown of one text

// The blocks whose reading waits until all names are known.
struct TLaterBlocks {
  std::vector<TTextBlock> processes;
  std::vector<TTextBlock> scripts;
  std::vector<std::pair<CBlockReader*, TTextBlock>> ofOthers;
};

class CApplicationReader {
 public:
  explicit CApplicationReader(TApplicationState& theApplication)
      : application(theApplication), lexer(theApplication.source) {}

  void Read();

 private:
  void ReadBlocks();
  void ReadApplicationBlock(std::uint32_t header);
  void ReadWindow();
  TLexeme ExpectName(const char* what);
  bool IsUnitAhead();
  bool TakeBlockOfOthers(const TLexeme& keyword);
  void PassToReader(const TLexeme& keyword);
  void ReadBlockOfOthers(CBlockReader& reader, const TTextBlock& block);
  void CloseBlocksOf(CBlockReader& reader, const TTextBlock& last);
  void ReadInstrumentHeader(std::uint32_t header);
  void CheckNames();
  void SetInitialValues();
  void SettleTimes();
  bool MakeInstruments();
  void RunScripts();
  void ReadInstrument(TInstrumentState& instrument);

  bool HasEnoughErrors() const { return application.diagnostics->size() >= kMaximumErrors && application.HasErrors(); }
  // What the reading throws is a diagnostic.
  template <typename TRead>
  void WithComplaints(TRead read);

  TApplicationState& application;
  CLexer lexer;
  TLaterBlocks later;
  CScript* script = nullptr;  // the application's
  std::vector<std::uint32_t> classOffsets;
  std::vector<std::uint32_t> nameOffsets;
  std::uint32_t periodOffset = 0;
};

template <typename TRead>
void CApplicationReader::WithComplaints(TRead read) {
  try {
    read();
  } catch (const TTextError& error) {
    application.Complain(TDiagnostic::kError, error.offset, error.message);
  }
}

void CApplicationReader::Read() {
  application.outputsAreSteered = application.options.steersOutputs;
  WithComplaints([this] { ReadBlocks(); });
  if (application.HasErrors()) return;
  application.declaredCount = application.data.Count();
  for (const TTextBlock& block : later.processes) {
    if (HasEnoughErrors()) return;
    WithComplaints([&] {
      lexer.Seek(block.begin);
      application.process.DeclareIntermediates(lexer);
    });
  }
  WithComplaints([this] { CheckNames(); });
  WithComplaints([this] { SettleTimes(); });
  for (const TTextBlock& block : later.processes) {
    if (HasEnoughErrors()) return;
    WithComplaints([&] {
      lexer.Seek(block.begin);
      application.process.ReadProcessBlock(lexer);
    });
  }
  SetInitialValues();
  if (!MakeInstruments()) return;
  RunScripts();
  for (TInstrumentState& instrument : application.instruments) {
    if (HasEnoughErrors()) break;
    ReadInstrument(instrument);
  }
  if (script != nullptr) script->Close();
  if (application.HasErrors()) return;
  for (const auto& others : later.ofOthers) {
    if (HasEnoughErrors()) return;
    WithComplaints([&] { ReadBlockOfOthers(*others.first, others.second); });
  }
  if (application.HasErrors()) return;
  for (CBlockReader* reader : application.options.blocks) {
    const auto isOfReader = [reader](const auto& others) { return others.first == reader; };
    const auto last = std::find_if(later.ofOthers.rbegin(), later.ofOthers.rend(), isOfReader);
    if (last != later.ofOthers.rend()) WithComplaints([&] { CloseBlocksOf(*reader, last->second); });
  }
}

void CApplicationReader::ReadBlocks() {
  while (lexer.Peek().kind != ELexeme::kEnd) {
    const TLexeme keyword = lexer.Next();
    if (keyword.Is("application")) {
      ReadApplicationBlock(keyword.offset);
    } else if (keyword.Is("data")) {
      ReadDataBlock(lexer, application.data);
    } else if (keyword.Is("process") && IsUnitAhead()) {
      PassToReader(keyword);
    } else if (keyword.Is("process")) {
      later.processes.push_back(SkipBlock(lexer, keyword.offset, "end_process"));
    } else if (keyword.Is("instrument")) {
      ReadInstrumentHeader(keyword.offset);
    } else if (keyword.Is("script")) {
      later.scripts.push_back(SkipScript(lexer, application.source.Text(), keyword));
    } else if (keyword.Is("constants")) {
      SkipBlock(lexer, keyword.offset, "end_constants");
    } else if (keyword.Is("for")) {  // those with an end are no more
      throw TTextError{keyword.offset, "this loop is not closed: expected end_for"};
    } else if (!TakeBlockOfOthers(keyword)) {
      FailNoBlock(keyword);
    }
  }
}

TLexeme CApplicationReader::ExpectName(const char* what) {
  TLexeme name = lexer.ExpectIdentifier(what);
  if (name.text.size() > kMaximumNameLength) throw TTextError{name.offset, "a name of more than 63 characters"};
  return name;
}

void CApplicationReader::ReadApplicationBlock(std::uint32_t header) {
  if (!application.name.empty()) throw TTextError{header, "a second application block"};
  application.name = ExpectName("the application's name").text;
  for (;;) {
    const TLexeme entry = lexer.ExpectIdentifier("period, duration, window or end_application");
    if (entry.Is("end_application")) break;
    if (entry.Is("window")) {
      ReadWindow();
      continue;
    }
    double* value = entry.Is("period") ? &application.period : entry.Is("duration") ? &application.duration : nullptr;
    if (value == nullptr) {
      CNearNames near(entry.text);
      for (const std::string_view known : {"period", "duration", "window", "end_application"}) near.Offer(known);
      throw TTextError{entry.offset, "expected period, duration, window or end_application, found " + Describe(entry) +
                                         near.Question()};
    }
    lexer.Expect("=");
    const std::uint32_t place = lexer.Peek().offset;
    *value = lexer.ExpectReal();
    (value == &application.period ? periodOffset : application.durationOffset) = place;
    lexer.Expect(";");
  }
  lexer.Expect(";");
}

void CApplicationReader::ReadWindow() {
  const TLexeme name = ExpectName("the window's name");
  std::vector<TNamedSpan>& windows = application.windows;
  if (std::any_of(windows.begin(), windows.end(), [&](const TNamedSpan& other) { return other.name == name.text; })) {
    throw TTextError{name.offset, "a second window '" + std::string(name.text) + "'"};
  }
  if (windows.size() == kMaximumWindows) throw TTextError{name.offset, "more than 100 windows"};
  lexer.Expect("=");
  const double from = lexer.ExpectReal();
  lexer.Expect(",");
  const std::uint32_t place = lexer.Peek().offset;
  const double to = lexer.ExpectReal();
  if (!(from < to)) throw TTextError{place, "a window ends after it begins"};
  windows.push_back({std::string(name.text), from, to});
  lexer.Expect(";");
}

// A process that is a file's: `process fmu = "…"`.
bool CApplicationReader::IsUnitAhead() {
  const std::uint32_t begin = lexer.Offset();
  const bool isUnit = lexer.TakeIf("fmu") && lexer.TakeIf("=") && lexer.Peek().kind == ELexeme::kString;
  lexer.Seek(begin);
  return isUnit;
}

bool CApplicationReader::TakeBlockOfOthers(const TLexeme& keyword) {
  const std::vector<CBlockReader*>& readers = application.options.blocks;
  const bool isRead = std::any_of(readers.begin(), readers.end(),
                                  [&](const CBlockReader* candidate) { return keyword.Is(candidate->Keyword()); });
  const bool isKnown =
      std::any_of(std::begin(kBlocksOfOthers), std::end(kBlocksOfOthers), [&](auto name) { return keyword.Is(name); });
  if (isRead || isKnown) PassToReader(keyword);
  return isRead || isKnown;
}

// Those that nobody reads are passed over.
void CApplicationReader::PassToReader(const TLexeme& keyword) {
  const std::vector<CBlockReader*>& readers = application.options.blocks;
  const auto reader = std::find_if(readers.begin(), readers.end(),
                                   [&](const CBlockReader* candidate) { return keyword.Is(candidate->Keyword()); });
  const TTextBlock block = SkipBlock(lexer, keyword.offset, "end_" + std::string(keyword.text));
  if (reader != readers.end()) later.ofOthers.emplace_back(*reader, block);
  if (reader != readers.end() && (*reader)->SteersOutputs()) application.outputsAreSteered = true;
}

void CApplicationReader::ReadBlockOfOthers(CBlockReader& reader, const TTextBlock& block) {
  TBlockTextState state{application, CLexer(application.source), block.end};
  state.lexer.Seek(block.begin);
  CBlockText text(state);
  reader.Read(text);
  if (!text.IsAtEnd()) state.lexer.FailExpected("end_" + std::string(reader.Keyword()));
}

void CApplicationReader::CloseBlocksOf(CBlockReader& reader, const TTextBlock& last) {
  TBlockTextState state{application, CLexer(application.source), last.end};
  state.lexer.Seek(last.end);
  CBlockText text(state);
  reader.Close(text);
}

void CApplicationReader::ReadInstrumentHeader(std::uint32_t header) {
  if (application.instruments.size() == kMaximumInstruments) {
    throw TTextError{header, "more than 100000 instruments"};
  }
  TInstrumentState instrument;
  instrument.className = ExpectName("the class of the instrument").text;
  classOffsets.push_back(lexer.LastOffset());
  const TLexeme name = ExpectName("the instrument's name");
  instrument.name = name.text;
  if (CScript::IsGlobal(name.text) || IsReservedName(name.text)) {
    throw TTextError{name.offset, "'" + instrument.name + "' has a meaning of its own and can't name an instrument"};
  }
  nameOffsets.push_back(name.offset);
  const TTextBlock block = SkipBlock(lexer, header, "end_instrument");
  instrument.header = header;
  instrument.begin = block.begin;
  instrument.end = block.end;
  application.instruments.push_back(std::move(instrument));
}

void CApplicationReader::CheckNames() {
  for (const auto& [name, value] : application.numbers) {
    const std::int32_t element = application.data.Find(name);
    if (element >= 0) {
      throw TTextError{application.data[element].mark, "'" + name + "' names a constant and a data element"};
    }
  }
  for (std::size_t i = 0; i < application.instruments.size(); ++i) {
    const std::string& name = application.instruments[i].name;
    if (!application.instrumentByName.emplace(name, i).second) {
      throw TTextError{nameOffsets[i], "a second instrument '" + name + "'"};
    }
    if (application.numbers.contains(name)) {
      throw TTextError{nameOffsets[i], "'" + name + "' names a constant and an instrument"};
    }
    if (application.data.Find(name) >= 0) {
      throw TTextError{nameOffsets[i], "'" + name + "' names a data element and an instrument"};
    }
  }
}

// Those from the command line.
void CApplicationReader::SetInitialValues() {
  for (const auto& [target, value] : application.options.initialValues) {
    if (application.numbers.contains(target) || target.find('.') != std::string::npos) continue;  // of the text
    std::string error;
    if (SetInitialValue(application, target, value, &error)) continue;
    TDiagnostic diagnostic;
    diagnostic.message.append(target).append("=").append(value).append(": ").append(Translated(error));
    application.diagnostics->push_back(std::move(diagnostic));
  }
}

void CApplicationReader::SettleTimes() {
  if (application.options.period) application.period = *application.options.period;
  if (application.options.duration) application.duration = *application.options.duration;
  if (!(application.period >= kMinimumPeriod)) throw TTextError{periodOffset, "a period is at least 0.001 s"};
  if (!(application.duration >= 0.0)) throw TTextError{application.durationOffset, "a duration is not negative"};
  if (application.period > kMaximumTime) throw TTextError{periodOffset, "a period is at most 2^53 ms"};
  if (application.duration > kMaximumTime)
    throw TTextError{application.durationOffset, "a duration is at most 2^53 ms"};
  application.periodCount =
      static_cast<std::uint64_t>(std::floor(application.duration / application.period + kForgivenRounding));
}

bool CApplicationReader::MakeInstruments() {
  for (std::size_t i = 0; i < application.instruments.size(); ++i) {
    TInstrumentState& instrument = application.instruments[i];
    std::string error;
    instrument.object = MakeObject(application, instrument.className, instrument.name, &error);
    if (instrument.object == nullptr) {
      application.Complain(TDiagnostic::kError, classOffsets[i], error);
      return false;
    }
    instrument.object->host->index = i;
  }
  return true;
}

void CApplicationReader::RunScripts() {
  if (later.scripts.empty()) return;
  auto made = std::make_unique<CScript>(application);
  script = made.get();
  application.script = std::move(made);
  for (const TTextBlock& block : later.scripts) {
    if (HasEnoughErrors()) return;
    WithComplaints([&] { script->RunBlock(block.begin, block.end); });
  }
}

void CApplicationReader::ReadInstrument(TInstrumentState& instrument) {
  const TReading& reading = application.reading;
  char16_t error[kTextCapacity + 1] = {};
  char16_t token[kTokenCapacity + 1] = {};
  const std::uint64_t failuresBefore = MemoryStatistics().failures;
  const bool accepted =
      ReadDefinition(application, instrument, instrument.end, {kTextCapacity, error, kTokenCapacity, token});
  if (MemoryStatistics().failures != failuresBefore) {
    application.Complain(TDiagnostic::kError, instrument.header,
                         "out of memory while reading the instrument '" + instrument.name + "'");
  } else if (!accepted) {
    // A service knows its place; what an instrument says itself is about the
    // last identifier or value, or, when it has read all, about the whole.
    const bool fromService = !reading.complaint.empty() && reading.complaint == error;
    const std::uint32_t place = fromService     ? reading.complaintOffset
                                : reading.ended ? instrument.header
                                                : reading.last;
    TTextError refusal{place, error[0] == 0 ? "the definition was refused" : Utf8(error)};
    if (!reading.ended && !fromService) refusal = Explained(application, instrument, std::move(refusal));
    if (reading.ended && fromService) refusal = ExplainedEnd(application, instrument, std::move(refusal));
    application.Complain(TDiagnostic::kError, refusal.offset, refusal.message);
  } else {
    instrument.timed = instrument.object->NeedsTiming() != 0;
    if (instrument.timed) application.timed.push_back(TimedOf(*instrument.object));
  }
}

}  // namespace

bool SetInitialValue(TApplicationState& application, std::string_view target, const std::string& value,
                     std::string* error) {
  std::int32_t element = 0;
  std::uint32_t index = 0;
  if (!application.data.FindItem(target, application.declaredCount, &element, &index, error)) return false;
  double number = 0.0;
  if (!ReadValue(application.data[element].type, value, &number, error)) return false;
  if (application.process.Computes(application.data.Place(element, index))) {
    *error = "the process computes it from the start";
    return false;
  }
  application.data.SetFromDouble(element, index, number);
  return true;
}

void ReadApplication(TApplicationState& application) {
  SetClock(0);
  MakeTextWhole(application);
  if (!application.HasErrors()) CApplicationReader(application).Read();
  if (!application.HasErrors()) PlaceInstruments(application);
}

}  // namespace runtime
