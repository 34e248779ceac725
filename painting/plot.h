// A plot of quantities over time: panels one below the other that share the
// axis of time, for a page in print. Any number of samples costs the same.
//
//   painting::CPlot plot;
//   const std::size_t panel = plot.AddPanel("heater", "°C", 2);
//   plot.AddCurve(panel, "wish", painting::kPlotOrange, true);
//   plot.Shade(panel, plot.AddShade("in hand"));
//   plot.Feed(time, {values in the order in which curves and shades were added});
//   plot.Picture(painting::EFormat::kSvg, &svg, &error);
#ifndef LOOPBOX_PAINTING_PLOT_H
#define LOOPBOX_PAINTING_PLOT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "painting/painting.h"

namespace painting {

// Colour words that people with any kind of colour vision can tell apart:
// Okabe, Ito, Color Universal Design, 2008.
constexpr std::uint32_t kPlotOrange = 0x009FE6;
constexpr std::uint32_t kPlotBlue = 0xB27200;
constexpr std::uint32_t kPlotGreen = 0x739E00;
constexpr std::uint32_t kPlotVermillion = 0x005ED5;
constexpr std::uint32_t kPlotPurple = 0xA779CC;
constexpr std::uint32_t kPlotShade = 0xC8E4F5;  // behind the curves
// For curves of no kind, in turn.
constexpr std::uint32_t kPlotColors[] = {kPlotBlue, kPlotVermillion, kPlotGreen, kPlotPurple, kPlotOrange};

// Between one and two buckets for each pixel of the widest plot.
constexpr std::size_t kMostBuckets = 2048;                       // of a curve
constexpr std::size_t kMostBucketsInAll = std::size_t{1} << 20;  // 32 MiB; but two for each curve

struct TPlotCurve {
  std::string name;
  std::uint32_t color;
  bool holds;  // its value until the next sample; else it moves there in a straight line
};

struct TPlotPanel {
  std::string title;
  std::string unit;
  double share;                      // of the height, beside the other panels'
  bool below = false;                // belongs to the one above it, which names its curves too
  std::vector<std::size_t> curves;   // in CPlot::Curves
  std::optional<std::size_t> shade;  // the same
};

// Samples that follow each other, as far as a plot shows them.
struct TPlotBucket {
  double first;
  double lowest;
  double highest;
  double last;
};

// Seconds: from <= t < to.
struct TStretch {
  double from;
  double to;
};

class CPlot {
 public:
  std::size_t AddPanel(std::string title, std::string unit, double share);
  std::size_t AddPanelBelow(std::string unit, double share);
  void AddCurve(std::size_t panel, std::string name, std::uint32_t color, bool holds);
  // A curve that isn't drawn: where it isn't 0, the panels that have it are shaded.
  std::size_t AddShade(std::string name);
  void Shade(std::size_t panel, std::size_t shade) { panels[panel].shade = shade; }
  bool Empty() const { return panels.empty(); }
  // Whether a picture has room for a panel and those below it, by their shares of the
  // height, beside what was added.
  bool HasRoomFor(std::initializer_list<double> shares) const;
  // What stands under the axis of time: what the picture leaves out, for instance.
  void SetFootnote(std::string text) { footnote = std::move(text); }
  // The axis of time, in seconds; without it from 0 to the last sample.
  void SetWindow(double from, double to) { window = {from, to}; }

  // One value for each curve, all of which were added before; times ascend. Where samples are too many to be
  // seen, the lowest and the highest of neighbours stand for them.
  void Feed(double time, const std::vector<double>& values);

  // False with a message. Without a sample the axes alone are drawn.
  bool Picture(EFormat format, std::string* bytes, std::string* error) const;

  const std::vector<TPlotPanel>& Panels() const { return panels; }
  const std::vector<TPlotCurve>& Curves() const { return curves; }
  // Of one curve, and when each begins.
  const std::vector<TPlotBucket>& Buckets(std::size_t curve) const { return buckets[curve]; }
  const std::vector<double>& Times() const { return times; }
  std::size_t PerBucket() const { return perBucket; }  // samples
  double LastTime() const { return lastTime; }
  // Where a shade isn't 0.
  std::vector<TStretch> Stretches(std::size_t shade) const;
  TStretch Window() const { return window ? *window : TStretch{0, lastTime > 0 ? lastTime : 1}; }
  const std::string& Footnote() const { return footnote; }

 private:
  void Add(TPlotCurve curve);
  void Halve();

  std::vector<TPlotPanel> panels;
  std::vector<TPlotCurve> curves;
  std::vector<std::vector<TPlotBucket>> buckets;  // by curve
  std::vector<double> times;                      // of a bucket's first sample
  std::size_t mostBuckets = kMostBuckets;         // even
  std::size_t perBucket = 1;                      // samples
  std::size_t inLast = 0;                         // of them
  double lastTime = 0.0;
  std::optional<TStretch> window;
  std::string footnote;
};

}  // namespace painting

#endif
