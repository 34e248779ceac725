// The history: one or two curves, the newest sample at the right edge.
#include <algorithm>
#include <cmath>

#include "painting/meter_face.h"

namespace painting {

namespace {

using TCurve = gaugekit::CBufferPainter::TCurve;

struct TPlot {
  TBox box;
  CScale scale;

  double X(const TCurve& curve, std::size_t i) const {
    const double age = static_cast<double>(curve.count - i) / std::max(curve.count, 1u);
    return box.Right() - box.width * age;
  }
  double Y(double value) const { return box.Bottom() - box.height * scale.Share(value); }
};

// The curve's path. Where many samples share a pixel, the lowest and the
// highest of them stand for all, so that no peak is lost.
void Path(CCanvas& canvas, const TPlot& plot, const TCurve& curve) {
  canvas.Begin();
  const std::size_t count = std::size_t{curve.count} + 1;
  const auto put = [&](std::size_t i) { canvas.Point({plot.X(curve, i), plot.Y(curve.buffer[i])}); };
  const auto columns = static_cast<std::size_t>(std::max(plot.box.width, 1.0));
  if (count <= 2 * columns) {
    for (std::size_t i = 0; i < count; ++i) put(i);
    return;
  }
  for (std::size_t column = 0; column < columns; ++column) {
    const double* first = curve.buffer + count * column / columns;
    const double* last = curve.buffer + count * (column + 1) / columns;
    const auto [lowest, highest] = std::minmax_element(first, last);
    put(static_cast<std::size_t>(std::min(lowest, highest) - curve.buffer));
    put(static_cast<std::size_t>(std::max(lowest, highest) - curve.buffer));
  }
  put(curve.count);
}

// The part of a curve between two heights, in a colour.
void PaintBand(CCanvas& canvas, const TPlot& plot, const TCurve& curve, double top, double bottom, double width,
               std::uint32_t color) {
  if (!(bottom > top)) return;
  const CCanvas::CInside inside(canvas, TBox{plot.box.x, top, plot.box.width, bottom - top});
  Path(canvas, plot, curve);
  canvas.Stroke(width, color);
}

}  // namespace

void PaintHistory(const TFace& face) {
  const gaugekit::CBufferPainter& painter = face.meter.painter;
  const gaugekit::TColors& colors = face.Colors();
  TBox box = face.field;
  if (face.hasScale) {
    const double inset = std::min(face.LineHeight() / 2, box.height / 8);
    box.CutTop(inset);
    box.CutBottom(inset);
    box.CutLeft(ScaleWidth(face, box.height));
  }
  face.canvas.Fill(box, face.Hollow());
  face.Grid(box);
  if (face.hasScale) PaintScaleLeftOf(face, box.x, box.y, box.Bottom());
  const TPlot plot = {box, face.scale};
  const double high = plot.Y(face.meter.highLimit);
  const double low = plot.Y(face.meter.lowLimit);
  const double top = std::min(low, high);
  const double bottom = std::max(low, high);
  const std::uint32_t above = high <= low ? colors.highLimit : colors.lowLimit;
  const std::uint32_t below = high <= low ? colors.lowLimit : colors.highLimit;
  if (face.hasLimits) {
    face.canvas.Fill({box.x, box.y, box.width, top - box.y}, {above, 0.2});
    face.canvas.Fill({box.x, bottom, box.width, box.Bottom() - bottom}, {below, 0.2});
    face.canvas.Dashes({box.x, high}, {box.Right(), high}, 1, colors.highLimit);
    face.canvas.Dashes({box.x, low}, {box.Right(), low}, 1, colors.lowLimit);
  }
  face.canvas.Frame(box, 1, {colors.ink, 0.4});
  if (painter.enable == 0 || painter.created == 0) return;
  const double width = std::clamp(std::min(box.width, box.height) * 0.012, 1.2, 2.5);
  // The own curve comes last, over the other; beyond a limit it has its colour.
  for (std::uint32_t i = std::min(painter.curveCount, gaugekit::CBufferPainter::kMaximumCurves); i-- > 0;) {
    const TCurve& curve = painter.curves[i];
    if (curve.buffer == nullptr) continue;
    if (curve.buffer != face.meter.historyBuffer) {
      PaintBand(face.canvas, plot, curve, box.y, box.Bottom(), width * 0.8, curve.color);
      continue;
    }
    // A limit at the end of the range has nothing beyond it; the line at the
    // limit itself belongs inside.
    const double from = top <= box.y ? box.y : top - width / 2;
    const double to = bottom >= box.Bottom() ? box.Bottom() : bottom + width / 2;
    PaintBand(face.canvas, plot, curve, box.y, from, width, above);
    PaintBand(face.canvas, plot, curve, from, to, width, curve.color);
    PaintBand(face.canvas, plot, curve, to, box.Bottom(), width, below);
  }
}

}  // namespace painting
