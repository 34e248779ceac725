// pid_regulator: a continuous output by one of five laws, self-tuning on wish.
#ifndef LOOPBOX_PID_PID_REGULATOR_H
#define LOOPBOX_PID_PID_REGULATOR_H

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "pid/pid_state.h"
#include "regulator/real_regulator.h"

namespace loopbox {

// The codes that the regulator stores. The definition and SetRegulatorType know
// the laws in another order, that of kLawCodes.
enum ELaw : std::uint32_t { kClassical = 1, kTakahashi, kClassicalDelay, kTakahashiDelay, kVariable, kLawEnd };
// Index: the number that SetRegulatorType takes, less 1.
inline constexpr std::uint32_t kLawCodes[] = {kClassical, kClassicalDelay, kTakahashi, kTakahashiDelay, kVariable};
static_assert(std::size(kLawCodes) == kLawEnd - kClassical);

// What a definition can set. Assigning {} restores the defaults; the expression
// is released first.
struct TPidSettings {
  // What a period touches stands first.
  std::uint32_t regulatorType = kClassical;        // an ELaw
  std::uint32_t blinkRate = 0;                     // 0: no blinking
  hx_expr::TExprTreeRecord* manualExpr = nullptr;  // real, while the condition is false; null: hold
  std::uint8_t adaptive = 0;
  std::uint8_t outputTrimming = 1;  // the limited output is the one remembered
  std::uint8_t refil = 0;           // identification type 2

  std::uint32_t refilMark = hx_vinst::kNoMark;
  std::uint32_t adaptiveMark = hx_vinst::kNoMark;
  double param1 = 1.0;  // ksi under the variable law, else r0
  double param2 = 1.0;  // omega, else tI
  double param3 = 1.0;  // tD
  std::uint32_t param1Mark = hx_vinst::kNoMark;
  std::uint32_t param2Mark = hx_vinst::kNoMark;
  std::uint32_t param3Mark = hx_vinst::kNoMark;
  char16_t fileName[runlib::kPathCapacity + 1] = {};
};

// How far identification has come.
struct TSupervision {
  std::uint32_t identCounter = 3;  // regulated periods since identification started
  std::uint8_t identRunning = 0;
  std::uint8_t identCancelled = 0;      // the last identification step was undone, and that was reported
  std::uint8_t synthesisCancelled = 0;  // the same of the synthesis
};

class CPidRegulator final : public CRealRegulator {
 public:
  CPidRegulator();

  void Done() override;
  void ReceiveEvent(vcore::TEvent* event) override;
  void InitInstrument() override;
  void Action(std::uint32_t reason) override;
  void Blink(std::uint8_t phase) override;
  std::uint8_t GetInstrumentInfo(std::uint32_t request, std::uint32_t capacity, char16_t* text) override;
  void FinishRead(vcom::CRect finalRect) override;

  void Reset() override;
  bool IsComplete() const override;
  bool CheckDefinition(TRegulatorDefinition& definition) override;
  bool Decide(double wish, double value, bool regulate, double* output) override;

  void StartIdentification();
  // Keeps what identification learnt; reports nothing.
  void SaveParameterFile();
  // Takes it back, from a file of the same law. When the file is no whole parameter
  // file, that is reported and nothing changes.
  void LoadParameterFile();

  std::uint32_t lastTime = 0;  // milliseconds, of the last regulated period
  TSupervision supervision;
  TPidState* state = nullptr;         // owned
  TIdentState* identState = nullptr;  // owned
  TPidSettings settings;

 private:
  // Defined where they are called.
  inline double ComputeLaw();
  inline bool MeasureTime();
  void Supervise();
  void SuperviseIdentification();
  void Identify();
  void Synthesize();
  void NoteStep(bool sound, std::uint8_t& cancelled, TText message);
};

template <>
struct TFieldPart<TPidSettings> : TMemberPart<&CPidRegulator::settings> {};

template <>
struct TFieldPart<TPidState> : TMemberPart<&CPidRegulator::state> {};

// In the order of comparison.
constexpr std::size_t kPidProcedureCount = 21;
extern const TProcedureRow kPidProcedures[kPidProcedureCount];

}  // namespace loopbox

#endif
