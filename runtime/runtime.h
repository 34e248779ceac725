// The host runtime's public face: load a plug-in, read an application, run it
// period by period, and look at what its instruments show. Text is UTF-8.
//
//   std::string error;
//   auto plugin = runtime::CPlugin::Load("loopbox.so", &error);
//   std::vector<runtime::TDiagnostic> found;
//   auto application = runtime::CApplication::Read({.path = "furnace.lbx"}, *plugin, &found);
//   while (application && application->Step()) { ... application->Instrument(0).Pane(kOutputPane).value ... }
//   application->End();
//
// The plug-in outlives the application. Everything runs in the caller's
// thread; one thread at a time may be in the runtime, since the clock and the
// tables of the platform's libraries are the process's. Several applications
// may take turns, period by period, in one thread or in several that lock.
#ifndef LOOPBOX_RUNTIME_RUNTIME_H
#define LOOPBOX_RUNTIME_RUNTIME_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/block.h"
#include "runtime/data_link.h"
#include "runtime/diagnostic.h"

namespace view {
class CNodeView;
}

namespace runtime {

// --- Language ---------------------------------------------------------------

// The plug-in's own texts and the host's messages are Czech, all other texts
// English. From now on those that language files translate (en.lang and cs.lang
// beside the plug-in are two) are in their language, a later file's before an
// earlier one's; without files all are as they were written. For the whole process,
// before a plug-in is loaded. False with a message, and nothing changed, when a file
// can't be read.
bool SetLanguage(const std::vector<std::string>& paths, std::string* error);

// The text, or what follows one of its ": ", in that language. What the runtime hands
// out as a diagnostic, a run-time message or a description is in it already; what an
// operation leaves in *error isn't, since it becomes part of other messages. Texts are
// translated where they leave for a person: what a script can read, a trace and JSON
// stay as they are, so that no run depends on the language.
std::string Translated(std::string text);

// Those of the known names that may have been meant by a word: the nearest, at most
// three.
std::vector<std::string> NearNames(std::string_view word, const std::vector<std::string>& known);

// --- The plug-in ------------------------------------------------------------

// A name with its description: a class, an event, a procedure, a colour.
struct TNamed {
  std::string name;
  std::string description;
};

struct TColor {
  std::string keyword;
  std::string description;
  std::uint32_t defaultColor;  // 0x00BBGGRR
};

struct TClass {
  std::string name;
  std::string description;
  std::uint32_t infoWord = 0;
  const std::uint8_t* smallImage = nullptr;  // icon format; the plug-in's
  const std::uint8_t* largeImage = nullptr;
};

// What an instrument of a class answers without any definition.
struct TClassDescription {
  std::vector<TNamed> events;
  std::vector<TNamed> procedures;
  std::vector<TColor> colors;
};

struct TPluginState;

class CPlugin {
 public:
  // Null with a message when the file can't be loaded, lacks an export, or
  // refuses this host's interface number.
  static std::unique_ptr<CPlugin> Load(const std::string& path, std::string* error);
  ~CPlugin();

  const std::string& Path() const;
  const std::string& Name() const;
  std::uint32_t Version() const;
  const std::uint8_t* SmallImage() const;
  const std::uint8_t* LargeImage() const;
  const std::vector<TClass>& Classes() const;
  // False with a message when there is no such class or it makes no object.
  bool Describe(const std::string& className, TClassDescription* description, std::string* error);

 private:
  friend TPluginState& StateOf(CPlugin& plugin);
  CPlugin();
  std::unique_ptr<TPluginState> state;
};

// --- The application ----------------------------------------------------------

// A word that the definitions of a class know.
struct TClassWord {
  std::string block;    // that it stands in; empty: at the top
  std::string valueOf;  // the keyword that it is a value of; empty: it is a keyword
  std::string word;
};

struct TReadOptions {
  std::string path;
  // A text in memory, encoded as a file may be, in the file's place: the path
  // is then its name in messages, and `folder` the one in which it finds what it
  // includes and its parameter files; an empty one is the current folder.
  std::optional<std::string> text;
  std::string folder;
  std::optional<double> period;    // seconds, replaces the application's
  std::optional<double> duration;  // seconds
  // Of an element or a constant by its name, or of an entry of a definition,
  // INSTRUMENT.KEYWORD or INSTRUMENT.BLOCK.KEYWORD; and the value.
  std::vector<std::pair<std::string, std::string>> initialValues;
  std::uint64_t seed = 1;
  std::int64_t scriptWork = 10'000'000;  // Lua instructions that a script's block, callback or event may take
  double scriptTime = 10.0;              // the same in seconds of processor time; a second later it is left by force
  // For tests: what a script no longer holds is collected before each piece of
  // memory that it gets.
  bool scriptCollects = false;
  // Whether the run is to end. A script then has half a second; one that does
  // not end is left by force. It is called in a signal handler too: it may read
  // a flag, no more.
  bool (*interruptionAsked)() = nullptr;
  bool keepsLearnt = true;                        // false: what instruments learn isn't kept, whoever asks for it
  bool restarts = false;                          // it may be restarted
  bool steersOutputs = false;                     // the caller may steer outputs, as a block's reader may
  std::function<void(const std::string&)> print;  // a script's output, one line a call
  // What a script changes: a call of a procedure that returns nothing, with its
  // instrument, or a data element that gets another value.
  std::function<void(const std::string& instrument, const std::string& text)> action;
  // The words of a class, asked for where a definition of it is refused, to name those
  // near a wrong one; none where nobody knows.
  std::function<std::vector<TClassWord>(const std::string& className)> words;
  // Who reads the blocks that are none of the runtime's; those that nobody reads
  // are passed over. They are needed while reading alone.
  std::vector<CBlockReader*> blocks;
  // Block keywords with the path of a text whose blocks of that keyword stand in the
  // place of the application's own.
  std::vector<std::pair<std::string, std::string>> blockFiles;
};

// Two times are one when they differ by less, a share of a period: a multiple of
// the period, or its decimal, may be off by a rounding.
constexpr double kForgivenRounding = 1e-9;

// Something that went wrong, or is worth saying, while the application runs.
struct TRunTimeMessage {
  double time = 0.0;       // seconds since the start
  std::string instrument;  // empty: the process, the script or the whole
  std::string text;
};

// The panes of a regulator, in the order in which it registers its meters.
enum EPane : std::size_t { kOutputPane = 0, kWishPane = 1, kValuePane = 2 };

// What a pane is called, in the order of a trace's columns.
struct TPaneName {
  EPane pane;
  const char* column;  // of a trace, behind the instrument's name
  const char* word;    // in a text for people
};
inline constexpr TPaneName kPaneNames[] = {
    {kWishPane, "wish_value", "wish"}, {kValuePane, "value", "value"}, {kOutputPane, "output", "output"}};

struct TPane {
  double value = 0.0;
  double rangeFrom = 0.0;
  double rangeTo = 0.0;
  bool rangeGiven = false;  // by the definition
  bool shown = false;       // not disabled
  bool belowLimit = false;  // of a limit that the definition gives
  bool aboveLimit = false;
  // What was evaluated for a wish or a value, before the range cut it; of an output
  // the same as `value`.
  double measured = 0.0;
};

// Those that a definition gives a pane.
struct TPaneLimits {
  std::optional<double> low;
  std::optional<double> high;
};

// One entry of a definition's text: `keyword = value …;`, `keyword;`.
struct TDefinitionEntry {
  std::string block;  // "parameters", "value_section", …; empty at the top
  std::string keyword;
  std::string value;     // the text between "=" and ";"
  std::uint32_t offset;  // of the keyword
};

struct TInstrumentState;
struct TApplicationState;

// A procedure's name, `Name__letters`, made ready for many calls.
class CProcedureName {
 public:
  explicit CProcedureName(const std::string& name);

 private:
  friend class CInstrumentHandle;
  std::u16string name;
  std::string letters;
};

class CInstrumentHandle {
 public:
  CInstrumentHandle(TApplicationState* application, std::size_t index);

  const std::string& Name() const;
  const std::string& ClassName() const;
  const std::string& Title() const;
  bool NeedsTiming() const;
  // From now on the host notes whether it regulates.
  void NoteRegulating() const;
  // Whether its condition held when it acted last, and its output was its own.
  bool Regulates() const;
  // Whether its output was another's when it acted last.
  bool Tracks() const;
  std::size_t PaneCount() const;  // 3 for a regulator, else 0
  // Of a meter of its own, whichever is asked for, its only one.
  TPane Pane(std::size_t pane) const;
  TPaneLimits Limits(std::size_t pane) const;
  double MeterValue() const;  // of a meter of its own
  bool IsMeter() const;
  const std::string& QuantityUnit() const;  // of wish and value, where an expression is a plain element
  const std::string& OutputUnit() const;
  // What the data element of its output holds now; none where it has no such element.
  std::optional<double> OutputElement() const;
  // The items that its outputs are written to; of an array with an index that
  // changes none.
  const std::vector<TItem>& OutputItems() const;
  // Where the reader of a block of the text (CBlockReader::SteersOutputs) or the caller
  // (TReadOptions::steersOutputs) steers outputs, of an instrument with an output,
  // between two periods:
  // it tracks this value in each Action until another or none is given, for two
  // periods at least (of a step class: below 0 minus, above 0 plus);
  void TrackFromOutside(std::optional<double> value) const;
  // as if `start` stood in its text with that value, counted from its next Action;
  void StartFrom(double value) const;
  // its law takes this as the output before.
  void SetPreviousOutput(double value) const;
  std::vector<std::string> Receivers() const;
  std::vector<std::string> Files() const;      // that its definition names, with the application's folder
  std::vector<std::string> FilesRead() const;  // those of them that were, in this run
  std::vector<std::string> FilesWritten() const;
  std::vector<TNamed> Events() const;  // that the class offers
  std::vector<TNamed> Procedures() const;
  // Calls the procedure `Name__letters` if that name resolves now. Arguments
  // are numbers (booleans 0 and 1); what it returns replaces them.
  bool Call(const CProcedureName& procedure, std::vector<double>* arguments) const;
  bool Call(const std::string& procedure, std::vector<double>* arguments) const {
    return Call(CProcedureName(procedure), arguments);
  }
  std::vector<TDefinitionEntry> Definition() const;
  std::uint32_t Offset() const;  // of the definition's header
  const view::CNodeView* View() const;

 private:
  TInstrumentState& State() const;
  TApplicationState* application;
  std::size_t index;
};

// A data element, or an item of one that is an array.
struct TItem {
  std::size_t element = 0;
  std::size_t item = 0;

  bool operator==(const TItem& other) const = default;
};

// What CApplication::WriterOf says of the process.
inline constexpr const char* kWriterProcess = "the process";

// A window of the run that the text names: from < t <= to, in seconds.
struct TNamedSpan {
  std::string name;
  double from = 0.0;
  double to = 0.0;
};

struct TElement {
  std::string name;
  std::string unit;
  std::size_t length = 0;  // 0: single
  bool isBoolean = false;
  bool isInteger = false;
  bool isOutput = false;     // an instrument's
  std::uint32_t offset = 0;  // of its declaration
};

// What is allowed in a text and hardly meant.
struct TDoubt {
  std::uint32_t offset;  // its place, for CApplication::At
  std::string text;
};

class CApplication {
 public:
  // Null when something is wrong: the diagnostics then hold at least one error.
  // They may hold warnings in any case.
  static std::unique_ptr<CApplication> Read(const TReadOptions& options, CPlugin& plugin,
                                            std::vector<TDiagnostic>* diagnostics);
  ~CApplication();

  const std::string& Name() const;
  double Period() const;    // seconds
  double Duration() const;  // seconds
  std::uint64_t PeriodCount() const;
  std::uint64_t PeriodsDone() const;
  double Time() const;  // seconds, of the period done last

  // Where run-time messages go; before the first period at the latest.
  void SetMessageSink(std::function<void(const TRunTimeMessage&)> sink);
  // The next periods are left out, as far as there are any: nothing acts in them, and
  // their time passes with the period after them. The last period is never left out.
  void LeaveOut(std::uint64_t periods);
  // Runs one period; false when the duration is over and nothing was done, or
  // when a link failed: that period was finished, and LinkError says why.
  bool Step();
  const std::string& LinkError() const;  // empty: none failed
  // Ends the run: instruments keep what they have learnt. Once.
  void End();
  // Of one that was read with `restarts`: brings it back to before its first period,
  // with other initial values of the names that it was read with, and another seed. The
  // next run has the bits of one that was read anew with them. False where it has to be
  // read anew: a constant or an entry of a definition gets another value, which makes
  // other programs; a value doesn't fit; it has a script, whose state is Lua's, or a link;
  // since it was read an instrument, of whichever application, took memory or gave it
  // back. Who gets messages has to be set again.
  bool Restart(const std::vector<std::pair<std::string, std::string>>& initialValues, std::uint64_t seed);

  std::size_t ElementCount() const;
  TElement Element(std::size_t index) const;
  double ElementValue(std::size_t index, std::size_t item) const;  // booleans 0 and 1
  // An item by what heads its column in a trace, NAME or NAME[INDEX]. False when
  // there is none, with what is wrong with the name.
  bool FindItem(const std::string& name, TItem* item, std::string* error) const;
  // Who writes the item in each period: null for nobody, kWriterProcess for the process.
  const char* WriterOf(TItem item) const;
  // Whether a line of the process computes what goes by this name: a data element, one
  // of its items, or a value that no data block declares.
  bool ProcessComputes(const std::string& name) const;
  // Reads a text as a value of the element's type. False when it is none, with
  // what was expected.
  bool ReadValue(std::size_t index, const std::string& text, double* value, std::string* error) const;
  // Between two periods. An output's or a state's value stands until the next
  // period has used and replaced it. False, and nothing is written, when the
  // element's type can't hold the value or the process computes it in every
  // period, with what is wrong.
  bool WriteElement(TItem item, double value, std::string* error);
  // The same without a look at either: what the type can't hold is brought to
  // what it can.
  void SetElementValue(TItem item, double value);
  // What `good` and `age` (seconds) say of an item from now on.
  void SetQuality(TItem item, bool good, double age);
  // Whether an expression asks for the age of an item.
  bool AsksForAge(TItem item) const;
  // The item is read from outside: a script that writes it, or WriteElement, is
  // told so.
  void SetConnected(TItem item);
  // Opens a link and takes it among the others; before the first period. It
  // outlives the run. False with a message when it can't be opened, or would
  // write what has a writer.
  bool AddLink(CDataLink& link, std::string* error);

  // What its process and its times hardly mean, in the order of the text.
  std::vector<TDoubt> Doubts() const;
  // Whether the process is integrated in steps too long for its fastest rate as it
  // stands, and how many substeps would do. Nothing changes by asking; it costs less
  // than a period of ten substeps.
  std::optional<TDoubt> StepDoubt() const;
  // The way in which `value` goes when `output` is changed by `change` and nothing else
  // acts: 1 the same, -1 the other, 0 when that can't be told by so many evaluations of
  // a line of the process.
  int Direction(TItem output, TItem value, double change, std::uint64_t work) const;

  bool HasScript() const;
  const std::vector<TNamedSpan>& Windows() const;  // in the order of the text
  std::size_t InstrumentCount() const;
  CInstrumentHandle Instrument(std::size_t index) const;
  // As it was read, with what it includes and repeats; as long as it lives.
  std::string_view Text() const;
  std::vector<std::string> IncludedFiles() const;  // paths
  // The place of an offset in the application's text, as a diagnostic.
  TDiagnostic At(std::uint32_t offset, std::string message) const;

 private:
  friend TApplicationState& StateOf(CApplication& application);
  CApplication();
  std::unique_ptr<TApplicationState> state;
};

}  // namespace runtime

#endif
