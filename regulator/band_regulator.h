// What the regulators with boolean outputs share: a band around the wish value,
// and an output of a fixed range.
#ifndef LOOPBOX_REGULATOR_BAND_REGULATOR_H
#define LOOPBOX_REGULATOR_BAND_REGULATOR_H

#include "regulator/calls.h"
#include "regulator/entries.h"
#include "regulator/regulator.h"

namespace loopbox {

// Assigning {} restores the defaults.
struct TSwitchingBand {
  double divergencePlus = 0.0;   // width of the band above the wish value
  double divergenceMinus = 0.0;  // below it
  std::uint32_t divergencePlusMark = hx_vinst::kNoMark;
  std::uint32_t divergenceMinusMark = hx_vinst::kNoMark;
};

class CBandRegulator : public CRegulator {
 public:
  enum EBandPlace { kBelow, kInside, kAbove };

  // The output ranges from `lowest` to 1.
  CBandRegulator(const TRegulatorTables& classTables, double lowest);

  void FinishRead(vcom::CRect finalRect) override;
  void Reset() override;

  // Where the value is; the limits of the band lie inside.
  EBandPlace PlaceOf(double wish, double value) const {
    if (value > wish + band.divergencePlus) return kAbove;
    if (value < wish - band.divergenceMinus) return kBelow;
    return kInside;
  }

  TSwitchingBand band;
  double lowestOutput;

 protected:
  ~CBandRegulator() = default;

 private:
  void FixOutputRange();
};

template <>
struct TFieldPart<TSwitchingBand> : TMemberPart<&CBandRegulator::band> {};

inline constexpr TKeywordRow kDivergencePlus = {
    Text<15>(u"divergence_plus"), kRealEntry<&TSwitchingBand::divergencePlus, &TSwitchingBand::divergencePlusMark>};
inline constexpr TKeywordRow kDivergenceMinus = {
    Text<16>(u"divergence_minus"), kRealEntry<&TSwitchingBand::divergenceMinus, &TSwitchingBand::divergenceMinusMark>};

inline constexpr TProcedureRow kSetDivergenceMinus = {0, Text<21>(u"SetDivergenceMinus__R"),
                                                      Text<37>(u"SetDivergenceMinus( DivMinus : real )"), nullptr,
                                                      SetReals<&TSwitchingBand::divergenceMinus>};
inline constexpr TProcedureRow kGetDivergenceMinus = {1, Text<21>(u"GetDivergenceMinus__R"),
                                                      Text<38>(u"GetDivergenceMinus( &DivMinus : real )"), nullptr,
                                                      GetReals<&TSwitchingBand::divergenceMinus>};
inline constexpr TProcedureRow kSetDivergencePlus = {2, Text<20>(u"SetDivergencePlus__R"),
                                                     Text<35>(u"SetDivergencePlus( DivPlus : real )"), nullptr,
                                                     SetReals<&TSwitchingBand::divergencePlus>};
inline constexpr TProcedureRow kGetDivergencePlus = {3, Text<20>(u"GetDivergencePlus__R"),
                                                     Text<36>(u"GetDivergencePlus( &DivPlus : real )"), nullptr,
                                                     GetReals<&TSwitchingBand::divergencePlus>};

}  // namespace loopbox

#endif
