// How wide and high text is. The fixed metrics serve where nothing draws; a
// painter replaces the widths by those of its own fonts.
#ifndef LOOPBOX_RUNTIME_PLATFORM_TEXT_METRICS_H
#define LOOPBOX_RUNTIME_PLATFORM_TEXT_METRICS_H

#include <cstdint>
#include <string_view>

#include "host/panes.h"

namespace runtime {

// The width in pixels of a text in a font, which is never null.
using TTextMeasure = std::int32_t (*)(const vgr::TFontInfoEx* font, std::u16string_view text);

// What vgr::GetTextW measures with from now on; null: the fixed metrics.
void SetTextMeasure(TTextMeasure measure);

// The height in pixels of a line in the font, at 96 pixels per inch; null
// stands for the system font.
std::int32_t LineHeight(const vgr::TFontInfoEx* font);

}  // namespace runtime

#endif
