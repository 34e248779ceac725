// The walk over the views.
#ifndef LOOPBOX_PAINTING_VIEWS_H
#define LOOPBOX_PAINTING_VIEWS_H

#include <map>

#include "host/gaugekit.h"
#include "host/panes.h"
#include "painting/canvas.h"
#include "painting/meter_painter.h"

namespace painting {

using TMeterTexts = std::map<const gaugekit::CMeter*, TMeterText>;

// A view and its children at their rectangles, each within its parent's. The
// first child is the topmost. A view that is disabled or hidden is left out
// with all that it holds. A meter that has no text in the list shows what it holds
// itself.
void PaintView(CCanvas& canvas, const view::CView& view, const TMeterTexts& texts = {});

}  // namespace painting

#endif
