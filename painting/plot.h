// A plot of quantities over time: panels one below the other that share the
// axis of time, for a page in print. Any number of samples costs the same.
//
//   painting::CPlot plot;
//   const std::size_t panel = plot.AddPanel("heater", "°C", 2);
//   const std::size_t curve = plot.AddCurve(panel, "wish", painting::kPlotOrange, true);
//   plot.Feed(time, {values in the order in which the curves were added});
//   plot.Picture(painting::EFormat::kSvg, &svg, &error);
#ifndef LOOPBOX_PAINTING_PLOT_H
#define LOOPBOX_PAINTING_PLOT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "painting/painting.h"

namespace painting {

// Colour words that people with any kind of colour vision can tell apart:
// Okabe, Ito, Color Universal Design, 2008.
constexpr std::uint32_t kPlotOrange = 0x009FE6;
constexpr std::uint32_t kPlotBlue = 0xB27200;
constexpr std::uint32_t kPlotGreen = 0x739E00;

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
  double share;                     // of the height, beside the other panels'
  std::vector<std::size_t> curves;  // in CPlot::Curves
};

// Samples that follow each other, as far as a plot shows them.
struct TPlotBucket {
  double first;
  double lowest;
  double highest;
  double last;
};

class CPlot {
 public:
  std::size_t AddPanel(std::string title, std::string unit, double share);
  void AddCurve(std::size_t panel, std::string name, std::uint32_t color, bool holds);
  bool Empty() const { return panels.empty(); }

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

 private:
  void Halve();

  std::vector<TPlotPanel> panels;
  std::vector<TPlotCurve> curves;
  std::vector<std::vector<TPlotBucket>> buckets;  // by curve
  std::vector<double> times;                      // of a bucket's first sample
  std::size_t mostBuckets = kMostBuckets;         // even
  std::size_t perBucket = 1;                      // samples
  std::size_t inLast = 0;                         // of them
  double lastTime = 0.0;
};

}  // namespace painting

#endif
