// The round faces: dial, half dial and lamp.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "painting/meter_face.h"

namespace painting {

namespace {

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kTextRadius = 27;  // pixels: smaller rings have no texts

// A ring around a centre; the range runs clockwise from one angle to the other.
struct TRing {
  TPosition centre;
  double radius;
  double from;  // radians, clockwise from the right
  double to;

  double Angle(double share) const { return from + (to - from) * share; }
  TPosition At(double share, double distance) const { return Towards(Angle(share), distance); }
  TPosition Towards(double angle, double distance) const {
    return {centre.x + distance * std::cos(angle), centre.y + distance * std::sin(angle)};
  }
};

// The largest ring whose gap is at the bottom, in the middle of a box.
TRing RingIn(const TBox& box, double from, double to, double below) {
  const double foot = std::max(std::sin(from), 0.0);  // below the centre, in radii
  const double radius = std::max(std::min(box.width / 2, (box.height - below) / (1 + foot)), 2.0);
  const double height = radius * (1 + foot) + below;
  return {{box.CenterX(), box.y + (box.height - height) / 2 + radius}, radius, from, to};
}

// Each text touches the circle of that radius from inside.
void PaintTexts(const TFace& face, const TRing& ring, const std::vector<TTick>& ticks, double radius) {
  for (const TTick& tick : ticks) {
    if (tick.text.empty()) continue;
    const TPosition at = ring.At(tick.share, radius);
    const double angle = ring.Angle(tick.share);
    const double width = face.canvas.TextWidth(tick.text, face.font) + 1;
    const double height = face.LineHeight();
    face.canvas.Text(
        {at.x - width / 2 * (1 + std::cos(angle)), at.y - height / 2 * (1 + 0.7 * std::sin(angle)), width, height},
        tick.text, face.font, EAlign::kCentre, face.Colors().ink);
  }
}

// The ring with what its content asks for.
void PaintRing(const TFace& face, const TRing& ring) {
  const double width = std::max(1.0, ring.radius * 0.03);
  const double band = std::max(2.5, ring.radius * 0.09);
  const TPaint line = face.Outline();
  face.canvas.Arc(ring.centre, ring.radius - band / 2, ring.from, ring.to, band, face.Hollow());
  if (face.hasLimits) {
    for (const TLimit& limit : face.limits) {
      face.canvas.Arc(ring.centre, ring.radius - band / 2, ring.Angle(limit.from), ring.Angle(limit.to), band,
                      limit.color);
    }
  }
  face.canvas.Arc(ring.centre, ring.radius - width / 2, ring.from, ring.to, width, line);
  if (!face.hasScale) {
    for (const double share : {0.0, 0.5, 1.0}) {
      face.canvas.Line(ring.At(share, ring.radius), ring.At(share, ring.radius - band * 1.4), width, face.Colors().ink);
    }
    return;
  }
  const bool hasTexts = ring.radius >= kTextRadius;
  const double length = ring.radius * (ring.to - ring.from);
  const auto ticks = face.scale.Ticks(TextsAlong(length * 0.6, TextLength(face)));
  const double smallSpacing = length / static_cast<double>(std::max<std::size_t>(ticks.size(), 1));
  for (const TTick& tick : ticks) {
    const bool isMajor = !tick.text.empty();
    if (!isMajor && smallSpacing < 3.5) continue;
    const double inner = ring.radius - band * (isMajor ? 1.5 : 1.0);
    face.canvas.Line(ring.At(tick.share, ring.radius), ring.At(tick.share, inner), isMajor ? width * 1.3 : width * 0.7,
                     face.Colors().ink);
  }
  if (face.hasLimits) {
    for (const TLimit& limit : face.limits) {
      face.canvas.Line(ring.At(limit.share, ring.radius), ring.At(limit.share, ring.radius - band * 1.6), width * 2,
                       limit.color);
    }
  }
  if (hasTexts) {
    PaintTexts(face, ring, ticks, ring.radius - band * 1.5 - face.font.size * 0.3);
  } else {
    face.FootRange();
  }
}

void PaintNeedle(const TFace& face, const TRing& ring) {
  const double angle = ring.Angle(face.Share());
  const double half = std::max(1.3, ring.radius * 0.045);
  const auto needle = [&](double extra) {
    face.canvas.Begin();
    face.canvas.Point(ring.Towards(angle, ring.radius * 0.93 + extra));
    face.canvas.Point(ring.Towards(angle + std::numbers::pi / 2, half + extra));
    face.canvas.Point(ring.Towards(angle - std::numbers::pi / 2, half + extra));
  };
  needle(ring.radius * 0.02);
  face.canvas.FillPath({0x000000, 0.35});
  needle(0);
  face.canvas.FillPath(face.value);
  face.canvas.Disc(ring.centre, half * 1.9, face.Colors().ink);
  face.canvas.Disc(ring.centre, half * 1.1, Mixed(face.Colors().ink, face.Colors().paper, 0.7));
}

}  // namespace

void PaintDial(const TFace& face) {
  const TRing ring = RingIn(face.field, 135 * kDegree, 405 * kDegree, 0);
  PaintRing(face, ring);
  PaintNeedle(face, ring);
}

void PaintHalfDial(const TFace& face) {
  const double hub = std::max(3.0, std::min(face.field.width / 2, face.field.height) * 0.09);
  const TRing ring = RingIn(face.field, 180 * kDegree, 360 * kDegree, hub);
  PaintRing(face, ring);
  PaintNeedle(face, ring);
}

// Lit beyond the beginning of its range, the brighter the further, and always
// beyond a limit. With a scale, a ring around it shows how far.
void PaintLamp(const TFace& face) {
  const TRing ring =
      face.hasScale
          ? RingIn(face.field, 135 * kDegree, 405 * kDegree, 0)
          : TRing{
                {face.field.CenterX(), face.field.CenterY()}, std::min(face.field.width, face.field.height) / 2, 0, 0};
  double radius = ring.radius;
  if (face.hasScale) {
    PaintRing(face, ring);
    const double band = std::max(2.5, ring.radius * 0.09);
    face.canvas.Arc(ring.centre, ring.radius - band / 2, ring.from, ring.Angle(face.Share()), band * 0.5, face.value);
    radius = ring.radius >= kTextRadius ? ring.radius - band * 1.5 - face.font.size * 2.1 : ring.radius - band * 2;
  }
  const bool isAlarm = face.value != face.Colors().value;
  const bool isLit = isAlarm || face.Share() > 0;
  constexpr double kDimmest = 0.6;
  const double light = isAlarm ? 1 : isLit ? kDimmest + (1 - kDimmest) * face.Share() : 0.15;
  face.canvas.Disc(ring.centre, radius, Mixed(face.Colors().ink, 0x000000, 0.3));
  face.canvas.Disc(ring.centre, radius * 0.9, Mixed(0x000000, face.value, light));
  if (isLit) {
    face.canvas.Disc({ring.centre.x - radius * 0.28, ring.centre.y - radius * 0.3}, radius * 0.24, {0xFFFFFF, 0.45});
  }
}

}  // namespace painting
