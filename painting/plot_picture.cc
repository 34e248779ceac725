// A plot on paper: title and legend above each panel, numbers beside it, the
// axis of time below the last one.
#include <algorithm>
#include <cmath>
#include <limits>

#include "painting/canvas.h"
#include "painting/file_surface.h"
#include "painting/plot.h"
#include "painting/scale.h"
#include "painting/time_scale.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

// Pixels.
constexpr double kWidth = 860;
constexpr double kPartHeight = 90;  // of a panel's share of 1
constexpr double kHead = 26;        // title and legend
constexpr double kLeft = 66;        // numbers
constexpr double kRight = 16;
constexpr double kFoot = 40;      // times
constexpr double kFootnote = 20;  // below them
constexpr double kGap = 8;        // below a panel
constexpr double kTickDistance = 28;
constexpr double kCurveWidth = 1.6;
constexpr double kKey = 42;  // of a curve in the legend, with the space around it
constexpr std::size_t kTimes = 10;

constexpr std::uint32_t kPaper = 0xFFFFFF;
constexpr std::uint32_t kInk = 0x303030;
constexpr std::uint32_t kGridInk = 0xE2E2E2;
constexpr std::uint32_t kFrameInk = 0x909090;
constexpr double kShadeCover = 0.7;
constexpr double kHeadroom = 0.06;  // of the values' span, above and below

struct TSpan {
  double from;
  double to;
};

TSpan SpanOf(const CPlot& plot, const TPlotPanel& panel) {
  TSpan span = {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  for (const std::size_t curve : panel.curves) {
    for (const TPlotBucket& bucket : plot.Buckets(curve)) {
      span.from = std::min(span.from, bucket.lowest);
      span.to = std::max(span.to, bucket.highest);
    }
  }
  if (!(span.from <= span.to)) span = {0, 1};
  // A quantity that hardly moves is shown as one that stands still.
  const double least = 1e-6 * std::max({std::abs(span.from), std::abs(span.to), 1.0});
  const double grow = std::max(kHeadroom * (span.to - span.from), span.to - span.from < least ? 0.5 : 0.0);
  return {span.from - grow, span.to + grow};
}

// Those with a text. A little more of them than asked for, rather than the
// uneven ends of the range.
std::vector<TTick> RoundTicks(const CScale& scale, std::size_t most) {
  const auto isInside = [](const TTick& tick) { return tick.share > 0 && tick.share < 1; };
  std::vector<TTick> ticks;
  for (const std::size_t more : {0, 1, 2, 3}) {
    ticks = scale.Ticks(most + more);
    std::erase_if(ticks, [](const TTick& tick) { return tick.text.empty(); });
    if (std::all_of(ticks.begin(), ticks.end(), isInside)) break;
  }
  return ticks;
}

class CPainter {
 public:
  CPainter(const CPlot& painted, CCanvas& on)
      : plot(painted),
        canvas(on),
        time(plot.Window().from, plot.Window().to),
        axis(TimeAxis(plot.Window().from, plot.Window().to, kTimes)) {}

  void Paint() {
    double top = 0;
    for (const TPlotPanel& panel : plot.Panels()) {
      if (!panel.below) top += kHead;
      const TBox box = {kLeft, top, kWidth - kLeft - kRight, kPartHeight * panel.share};
      if (!panel.below) PaintTitle(panel, box);
      PaintPanel(panel, box);
      top = box.Bottom() + kGap;
      bottom = box;
    }
    PaintTimes();
  }

 private:
  double X(const TBox& box, double seconds) const { return box.x + box.width * time.Share(seconds); }

  void PaintTitle(const TPlotPanel& panel, const TBox& box) {
    TBox head = {box.x, box.y - kHead, box.width, kHead};
    // The legend names the curves of this panel and of those below that belong to it.
    double right = head.Right();
    const auto& panels = plot.Panels();
    std::vector<std::size_t> named;
    for (auto other = panels.begin() + (&panel - panels.data());
         other != panels.end() && (&*other == &panel || other->below); ++other) {
      named.insert(named.end(), other->curves.begin(), other->curves.end());
    }
    if (panel.shade && !plot.Stretches(*panel.shade).empty()) named.push_back(*panel.shade);
    for (auto curve = named.rbegin(); curve != named.rend(); ++curve) {
      const TPlotCurve& shown = plot.Curves()[*curve];
      const std::u16string text = runtime::Utf16(shown.name);
      const double room = right - head.x - kKey;
      if (room < kKey) break;
      const double width = std::min(canvas.TextWidth(text, font), room);
      right -= width;
      canvas.CutText({right, head.y, width + 1, head.height}, text, font, EAlign::kLeft, kInk);
      right -= 26;
      canvas.Line({right, head.CenterY()}, {right + 20, head.CenterY()}, shown.color == kPlotShade ? 12 : 3,
                  shown.color);
      right -= 16;
    }
    head.width = right - head.x;
    canvas.CutText(head, runtime::Utf16(panel.title), font, EAlign::kLeft, kInk);
  }

  void PaintPanel(const TPlotPanel& panel, const TBox& box) {
    const TSpan span = SpanOf(plot, panel);
    const CScale scale(span.from, span.to);
    const auto y = [&](double value) { return box.Bottom() - box.height * scale.Share(value); };
    if (panel.shade) {
      for (const TStretch& stretch : plot.Stretches(*panel.shade)) {
        const double left = X(box, stretch.from);
        canvas.Fill({left, box.y, X(box, stretch.to) - left, box.height}, {kPlotShade, kShadeCover});
      }
    }
    const std::vector<TTick> ticks = RoundTicks(scale, static_cast<std::size_t>(box.height / kTickDistance));
    for (const TTick& tick : ticks) {
      const double at = box.Bottom() - box.height * tick.share;
      canvas.Line({box.x, at}, {box.Right(), at}, 1, kGridInk);
      const bool isTop = &tick == &ticks.back() && !panel.unit.empty();
      canvas.CutText({2, at - 8, kLeft - 8, 16}, tick.text + (isTop ? u" " + runtime::Utf16(panel.unit) : u""), font,
                     EAlign::kRight, kInk);
    }
    for (const TTick& tick : axis.ticks) {
      const double at = box.x + box.width * tick.share;
      canvas.Line({at, box.y}, {at, box.Bottom()}, 1, kGridInk);
    }
    canvas.Frame(box, 1, kFrameInk);
    const CCanvas::CInside inside(canvas, box);
    for (const std::size_t curve : panel.curves) {
      Path(curve, box, y);
      canvas.Stroke(kCurveWidth, plot.Curves()[curve].color);
    }
  }

  template <typename TY>
  void Path(std::size_t curve, const TBox& box, const TY& y) {
    canvas.Begin();
    const std::vector<TPlotBucket>& buckets = plot.Buckets(curve);
    const bool holds = plot.Curves()[curve].holds;
    double last = 0;
    for (std::size_t i = 0; i < buckets.size(); ++i) {
      const double x = X(box, plot.Times()[i]);
      if (holds && i > 0) canvas.Point({x, last});
      canvas.Point({x, y(buckets[i].first)});
      if (buckets[i].lowest < buckets[i].highest) {
        canvas.Point({x, y(buckets[i].lowest)});
        canvas.Point({x, y(buckets[i].highest)});
        canvas.Point({x, y(buckets[i].last)});
      }
      last = y(buckets[i].last);
    }
    if (!buckets.empty()) canvas.Point({X(box, plot.LastTime()), last});
  }

  void PaintTimes() {
    for (const TTick& tick : axis.ticks) {
      const double at = bottom.x + bottom.width * tick.share;
      canvas.Line({at, bottom.Bottom()}, {at, bottom.Bottom() + 4}, 1, kFrameInk);
      const double width = canvas.TextWidth(tick.text, font);
      canvas.Text({std::min(at - width / 2, kWidth - width - 1), bottom.Bottom() + 4, width + 1, 16}, tick.text, font,
                  EAlign::kLeft, kInk);
    }
    canvas.Text({bottom.x, bottom.Bottom() + 20, bottom.width, 16}, axis.title, font, EAlign::kCentre, kInk);
    canvas.CutText({bottom.x, bottom.Bottom() + kFoot, bottom.width, 16}, runtime::Utf16(plot.Footnote()), font,
                   EAlign::kLeft, kInk);
  }

  const CPlot& plot;
  CCanvas& canvas;
  const CScale time;
  const TTimeAxis axis;
  const TFont font{vgr::SystemN9};
  TBox bottom{};
};

double HeightOf(const CPlot& plot) {
  double height = kFoot + (plot.Footnote().empty() ? 0 : kFootnote);
  for (const TPlotPanel& panel : plot.Panels()) {
    height += kPartHeight * panel.share + kGap + (panel.below ? 0 : kHead);
  }
  return height;
}

}  // namespace

bool CPlot::HasRoomFor(std::initializer_list<double> shares) const {
  double height = HeightOf(*this) + kFootnote + kHead;
  for (const double share : shares) height += kPartHeight * share + kGap;
  return height <= static_cast<double>(kLargestSide);
}

bool CPlot::Picture(EFormat format, std::string* bytes, std::string* error) const {
  const double height = HeightOf(*this);
  return DrawFile(
      format, kWidth, height,
      [&](cairo_t* context) {
        CCanvas canvas(context);
        canvas.Fill({0, 0, kWidth, height}, kPaper);
        CPainter(*this, canvas).Paint();
      },
      bytes, error);
}

}  // namespace painting
