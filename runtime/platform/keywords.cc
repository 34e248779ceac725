// The words of definitions that all instruments share, and the descriptions
// of the colours.
#include "host/gaugekit.h"
#include "host/hx_main.h"
#include "runtime/platform/exact_text.h"

namespace hx_keyw {

LOOPBOX_EXACT_TEXT(kwPOSITION, u"position");
LOOPBOX_EXACT_TEXT(kwBLINK_RATE, u"blink_rate");

}  // namespace hx_keyw

namespace gaugekit_ {

LOOPBOX_EXACT_TEXT(kwMODE, u"mode");
LOOPBOX_EXACT_TEXT(kwCONTENT, u"content");
LOOPBOX_EXACT_TEXT(kwRANGE_FROM, u"range_from");
LOOPBOX_EXACT_TEXT(kwRANGE_TO, u"range_to");
LOOPBOX_EXACT_TEXT(kwLOW_LIMIT, u"low_limit");
LOOPBOX_EXACT_TEXT(kwHIGH_LIMIT, u"high_limit");
LOOPBOX_EXACT_TEXT(kwHISTORY, u"history");
LOOPBOX_EXACT_TEXT(kwDEC_PLACES, u"dec_places");
LOOPBOX_EXACT_TEXT(kwREAL_STEP, u"real_step");
LOOPBOX_EXACT_TEXT(kwH_GRID, u"h_grid");
LOOPBOX_EXACT_TEXT(kwV_GRID, u"v_grid");
LOOPBOX_EXACT_TEXT(kwFONT, u"font");
LOOPBOX_EXACT_TEXT(kwMASK, u"mask");
LOOPBOX_EXACT_TEXT(kwCOLORS, u"colors");
LOOPBOX_EXACT_TEXT(kwEND_COLORS, u"end_colors");
LOOPBOX_EXACT_TEXT(kwBORDER_INK, u"border_ink");
LOOPBOX_EXACT_TEXT(kwBORDER_PAPER, u"border_paper");
LOOPBOX_EXACT_TEXT(kwTOP_SHADOW, u"top_shadow");
LOOPBOX_EXACT_TEXT(kwBOTTOM_SHADOW, u"bottom_shadow");
LOOPBOX_EXACT_TEXT(kwINK, u"ink");
LOOPBOX_EXACT_TEXT(kwPAPER, u"paper");
LOOPBOX_EXACT_TEXT(kwVALUE, u"value");
LOOPBOX_EXACT_TEXT(kwRECEIVERS, u"receivers");
LOOPBOX_EXACT_TEXT(kwOUTPUT, u"output");
LOOPBOX_EXACT_TEXT(kwEXPRESSION, u"expression");

LOOPBOX_EXACT_TEXT(kwBORDER_INKc, u"Barva inkoustu okraje");
LOOPBOX_EXACT_TEXT(kwBORDER_PAPERc, u"Barva papíru okraje");
LOOPBOX_EXACT_TEXT(kwTOP_SHADOWc, u"Barva horního stínu");
LOOPBOX_EXACT_TEXT(kwBOTTOM_SHADOWc, u"Barva dolního stínu");
LOOPBOX_EXACT_TEXT(kwINKc, u"Barva inkoustu");
LOOPBOX_EXACT_TEXT(kwPAPERc, u"Barva papíru");
LOOPBOX_EXACT_TEXT(kwVALUEc, u"Barva aktuální hodnoty");
LOOPBOX_EXACT_TEXT(kwLOW_LIMITc, u"Barva hodnoty pod mezí");
LOOPBOX_EXACT_TEXT(kwHIGH_LIMITc, u"Barva hodnoty nad mezí");
LOOPBOX_EXACT_TEXT(kwH_GRIDcc, u"Barva vodorovné mřížky");
LOOPBOX_EXACT_TEXT(kwV_GRIDcc, u"Barva svislé mřížky");

}  // namespace gaugekit_

namespace gaugekit {

const char16_t ModeStringArray[kModeCount][kNameLength + 1] = {
    u"dial", u"half_dial", u"bar", u"column", u"slider", u"number", u"lamp", u"led_bar", u"thermometer", u"history"};
const std::uint32_t ModeCardArray[kModeCount] = {kDial,   kHalfDial, kBar,    kColumn,      kSlider,
                                                 kNumber, kLamp,     kLedBar, kThermometer, kHistory};

const char16_t ContentStringArray[kContentCount][kNameLength + 1] = {u"plain", u"scale", u"full"};
const std::uint32_t ContentCardArray[kContentCount] = {kPlain, kScale, kFull};

}  // namespace gaugekit
