// Boxes, colours, lines and text on a Cairo context, which stands for any
// format of picture. Lengths are pixels, y grows downward.
#ifndef LOOPBOX_PAINTING_CANVAS_H
#define LOOPBOX_PAINTING_CANVAS_H

#include <cairo.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "host/panes.h"

namespace painting {

struct TBox {
  double x;
  double y;
  double width;
  double height;

  double Right() const { return x + width; }
  double Bottom() const { return y + height; }
  double CenterX() const { return x + width / 2; }
  double CenterY() const { return y + height / 2; }
  bool Empty() const { return !(width > 0 && height > 0); }
  TBox Shrunk(double by) const { return {x + by, y + by, width - 2 * by, height - 2 * by}; }
  // The part left of, or above, a cut; the box keeps the rest.
  TBox CutLeft(double by);
  TBox CutTop(double by);
  TBox CutBottom(double by);
};

struct TPosition {
  double x;
  double y;
};

// A colour word 0x00BBGGRR and how much it covers.
struct TPaint {
  TPaint(std::uint32_t colorWord, double coverage = 1.0) : word(colorWord), alpha(coverage) {}

  std::uint32_t word;
  double alpha;
};

// Between two colours: 0 is the first, 1 the second.
std::uint32_t Mixed(std::uint32_t first, std::uint32_t second, double share);

enum class EAlign { kLeft, kCentre, kRight };

// A font with its size in pixels.
struct TFont {
  explicit TFont(const vgr::TFontInfoEx& info);
  TFont(const vgr::TFontInfoEx& info, double pixelSize) : face(&info), size(pixelSize) {}

  const vgr::TFontInfoEx* face;
  double size;
};

class CCanvas {
 public:
  explicit CCanvas(cairo_t* cairoContext) : context(cairoContext) {}

  // Until the object goes, drawing is clipped to the box, whose corner is the
  // origin. Clipped at whole pixels, so that nothing shines through.
  class CInside {
   public:
    CInside(CCanvas& canvas, const vcom::CRect& rect);
    CInside(CCanvas& canvas, const TBox& clip);  // the origin stays
    ~CInside() { cairo_restore(context); }
    CInside(const CInside&) = delete;
    CInside& operator=(const CInside&) = delete;

   private:
    cairo_t* context;
  };

  void Fill(const TBox& box, TPaint paint);
  void Frame(const TBox& box, double width, TPaint paint);  // inside the box
  void Line(TPosition from, TPosition to, double width, TPaint paint);
  void Dashes(TPosition from, TPosition to, double width, TPaint paint);
  void Disc(TPosition centre, double radius, TPaint paint);
  // Angles in radians, clockwise from the right.
  void Arc(TPosition centre, double radius, double from, double to, double width, TPaint paint);

  // A path by points, then stroked or filled.
  void Begin() { cairo_new_path(context); }
  void Point(TPosition position) { cairo_line_to(context, position.x, position.y); }
  void Stroke(double width, TPaint paint);
  void FillPath(TPaint paint);
  void RoundedPath(const TBox& box, double radius);

  // The text in the middle of the box's height, smaller where it is wider or
  // higher than the box. False, and nothing is drawn, where the smallest size
  // that can be read is still too wide.
  bool Text(const TBox& box, std::u16string_view text, const TFont& font, EAlign align, TPaint paint);
  // The same; a text that is too wide ends with "…".
  void CutText(const TBox& box, std::u16string_view text, const TFont& font, EAlign align, TPaint paint);
  // The width of a text that is drawn at the font's size.
  double TextWidth(std::u16string_view text, const TFont& font);

 private:
  // Text, no smaller than that.
  bool TextOfSize(const TBox& box, std::u16string_view text, const TFont& font, EAlign align, TPaint paint,
                  double smallest);
  // Makes the font as small as the text needs it in the box, no smaller than
  // that; false when it is still too wide.
  bool Fit(const TBox& box, const std::string& text, double smallest, TFont* font, double* width);
  void Use(TPaint paint);
  void Use(const TFont& font);
  double Advance(const char* text);

  cairo_t* context;
};

// The share of a font's size that a line of text takes.
constexpr double kLineShare = 1.25;

// What vgr::GetTextW measures with, once a painter is asked for.
std::int32_t MeasureText(const vgr::TFontInfoEx* font, std::u16string_view text);

}  // namespace painting

#endif
