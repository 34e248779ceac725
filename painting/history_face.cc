// The history: one or two curves, the newest sample at the right edge.
#include <algorithm>
#include <cmath>

#include "painting/meter_face.h"
#include "painting/time_scale.h"
#include "runtime/instruments/meters.h"

namespace painting {

namespace {

constexpr double kTimeTick = 3;      // pixels
constexpr double kTimeLength = 3.6;  // of a time's text, in font sizes, with the space beside it
constexpr double kTimesShare = 0.3;  // of the height, at most

// The samples of a curve since the run began, the newest last.
struct TCurve {
  const double* samples;
  std::size_t count;
  std::uint32_t span;  // periods that the plot is wide
  std::uint32_t color;
};

// Of what a painter draws in a meter.
TCurve CurveOf(const gaugekit::CMeter& meter, const gaugekit::CBufferPainter::TCurve& drawn) {
  const gaugekit::CMeter& own = runtime::MeterOfHistory(meter, drawn.buffer);
  const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(own.samples, std::uint64_t{drawn.count} + 1));
  return {drawn.buffer + drawn.count + 1 - count, count, std::max(drawn.count, 1u), drawn.color};
}

struct TPlot {
  TBox box;
  CScale scale;

  double X(const TCurve& curve, std::size_t i) const {
    return box.Right() - box.width * static_cast<double>(curve.count - 1 - i) / curve.span;
  }
  double Y(double value) const { return box.Bottom() - box.height * scale.Share(value); }
};

// The curve's path. Where many samples share a pixel, the lowest and the
// highest of them stand for all, so that no peak is lost.
void Path(CCanvas& canvas, const TPlot& plot, const TCurve& curve) {
  constexpr double kCurveDash = 2;  // pixels: a single sample
  canvas.Begin();
  const auto put = [&](std::size_t i) { canvas.Point({plot.X(curve, i), plot.Y(curve.samples[i])}); };
  if (curve.count == 1) canvas.Point({plot.box.Right() - kCurveDash, plot.Y(curve.samples[0])});
  const double width = plot.box.width * static_cast<double>(curve.count) / curve.span;
  const auto columns = static_cast<std::size_t>(std::max(width, 1.0));
  if (curve.count <= 2 * columns) {
    for (std::size_t i = 0; i < curve.count; ++i) put(i);
    return;
  }
  for (std::size_t column = 0; column < columns; ++column) {
    const double* first = curve.samples + curve.count * column / columns;
    const double* last = curve.samples + curve.count * (column + 1) / columns;
    const auto [lowest, highest] = std::minmax_element(first, last);
    put(static_cast<std::size_t>(std::min(lowest, highest) - curve.samples));
    put(static_cast<std::size_t>(std::max(lowest, highest) - curve.samples));
  }
  put(curve.count - 1);
}

// The part of a curve between two heights, in a colour.
void PaintBand(CCanvas& canvas, const TPlot& plot, const TCurve& curve, double top, double bottom, double width,
               std::uint32_t color) {
  if (!(bottom > top)) return;
  const CCanvas::CInside inside(canvas, TBox{plot.box.x, top, plot.box.width, bottom - top});
  Path(canvas, plot, curve);
  canvas.Stroke(width, color);
}

// The times of the samples, below the box. Before the run there was none.
void PaintTimes(const TFace& face, const TBox& box) {
  const double from = face.about.newest - face.about.step * std::max(face.meter.history, 1u);
  const TTimeAxis axis = TimeAxis(from, face.about.newest, TextsAlong(box.width, face.font.size * kTimeLength));
  for (const TTick& tick : axis.ticks) {
    if (from + tick.share * (face.about.newest - from) < -face.about.step / 2) continue;
    const double x = box.x + box.width * tick.share;
    face.canvas.Line({x, box.Bottom()}, {x, box.Bottom() + kTimeTick}, 1, face.Colors().ink);
    const std::u16string text = axis.isClock ? tick.text : tick.text + u" s";
    const double width = std::min(face.canvas.TextWidth(text, face.font) + 1, box.width);
    const double left = std::min(x - width / 2, face.field.Right() - width);
    face.canvas.Text({left, box.Bottom() + kTimeTick, width, face.LineHeight()}, text, face.font, EAlign::kCentre,
                     face.Colors().ink);
  }
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
  const double times = face.LineHeight() + kTimeTick;
  const bool hasTimes =
      face.meter.content >= gaugekit::kFull && face.about.step > 0 && times < box.height * kTimesShare;
  if (hasTimes) {
    box.CutBottom(times);
    PaintTimes(face, box);
  }
  face.canvas.Fill(box, face.Hollow());
  face.Grid(box);
  if (face.hasScale) PaintScaleLeftOf(face, box.x, box.y, box.Bottom());
  const TPlot plot = {box, face.scale};
  // Between these heights values are within the limits.
  double top = box.y;
  double bottom = box.Bottom();
  for (const TLimit& limit : face.limits) {
    const double at = box.Bottom() - box.height * limit.share;
    (limit.to > limit.share ? top : bottom) = at;
    if (!face.hasLimits) continue;
    face.canvas.Fill({box.x, box.Bottom() - box.height * limit.to, box.width, box.height * (limit.to - limit.from)},
                     {limit.color, 0.2});
    face.canvas.Dashes({box.x, at}, {box.Right(), at}, 1, limit.color);
  }
  face.canvas.Frame(box, 1, {colors.ink, 0.4});
  if (painter.enable == 0 || painter.created == 0) return;
  const double width = std::clamp(std::min(box.width, box.height) * 0.012, 1.2, 2.5);
  // The own curve comes last, over the other; beyond a limit it has its colour.
  for (std::uint32_t i = std::min(painter.curveCount, gaugekit::CBufferPainter::kMaximumCurves); i-- > 0;) {
    if (painter.curves[i].buffer == nullptr) continue;
    const TCurve curve = CurveOf(face.meter, painter.curves[i]);
    if (curve.count == 0) continue;
    if (painter.curves[i].buffer != face.meter.historyBuffer) {
      PaintBand(face.canvas, plot, curve, box.y, box.Bottom(), width * 0.8, curve.color);
      continue;
    }
    // A limit at the end of the range has nothing beyond it; the line at the
    // limit itself belongs inside.
    const double from = top <= box.y ? box.y : top - width / 2;
    const double to = bottom >= box.Bottom() ? box.Bottom() : bottom + width / 2;
    PaintBand(face.canvas, plot, curve, from, to, width, curve.color);
    for (const TLimit& limit : face.limits) {
      const bool isAbove = limit.to > limit.share;
      PaintBand(face.canvas, plot, curve, isAbove ? box.y : to, isAbove ? from : box.Bottom(), width, limit.color);
    }
  }
}

}  // namespace painting
