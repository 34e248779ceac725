// The walk over the views.
#ifndef LOOPBOX_PAINTING_VIEWS_H
#define LOOPBOX_PAINTING_VIEWS_H

#include "host/panes.h"
#include "painting/canvas.h"

namespace painting {

// A view and its children at their rectangles, each within its parent's. The
// first child is the topmost. A view that is disabled or hidden is left out
// with all that it holds.
void PaintView(CCanvas& canvas, const view::CView& view);

}  // namespace painting

#endif
