#include "painting/painting.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "host/hx_main.h"
#include "painting/canvas.h"
#include "painting/file_surface.h"
#include "painting/icon.h"
#include "painting/views.h"
#include "runtime/platform/text_metrics.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

using TSurface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

constexpr std::uint32_t kWindowPaper = 0xDCD8D4;
constexpr std::uint32_t kCaptionInk = 0x303030;
// Pixels.
constexpr std::int64_t kMargin = 10;  // right of and below everything
constexpr double kCaptionLeast = 9;   // height of the strip above an instrument
constexpr double kCaptionMost = 16;

struct TInstrument {
  std::string caption;
  const view::CNodeView* view;
};

std::vector<TInstrument> InstrumentsOf(const runtime::CApplication& application) {
  std::vector<TInstrument> instruments;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application.Instrument(i);
    const view::CNodeView* view = instrument.View();
    if (view == nullptr || view->disabled != 0) continue;
    instruments.push_back({instrument.Title().empty() ? instrument.Name() : instrument.Title(), view});
  }
  return instruments;
}

// Left and top are negative where an instrument is.
struct TExtent {
  std::int64_t left = 0;
  std::int64_t top = 0;
  std::int64_t right = 0;
  std::int64_t bottom = 0;
};

TExtent ExtentOf(const std::vector<TInstrument>& instruments) {
  TExtent extent;
  for (const TInstrument& instrument : instruments) {
    const vcom::CRect& rect = instrument.view->rect;
    if (rect.width <= 0 || rect.height <= 0) continue;
    extent.left = std::min<std::int64_t>(extent.left, rect.x);
    extent.top = std::min<std::int64_t>(extent.top, rect.y);
    extent.right = std::max(extent.right, std::int64_t{rect.x} + rect.width);
    extent.bottom = std::max(extent.bottom, std::int64_t{rect.y} + rect.height);
  }
  extent.right += kMargin;
  extent.bottom += kMargin;
  return extent;
}

// The free strip above an instrument, up to the next one or the window's edge.
TBox CaptionBox(const std::vector<TInstrument>& instruments, const TInstrument& captioned, const TExtent& extent) {
  const vcom::CRect& rect = captioned.view->rect;
  double free = static_cast<double>(rect.y - extent.top);
  for (const TInstrument& other : instruments) {
    const vcom::CRect& above = other.view->rect;
    const bool sharesColumns = std::int64_t{above.x} < std::int64_t{rect.x} + rect.width &&
                               std::int64_t{rect.x} < std::int64_t{above.x} + above.width;
    if (&other == &captioned || !sharesColumns || above.y > rect.y) continue;
    free = std::min(free, static_cast<double>(std::int64_t{rect.y} - above.y - above.height));
  }
  if (free < kCaptionLeast) return {};
  const double height = std::min(free, kCaptionMost);
  return {static_cast<double>(rect.x), rect.y - height, static_cast<double>(rect.width), height};
}

void PaintWindow(cairo_t* context, const std::vector<TInstrument>& instruments, const TExtent& extent) {
  CCanvas canvas(context);
  canvas.Fill({0, 0, static_cast<double>(extent.right - extent.left), static_cast<double>(extent.bottom - extent.top)},
              kWindowPaper);
  cairo_translate(context, static_cast<double>(-extent.left), static_cast<double>(-extent.top));
  for (const TInstrument& instrument : instruments) {
    PaintView(canvas, *instrument.view);
    canvas.CutText(CaptionBox(instruments, instrument, extent), runtime::Utf16(instrument.caption),
                   TFont(vgr::SystemN9), EAlign::kLeft, kCaptionInk);
  }
}

}  // namespace

bool IsBuiltIn(std::string*) { return true; }

void UseFontMetrics() { runtime::SetTextMeasure(MeasureText); }

bool Picture(const runtime::CApplication& application, EFormat format, std::string* bytes, std::string* error) {
  const std::vector<TInstrument> instruments = InstrumentsOf(application);
  const TExtent extent = ExtentOf(instruments);
  const std::int64_t width = extent.right - extent.left;
  const std::int64_t height = extent.bottom - extent.top;
  if (width > kLargestSide || height > kLargestSide || width * height > kLargestArea) {
    *error = "the window would be " + std::to_string(width) + " × " + std::to_string(height) +
             " pixels, which is too large to draw; the positions of its instruments are far apart";
    return false;
  }
  return DrawFile(
      format, static_cast<double>(width), static_cast<double>(height),
      [&](cairo_t* context) { PaintWindow(context, instruments, extent); }, bytes, error);
}

bool IconPicture(const std::uint8_t* icon, std::string* bytes, std::string* error) {
  TIcon decoded;
  if (!DecodeIcon(icon, &decoded)) {
    *error = "the image has not the signatures of an icon";
    return false;
  }
  bytes->clear();
  const TSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, decoded.width, decoded.height),
                         cairo_surface_destroy);
  unsigned char* rows = cairo_image_surface_get_data(surface.get());
  const int stride = cairo_image_surface_get_stride(surface.get());
  for (int y = 0; rows != nullptr && y < decoded.height; ++y) {
    std::copy_n(decoded.pixels.data() + std::size_t{1} * y * decoded.width, decoded.width,
                reinterpret_cast<std::uint32_t*>(rows + std::ptrdiff_t{1} * y * stride));
  }
  cairo_surface_mark_dirty(surface.get());
  const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), AppendBytes, bytes);
  if (status != CAIRO_STATUS_SUCCESS) *error = std::string("the picture failed: ") + cairo_status_to_string(status);
  return status == CAIRO_STATUS_SUCCESS;
}

}  // namespace painting
