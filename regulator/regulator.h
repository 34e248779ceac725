// The base of all regulators: its panes, the reading of a definition, the
// skeleton of a period and the procedures. A class adds its keywords, its
// procedures and its decision.
#ifndef LOOPBOX_REGULATOR_REGULATOR_H
#define LOOPBOX_REGULATOR_REGULATOR_H

#include <cstdint>
#include <iterator>

#include "host/gaugekit.h"
#include "host/hx_main.h"
#include "regulator/definition.h"
#include "regulator/output.h"
#include "regulator/procedure.h"

namespace loopbox {

enum ESection : std::uint32_t { kWishValueSection = 1, kValueSection, kOutputSection };
constexpr std::uint32_t kSectionCount = 3;

// The order in which panes are made, registered and updated. Where positions are
// equal, panes are laid out in this order too.
constexpr std::uint32_t kPaneOrder[] = {kOutputSection, kWishValueSection, kValueSection};
static_assert(std::size(kPaneOrder) == kSectionCount);
constexpr std::uint32_t kIdleBit = 0x10;  // of the reason that Action is called for

struct TSectionLayout {
  std::int32_t ratio = 1;  // share of the instrument's width; 0 hides the section
  std::uint32_t ratioMark = hx_vinst::kNoMark;
  std::int32_t viewPosition = 0;  // place among the panes
  std::uint32_t viewPositionMark = hx_vinst::kNoMark;
};

// How the panes are laid out. Assigning {} restores the defaults.
struct TPaneSettings {
  TSectionLayout sections[kSectionCount] = {
      // Index: section number - 1.
      {.viewPosition = kWishValueSection},
      {.viewPosition = kValueSection},
      {.viewPosition = kOutputSection}};
  std::uint8_t showDescription = 0;
};

// What a period evaluates, compares with and calls. Assigning {} restores the
// defaults; the expressions are released first.
struct TControlLoop {
  hx_expr::TExprTreeRecord* wishValueExpr = nullptr;  // real; null: none
  hx_expr::TExprTreeRecord* valueExpr = nullptr;      // real; null: none
  hx_expr::TExprTreeRecord* conditionExpr = nullptr;  // boolean; null: always regulate
  std::uint32_t onOutputId = hx_vinst::kNoIdentifier;
  std::uint32_t onOutputChangeId = hx_vinst::kNoIdentifier;
  std::uint8_t inverse = 0;
  std::uint8_t complete = 0;  // what IsComplete says since the last Reset
  double lastOutput = 0.0;    // of the previous period; the only one written, beside what a class writes
};

// The host drives a regulator through the virtual operations of CInstrument:
// InitInstrument once, then ReadSelf for each definition, Action in each period,
// Done at the end. The meters and texts belong to the view tree once they are
// registered; when one of them could not be made, ReadSelf says so and every
// other operation does what it can without.
class CRegulator : public hx_vinst::CInstrument {
 public:
  explicit CRegulator(const TRegulatorTables& classTables);

  // --- hx_vinst::CInstrument ---
  void Done() override;
  void NewRect(vcom::CRect newRect) override;
  void InitInstrument() override;
  void SettingsChanged() override;
  std::uint8_t NeedsTiming() override;
  void Action(std::uint32_t reason) override;
  std::uint8_t GetVarDescription(std::uint32_t index, std::uint32_t nameCapacity, char16_t* variableName,
                                 std::uint32_t descriptionCapacity, char16_t* description) override;
  std::uint8_t GetProcedureDescription(std::uint32_t index, std::uint32_t nameCapacity, char16_t* procedureName,
                                       std::uint32_t descriptionCapacity, char16_t* description) override;
  std::uint8_t GetColorDescription(std::uint32_t index, std::uint8_t flag, std::uint32_t** color,
                                   std::uint32_t keywordCapacity, char16_t* keyword, std::uint32_t descriptionCapacity,
                                   char16_t* description, std::uint32_t* defaultColor) override;
  std::uint8_t ReadSelf(std::uint32_t errorCapacity, char16_t* errorText, std::uint32_t tokenCapacity,
                        char16_t* tokenText) override;
  std::uint8_t GetWinMinMaxSize(vcom::TPoint* minimum, vcom::TPoint* maximum) override;
  std::uint32_t GetIdOfName(std::uint32_t length, const char16_t* procedureName, std::uint8_t flag) override;
  std::uint8_t GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName) override;
  std::uint8_t GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* description) override;
  std::uint8_t Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                      char16_t* errorText) override;
  void FinishRead(vcom::CRect finalRect) override;

  // --- What a class brings ---
  // Everything that a definition can set, back to its default: at the end of
  // InitInstrument, and before each definition.
  virtual void Reset();
  // False when something that the class works with could not be allocated.
  virtual bool IsComplete() const;
  // After the last entry: what is wrong with the definition as a whole.
  virtual bool CheckDefinition(TRegulatorDefinition& definition);
  // Whether the definition names a data element for an output.
  virtual bool HasOutput() const;
  // The output of this period. When none is due in this call: false.
  virtual bool Decide(double wish, double value, bool regulate, double* output) = 0;
  // The arguments of the event procedures for an output, as many as the events'
  // names have letters.
  virtual void EventArguments(double output, TEventArguments& arguments) const = 0;
  // The output that the arguments stand for after the call. When it is not finite,
  // the output before the call is kept.
  virtual double EventOutput(const TEventArguments& arguments) const = 0;
  virtual void WriteOutput(double output) = 0;

  // --- Reading ---
  // Reads entries up to the keyword that closes the block, or, at the top
  // level, up to the end of the definition.
  bool ReadEntries(TRegulatorDefinition& definition, const TKeywordBlock& block, bool topLevel);
  // Both with their opening keyword as the last token read.
  bool ReadSection(TRegulatorDefinition& definition, std::uint32_t section);
  bool ReadColors(TRegulatorDefinition& definition);

  // --- For the classes ---
  // When a call carries nothing but the idle bit, notes it and says true: no period
  // is due.
  bool IsIdleCall(std::uint32_t reason) {
    if ((reason & ~kIdleBit) != 0) return false;
    stateWord &= ~hx_vinst::kStatePending;
    return true;
  }
  void ReportError(TText message);
  void ForgetExpression(hx_expr::TExprTreeRecord*& expression) {
    if (expression != nullptr) FreeExpression(&expression);
  }

  gaugekit::CMeter*& Meter(std::uint32_t section);
  vcont::CStaticText*& DescriptionText(std::uint32_t section);

  vcont::CStaticText* wishValueText = nullptr;
  vcont::CStaticText* valueText = nullptr;
  vcont::CStaticText* outputText = nullptr;
  TPaneSettings panes;

  // What a period touches stands together, but for the start of the first output.
  TOutputElement outputElement;  // a class with further outputs adds theirs
  const TRegulatorTables& tables;
  gaugekit::CMeter* wishValueMeter = nullptr;
  gaugekit::CMeter* valueMeter = nullptr;
  gaugekit::CMeter* outputMeter = nullptr;  // holds the instrument's colours
  vcom::CList receivers;                    // activated when the output changes
  TControlLoop loop;

 protected:
  ~CRegulator() = default;

 private:
  void ResetSections();
  void FindEvents();
  void ShareColors(bool withVerticalGrid);
  void TieHistories();
  void FillHistory();
  void RegisterHistory(gaugekit::CMeter* own, gaugekit::CMeter* other);
  void PlacePane(std::uint32_t section, const vcom::CRect& pane, bool shown);
  double Measure(hx_expr::TExprTreeRecord* expression, gaugekit::CMeter* meter);
  double RaiseEvent(std::uint32_t identifier, double output);
  void ActivateReceivers();
  const TProcedureRow* ProcedureOfId(std::uint32_t identifier) const;
};

}  // namespace loopbox

#endif
