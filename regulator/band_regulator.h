// What the two regulators with boolean outputs share: a band around the wish
// value, and an output of a fixed range.
#ifndef LOOPBOX_REGULATOR_BAND_REGULATOR_H
#define LOOPBOX_REGULATOR_BAND_REGULATOR_H

#include "regulator/calls.h"
#include "regulator/entries.h"
#include "regulator/regulator.h"

namespace loopbox {

class CBandRegulator : public CRegulator {
 public:
  enum TPlace { kBelow, kInside, kAbove };

  // The output ranges from `lowest` to 1.
  CBandRegulator(const TRegulatorTables& classTables, double lowest);

  void InitInstrument() override;
  void FinishRead(vcom::CRect finalRect) override;
  void Reset() override;

  // Where the value is; the limits of the band lie inside.
  TPlace PlaceOf(double wish, double value) const {
    if (value > wish + divergencePlus) return kAbove;
    if (value < wish - divergenceMinus) return kBelow;
    return kInside;
  }
  void WriteBoolean(std::uint64_t elementId, hx_expr::TExprTreeRecord* indexExpression, bool value) {
    hx_expr::TValue written = {};
    hx_tool::SetValueBoolean(&written, value);
    SetDataElement(elementId, indexExpression, &written);
  }

  double divergencePlus = 0.0;   // width of the band above the wish value
  double divergenceMinus = 0.0;  // below it
  std::uint32_t divergencePlusMark = hx_vinst::kNoMark;
  std::uint32_t divergenceMinusMark = hx_vinst::kNoMark;
  double lowestOutput;

 protected:
  ~CBandRegulator() = default;

 private:
  void FixOutputRange();
};

inline constexpr TKeyword kDivergencePlus = {
    Text<15>(u"divergence_plus"), kRealEntry<&CBandRegulator::divergencePlus, &CBandRegulator::divergencePlusMark>};
inline constexpr TKeyword kDivergenceMinus = {
    Text<16>(u"divergence_minus"), kRealEntry<&CBandRegulator::divergenceMinus, &CBandRegulator::divergenceMinusMark>};

inline constexpr TProcedure kSetDivergenceMinus = {0, Text<21>(u"SetDivergenceMinus__R"),
                                                   Text<37>(u"SetDivergenceMinus( DivMinus : real )"), nullptr,
                                                   SetReals<&CBandRegulator::divergenceMinus>};
inline constexpr TProcedure kGetDivergenceMinus = {1, Text<21>(u"GetDivergenceMinus__R"),
                                                   Text<38>(u"GetDivergenceMinus( &DivMinus : real )"), nullptr,
                                                   GetReals<&CBandRegulator::divergenceMinus>};
inline constexpr TProcedure kSetDivergencePlus = {2, Text<20>(u"SetDivergencePlus__R"),
                                                  Text<35>(u"SetDivergencePlus( DivPlus : real )"), nullptr,
                                                  SetReals<&CBandRegulator::divergencePlus>};
inline constexpr TProcedure kGetDivergencePlus = {3, Text<20>(u"GetDivergencePlus__R"),
                                                  Text<36>(u"GetDivergencePlus( &DivPlus : real )"), nullptr,
                                                  GetReals<&CBandRegulator::divergencePlus>};

}  // namespace loopbox

#endif
