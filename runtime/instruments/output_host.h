// What the host does with an instrument's output: it tracks another value while a
// condition holds, and in the first periods; where a guard of what the instrument
// learns says so, it stays as it was. Such an instrument has a part of this kind,
// through which the host answers the two events of its class itself:
//
//   OnOutput        the script's procedure gets the instrument's own output; what
//                   is tracked or held replaces it afterwards
//   OnOutputChange  the script's procedure gets that value, and can't change it
//
// So the pane, the element, the receivers and the comparison with the output before
// know that value alone. The law takes it as its previous output, by the
// procedure `SetLastOutputValue`; laws go back two periods, which is why at least
// two are tracked (bumpless transfer by tracking: Åström, Hägglund, PID Controllers,
// 1995, 3.5).
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_OUTPUT_HOST_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_OUTPUT_HOST_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "host/hx_main.h"
#include "runtime/instruments/learning_guard.h"
#include "runtime/instruments/reading.h"

namespace runtime {

// Bits of the state word that are the host's alone.
constexpr std::uint32_t kStateHosted = 0x100;  // the instrument has a part of this kind
constexpr std::uint32_t kStateTracks = 0x200;  // in this period: conditions are answered with true
constexpr std::uint32_t kStateNoted = 0x400;   // whether its condition held is noted in its host part

// What changes in it while it runs.
struct TOutputState {
  std::optional<double> outside;       // is tracked
  std::optional<double> outsideStart;  // takes the place of `start`
  std::optional<double> outputBefore;
  std::uint64_t evaluatedIn = 0;  // the period
  std::uint64_t periodsActed = 0;
  std::uint32_t heldFor = 0;   // periods in which track_when held, one after another; 2 for more
  bool heldByOutside = false;  // alone
  bool tracks = false;
  double value = 0.0;       // that is tracked
  bool guardHolds = false;  // in this period
  double heldOutput = 0.0;
};

class COutputHost : private TOutputState {
 public:
  // Whether the class has events of an output.
  static bool HasOutput(hx_vinst::CInstrument& instrument);
  // Of an instrument that has.
  explicit COutputHost(hx_vinst::CInstrument& instrument);
  ~COutputHost();
  COutputHost(const COutputHost&) = delete;
  COutputHost& operator=(const COutputHost&) = delete;

  // What follows a keyword, without the ";". They throw TTextError.
  void ReadTrack(TReading& reading);
  void ReadTrackWhen(TReading& reading);
  void ReadFollow(TReading& reading);
  void ReadStart(TReading& reading);
  void ReadGuard(TReading& reading);
  // An output element of the instrument was read.
  void NoteOutput(std::int32_t element, hx_expr::TExprTreeRecord* index) { output = {element, index}; }
  // When all has been read. Throws TTextError where entries don't fit one another.
  void Check();

  // The identifier of an event of the class; hx_vinst::kNoIdentifier for any other
  // name.
  std::uint32_t IdOfEvent(std::u16string_view name) const;
  bool Answers(std::uint32_t identifier) const;
  // Runs one of the two. False with a message when the script's procedure failed.
  bool Invoke(std::uint32_t event, hx_expr::TValueArray* arguments, std::string* error);

  // Before the run: `start = output` means the element's value then.
  void NoteOutputBefore();
  // Around every Action of the instrument; in a period of this number, from 1.
  void BeforeAction(std::uint64_t period);
  void AfterAction();

  // What somebody outside steers, as CInstrumentHandle has it.
  void TrackFromOutside(std::optional<double> given) { outside = given; }
  void StartFrom(double given);
  void SetPreviousOutput(double givenOutput);

  bool Tracks() const { return tracks; }  // in the period acted in last
  bool MayKeep() const { return !guard || guard->MayKeep(); }

  // How it stands, and to bring that back.
  using TState = std::pair<TOutputState, std::optional<TGuardState>>;
  TState State() const;
  void SetState(const TState& state);

 private:
  enum class EShape { kReal, kBoolean, kSteps };  // of the events' arguments

  struct TElementPlace {
    std::int32_t element = -1;
    hx_expr::TExprTreeRecord* index = nullptr;  // where that is an array
  };

  static std::optional<EShape> ShapeOf(const std::vector<TNamed>& events);
  double Evaluate(hx_expr::TExprTreeRecord* expression, std::uint32_t type) const;
  TElementPlace PlainElement(TReading& reading) const;
  double ValueOf(const TElementPlace& place) const;
  std::uint32_t ValueType() const { return shape == EShape::kBoolean ? hx_expr::kBoolean : hx_expr::kReal; }
  double Limited(double value) const;
  void Replace(hx_expr::TValueArray& arguments, double other) const;

  hx_vinst::CInstrument& instrument;
  EShape shape = EShape::kReal;
  std::u16string names[2];  // of OnOutput and OnOutputChange

  hx_expr::TExprTreeRecord* track = nullptr;
  hx_expr::TExprTreeRecord* trackWhen = nullptr;
  hx_expr::TExprTreeRecord* start = nullptr;
  // Places of the entries; kNoMark where there is none.
  std::uint32_t trackMark = hx_vinst::kNoMark;
  std::uint32_t trackWhenMark = hx_vinst::kNoMark;
  std::uint32_t startMark = hx_vinst::kNoMark;
  std::uint32_t followMark = hx_vinst::kNoMark;
  TElementPlace tracked;  // what `track` consists of
  TElementPlace output;   // the instrument's own
  std::optional<CLearningGuard> guard;
};

}  // namespace runtime

#endif
