// pid_regulator: a continuous output by one of five laws, self-tuning on wish.
#ifndef LOOPBOX_PID_PID_REGULATOR_H
#define LOOPBOX_PID_PID_REGULATOR_H

#include <cstdint>

#include "pid/pid_state.h"
#include "regulator/regulator.h"

namespace loopbox {

// The codes that the regulator stores, and the order in which the definition
// and SetRegulatorType know the laws, differ.
enum TLaw : std::uint32_t { kClassical = 1, kTakahashi, kClassicalDelay, kTakahashiDelay, kVariable };
constexpr std::uint32_t kLawCount = 5;
// By the number that SetRegulatorType takes, from 1: index number - 1.
inline constexpr std::uint32_t kLawCodes[kLawCount] = {kClassical, kClassicalDelay, kTakahashi, kTakahashiDelay,
                                                       kVariable};

class CPidRegulator final : public CRegulator {
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
  bool CheckDefinition(TDefinition& definition) override;
  bool HasOutput() const override;
  bool Decide(double wish, double value, bool regulate, double* output) override;
  std::uint32_t EventArguments(double output, hx_expr::TValue* arguments) const override;
  double EventOutput(const hx_expr::TValue* arguments) const override;
  void WriteOutput(double output) override;

  // The output in the law's own direction from the written one, and back: with
  // `inverse` they are mirrored within the output pane's range.
  double Mirror(double output) const;
  void StartIdentification();
  // Keeps what identification learnt; reports nothing.
  void SaveParameterFile();
  // Takes it back, from a file of the same law. A file that is no whole
  // parameter file is reported and changes nothing.
  void LoadParameterFile();

  // What a period touches stands first.
  std::uint32_t lastTime = 0;                // milliseconds, of the last regulated period
  std::uint32_t regulatorType = kClassical;  // a TLaw
  TPidState* state = nullptr;                // owned
  std::uint64_t outputId = hx_vinst::kNoDataElement;
  hx_expr::TExprTreeRecord* outputIndexExpr = nullptr;
  hx_expr::TExprTreeRecord* manualExpr = nullptr;  // real, while the condition is false; null: hold
  TIdentState* identState = nullptr;               // owned
  std::uint32_t blinkRate = 0;                     // 0: no blinking
  std::uint8_t adaptive = 0;
  std::uint8_t outputTrimming = 1;  // the limited output is the one remembered
  std::uint8_t identRunning = 0;
  std::uint8_t identCancelled = 0;      // the last identification step was undone, and that was reported
  std::uint8_t synthesisCancelled = 0;  // the same of the synthesis
  std::uint8_t refil = 0;               // identification type 2
  std::uint32_t identCounter = 3;       // regulated periods since identification started
  std::uint32_t refilMark = hx_vinst::kNoMark;
  std::uint32_t adaptiveMark = hx_vinst::kNoMark;
  double param1 = 1.0;  // ksi under the variable law, else r0
  double param2 = 1.0;  // omega, else tI
  double param3 = 1.0;  // tD
  std::uint32_t param1Mark = hx_vinst::kNoMark;
  std::uint32_t param2Mark = hx_vinst::kNoMark;
  std::uint32_t param3Mark = hx_vinst::kNoMark;
  char16_t outputName[kNameCapacity + 1] = {};
  char16_t fileName[runlib::kPathCapacity + 1] = {};

 private:
  // Defined where they are called.
  inline double ComputeLaw();
  inline bool MeasureTime();
  inline double LimitOutput(double output) const;
  void Supervise();
  void SuperviseIdentification();
  void Identify();
  void Synthesize();
  void NoteStep(bool sound, std::uint8_t& cancelled);
};

// In the order of comparison.
constexpr std::uint32_t kPidProcedureCount = 21;
extern const TProcedure kPidProcedures[kPidProcedureCount];

}  // namespace loopbox

#endif
