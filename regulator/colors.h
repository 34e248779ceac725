// The instrument's eleven colours: those of the output meter.
#ifndef LOOPBOX_REGULATOR_COLORS_H
#define LOOPBOX_REGULATOR_COLORS_H

#include <cstdint>

#include "host/gaugekit.h"
#include "regulator/text.h"

namespace loopbox {

struct TColorText {
  TText keyword;
  TText description;
  std::uint32_t gaugekit::TColors::*color;
  std::uint32_t defaultColor;  // 0x00BBGGRR
};

constexpr std::uint32_t kColorCount = 11;

inline constexpr TColorText kColors[kColorCount] = {
    {Text<10>(gaugekit_::kwBORDER_INK), Text<21>(gaugekit_::kwBORDER_INKc), &gaugekit::TColors::borderInk, 0x000000},
    {Text<12>(gaugekit_::kwBORDER_PAPER), Text<19>(gaugekit_::kwBORDER_PAPERc), &gaugekit::TColors::borderPaper,
     0xBFBFBF},
    {Text<10>(gaugekit_::kwTOP_SHADOW), Text<19>(gaugekit_::kwTOP_SHADOWc), &gaugekit::TColors::topShadow, 0x000000},
    {Text<13>(gaugekit_::kwBOTTOM_SHADOW), Text<19>(gaugekit_::kwBOTTOM_SHADOWc), &gaugekit::TColors::bottomShadow,
     0xFFFFFF},
    {Text<3>(gaugekit_::kwINK), Text<14>(gaugekit_::kwINKc), &gaugekit::TColors::ink, 0xFFFFFF},
    {Text<5>(gaugekit_::kwPAPER), Text<12>(gaugekit_::kwPAPERc), &gaugekit::TColors::paper, 0x7F7F7F},
    {Text<5>(gaugekit_::kwVALUE), Text<22>(gaugekit_::kwVALUEc), &gaugekit::TColors::value, 0x00FF00},
    {Text<9>(gaugekit_::kwLOW_LIMIT), Text<22>(gaugekit_::kwLOW_LIMITc), &gaugekit::TColors::lowLimit, 0xFFFF00},
    {Text<10>(gaugekit_::kwHIGH_LIMIT), Text<22>(gaugekit_::kwHIGH_LIMITc), &gaugekit::TColors::highLimit, 0x0000FF},
    {Text<6>(gaugekit_::kwH_GRID), Text<22>(gaugekit_::kwH_GRIDcc), &gaugekit::TColors::hGrid, 0x007F7F},
    {Text<6>(gaugekit_::kwV_GRID), Text<19>(gaugekit_::kwV_GRIDcc), &gaugekit::TColors::vGrid, 0x007F7F},
};

}  // namespace loopbox

#endif
