#include "painting/canvas.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <string>

#include "runtime/text/wide_text.h"

namespace painting {

namespace {

constexpr double kPixelsPerPoint = 96.0 / 72.0;
constexpr double kSmallestSize = 6.5;         // pixels: smaller text can't be read
constexpr double kSmallestShare = 0.7;        // of the size asked for, before a text is cut
constexpr double kDash = 4.0;                 // pixels
constexpr std::uint32_t kLargestFont = 1000;  // points

double Channel(std::uint32_t word, unsigned shift) { return (word >> shift & 0xFF) / 255.0; }

// Text is as wide in every format and at every place: no hinting.
struct TFontOptions {
  TFontOptions() : options(cairo_font_options_create()) {
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  }
  ~TFontOptions() { cairo_font_options_destroy(options); }
  TFontOptions(const TFontOptions&) = delete;
  TFontOptions& operator=(const TFontOptions&) = delete;

  cairo_font_options_t* options;
};

}  // namespace

TBox TBox::CutLeft(double by) {
  const TBox cut = {x, y, by, height};
  x += by;
  width -= by;
  return cut;
}

TBox TBox::CutTop(double by) {
  const TBox cut = {x, y, width, by};
  y += by;
  height -= by;
  return cut;
}

TBox TBox::CutBottom(double by) {
  height -= by;
  return {x, Bottom(), width, by};
}

std::uint32_t Mixed(std::uint32_t first, std::uint32_t second, double share) {
  std::uint32_t mixed = 0;
  for (const unsigned shift : {0u, 8u, 16u}) {
    const double a = first >> shift & 0xFF;
    const double b = second >> shift & 0xFF;
    mixed |= static_cast<std::uint32_t>(std::lround(a + (b - a) * std::clamp(share, 0.0, 1.0))) << shift;
  }
  return mixed;
}

TFont::TFont(const vgr::TFontInfoEx& info)
    : face(&info), size(kPixelsPerPoint * std::clamp(info.size, 1u, kLargestFont)) {}

CCanvas::CInside::CInside(CCanvas& canvas, const vcom::CRect& rect) : context(canvas.context) {
  cairo_save(context);
  cairo_translate(context, rect.x, rect.y);
  cairo_rectangle(context, 0, 0, std::max(rect.width, 0), std::max(rect.height, 0));
  cairo_clip(context);
}

CCanvas::CInside::CInside(CCanvas& canvas, const TBox& clip) : context(canvas.context) {
  cairo_save(context);
  cairo_rectangle(context, clip.x, clip.y, std::max(clip.width, 0.0), std::max(clip.height, 0.0));
  cairo_clip(context);
}

void CCanvas::Use(TPaint paint) {
  cairo_set_source_rgba(context, Channel(paint.word, 0), Channel(paint.word, 8), Channel(paint.word, 16), paint.alpha);
}

void CCanvas::Fill(const TBox& box, TPaint paint) {
  if (box.Empty()) return;
  Use(paint);
  cairo_rectangle(context, box.x, box.y, box.width, box.height);
  cairo_fill(context);
}

void CCanvas::Frame(const TBox& box, double width, TPaint paint) {
  Fill({box.x, box.y, box.width, width}, paint);
  Fill({box.x, box.Bottom() - width, box.width, width}, paint);
  Fill({box.x, box.y + width, width, box.height - 2 * width}, paint);
  Fill({box.Right() - width, box.y + width, width, box.height - 2 * width}, paint);
}

void CCanvas::Stroke(double width, TPaint paint) {
  Use(paint);
  cairo_set_line_width(context, width);
  cairo_set_line_join(context, CAIRO_LINE_JOIN_ROUND);
  cairo_stroke(context);
}

void CCanvas::FillPath(TPaint paint) {
  Use(paint);
  cairo_fill(context);
}

void CCanvas::Line(TPosition from, TPosition to, double width, TPaint paint) {
  Begin();
  Point(from);
  Point(to);
  Stroke(width, paint);
}

void CCanvas::Dashes(TPosition from, TPosition to, double width, TPaint paint) {
  cairo_set_dash(context, &kDash, 1, 0);
  Line(from, to, width, paint);
  cairo_set_dash(context, nullptr, 0, 0);
}

void CCanvas::Disc(TPosition centre, double radius, TPaint paint) {
  Begin();
  cairo_arc(context, centre.x, centre.y, std::max(radius, 0.0), 0, 2 * std::numbers::pi);
  FillPath(paint);
}

void CCanvas::Arc(TPosition centre, double radius, double from, double to, double width, TPaint paint) {
  if (!(to > from)) return;
  Begin();
  cairo_arc(context, centre.x, centre.y, std::max(radius, 0.0), from, to);
  Stroke(width, paint);
}

void CCanvas::RoundedPath(const TBox& box, double radius) {
  constexpr double kQuarter = std::numbers::pi / 2;
  const double r = std::clamp(radius, 0.0, std::max(std::min(box.width, box.height) / 2, 0.0));
  cairo_new_path(context);
  cairo_arc(context, box.Right() - r, box.y + r, r, -kQuarter, 0);
  cairo_arc(context, box.Right() - r, box.Bottom() - r, r, 0, kQuarter);
  cairo_arc(context, box.x + r, box.Bottom() - r, r, kQuarter, 2 * kQuarter);
  cairo_arc(context, box.x + r, box.y + r, r, 2 * kQuarter, 3 * kQuarter);
  cairo_close_path(context);
}

void CCanvas::Use(const TFont& font) {
  static const TFontOptions fontOptions;
  const std::string family = runtime::Utf8(runtime::WideView(std::size(font.face->family), font.face->family));
  cairo_select_font_face(context, family.c_str(),
                         font.face->italic != 0 ? CAIRO_FONT_SLANT_ITALIC : CAIRO_FONT_SLANT_NORMAL,
                         font.face->bold != 0 ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(context, font.size);
  cairo_set_font_options(context, fontOptions.options);
}

double CCanvas::Advance(const char* text) {
  cairo_text_extents_t extents;
  cairo_text_extents(context, text, &extents);
  return extents.x_advance;
}

double CCanvas::TextWidth(std::u16string_view text, const TFont& font) {
  Use(font);
  return Advance(runtime::Utf8(text).c_str());
}

bool CCanvas::Fit(const TBox& box, const std::string& text, double smallest, TFont* font, double* width) {
  font->size = std::min(font->size, box.height / kLineShare);
  Use(*font);
  *width = Advance(text.c_str());
  if (*width <= box.width) return true;
  font->size *= box.width / *width;
  *width = box.width;
  return font->size >= smallest;
}

bool CCanvas::TextOfSize(const TBox& box, std::u16string_view text, const TFont& font, EAlign align, TPaint paint,
                         double smallest) {
  if (text.empty() || box.Empty()) return true;
  const std::string shown = runtime::Utf8(text);
  TFont fitted = font;
  double width = 0.0;
  if (!Fit(box, shown, smallest, &fitted, &width)) return false;
  Use(fitted);
  cairo_font_extents_t line;
  cairo_font_extents(context, &line);
  const double free = box.width - width;
  const double x = box.x + (align == EAlign::kLeft ? 0 : align == EAlign::kCentre ? free / 2 : free);
  Use(paint);
  cairo_move_to(context, x, box.CenterY() + (line.ascent - line.descent) / 2);
  cairo_show_text(context, shown.c_str());
  return true;
}

bool CCanvas::Text(const TBox& box, std::u16string_view text, const TFont& font, EAlign align, TPaint paint) {
  return TextOfSize(box, text, font, align, paint, kSmallestSize);
}

void CCanvas::CutText(const TBox& box, std::u16string_view text, const TFont& font, EAlign align, TPaint paint) {
  if (box.Empty()) return;
  const double smallest = std::max(kSmallestSize, font.size * kSmallestShare);
  const auto fits = [&](std::u16string_view part, const char* end) {
    TFont fitted = font;
    double width = 0.0;
    return Fit(box, runtime::Utf8(part) + end, smallest, &fitted, &width);
  };
  // A text may be long: nothing is measured that is longer than twice what fits.
  std::size_t tooLong = 1;
  while (tooLong < text.size() && fits(text.substr(0, tooLong), "")) tooLong *= 2;
  if (tooLong >= text.size() && TextOfSize(box, text, font, align, paint, smallest)) return;
  tooLong = std::min(tooLong, text.size());
  std::size_t length = 0;
  while (tooLong - length > 1) {
    const std::size_t middle = length + (tooLong - length) / 2;
    (fits(text.substr(0, middle), "…") ? length : tooLong) = middle;
  }
  if (length == 0) return;
  TextOfSize(box, std::u16string(text.substr(0, length)) + u"…", font, align, paint, smallest);
}

std::int32_t MeasureText(const vgr::TFontInfoEx* font, std::u16string_view text) {
  static const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
      cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1), cairo_surface_destroy);
  static const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context(cairo_create(surface.get()), cairo_destroy);
  const double width = std::ceil(CCanvas(context.get()).TextWidth(text, TFont(*font)));
  constexpr double kMaximum = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(width, 0.0, kMaximum));
}

}  // namespace painting
