// A frame as the page reads it.
#ifndef LOOPBOX_PANEL_FRAME_JSON_H
#define LOOPBOX_PANEL_FRAME_JSON_H

#include <span>
#include <string>

#include "panel/frame_layout.h"

namespace panel {

// JSON in one line; a number is the shortest decimal that reads back as the same
// double, null where it isn't finite.
std::string FrameJson(const TFrameLayout& layout, std::span<const double> frame);

}  // namespace panel

#endif
