// A meter while it is drawn, and the ten faces, one for each mode. A face draws
// within its field; the frame, the grid and the numbers below are drawn before.
#ifndef LOOPBOX_PAINTING_METER_FACE_H
#define LOOPBOX_PAINTING_METER_FACE_H

#include <cstdint>
#include <string>
#include <vector>

#include "host/gaugekit.h"
#include "painting/canvas.h"
#include "painting/meter_painter.h"
#include "painting/scale.h"

namespace painting {

// A limit that the definition gives.
struct TLimit {
  double value;
  std::uint32_t color;
  bool isLow;
  double share;  // of the range
  double from;   // shares between which values are beyond it
  double to;
};

struct TFace {
  CCanvas& canvas;
  const gaugekit::CMeter& meter;
  CScale scale;
  TBox field;           // what the face may draw on
  TBox footer;          // the line of numbers below it; empty: there is no room
  TFont font;           // of labels
  std::uint32_t value;  // colour word: the value's, or that of the limit it is beyond
  bool hasScale;
  bool hasLimits;              // and shows them, if there are any
  std::vector<TLimit> limits;  // the low one before the high one
  const TMeterText& about;

  const gaugekit::TColors& Colors() const { return meter.colors; }
  double Share() const { return scale.Share(meter.meterValue); }
  double LineHeight() const { return font.size * kLineShare; }
  // The lines of both grids over a box.
  void Grid(const TBox& box) const;
  // What the empty part of a track looks like.
  TPaint Hollow() const { return {0x000000, 0.25}; }
  TPaint Outline() const { return {Colors().ink, 0.65}; }
  // A number, shortened where the whole one has no room.
  void Number(const TBox& box, const std::u16string& text, double number, const TFont& withFont, EAlign align,
              TPaint paint) const;
  // What stands for the value: its number and, where its mode was not given, the unit.
  std::u16string ValueText() const;
  // The ends of the range at the footer's ends, where a face has no room for
  // the texts of its scale and no limits stand there.
  void FootRange() const;
};

using TFacePainter = void (*)(const TFace& face);

void PaintDial(const TFace& face);
void PaintHalfDial(const TFace& face);
void PaintBar(const TFace& face);
void PaintColumn(const TFace& face);
void PaintSlider(const TFace& face);
void PaintNumber(const TFace& face);
void PaintLamp(const TFace& face);
void PaintLedBar(const TFace& face);
void PaintThermometer(const TFace& face);
void PaintHistory(const TFace& face);
// Where the definition gives no mode and asks for no scale: name, number and unit,
// and how far the value is within its range.
void PaintUnasked(const TFace& face);

// A scale beside an upright track: its ticks at the left of x, their texts
// right-aligned before them. The width that it takes is ScaleWidth.
double ScaleWidth(const TFace& face, double height);
void PaintScaleLeftOf(const TFace& face, double x, double top, double bottom);
// How many texts a length has room for, each this long.
std::size_t TextsAlong(double length, double each);
// The length that a text of the scale takes along a lying line.
double TextLength(const TFace& face);
double TickLength(const TFace& face);

}  // namespace painting

#endif
