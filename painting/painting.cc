#include "painting/painting.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "host/hx_main.h"
#include "painting/canvas.h"
#include "painting/file_surface.h"
#include "painting/icon.h"
#include "painting/meter_texts.h"
#include "painting/views.h"
#include "runtime/platform/text_metrics.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

using TSurface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

constexpr std::uint32_t kCaptionInk = 0x303030;
// Pixels.
constexpr std::int64_t kMargin = 10;  // right of and below everything
constexpr double kCaptionLeast = 9;   // height of the strip above an instrument
constexpr double kCaptionMost = 16;

struct TInstrument {
  std::string caption;
  const view::CNodeView* view;
  TMeterTexts texts;
};

std::vector<TInstrument> InstrumentsOf(const runtime::CApplication& application) {
  // A sample in each period: else it isn't known when they were.
  const auto stepOf = [&application](const gaugekit::CMeter& meter) {
    return meter.samples == application.PeriodsDone() ? application.Period() : 0;
  };
  std::vector<TInstrument> instruments;
  for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
    const runtime::CInstrumentHandle instrument = application.Instrument(i);
    const view::CNodeView* view = instrument.View();
    if (view == nullptr || view->disabled != 0 || view->rect.width <= 0 || view->rect.height <= 0) continue;
    instruments.push_back({instrument.Title().empty() ? instrument.Name() : instrument.Title(), view,
                           TextsOf(instrument, application.Time(), stepOf)});
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
    extent.left = std::min<std::int64_t>(extent.left, rect.x);
    extent.top = std::min<std::int64_t>(extent.top, rect.y);
    extent.right = std::max(extent.right, std::int64_t{rect.x} + rect.width);
    extent.bottom = std::max(extent.bottom, std::int64_t{rect.y} + rect.height);
  }
  extent.right += kMargin;
  extent.bottom += kMargin;
  return extent;
}

// The free strips above the instruments, each up to the next one or the window's
// edge; empty where it is too low.
std::vector<TBox> CaptionBoxes(const std::vector<TInstrument>& instruments, const TExtent& extent) {
  std::vector<std::size_t> fromAbove(instruments.size());
  std::iota(fromAbove.begin(), fromAbove.end(), std::size_t{0});
  std::vector<std::int64_t> free(instruments.size(), std::numeric_limits<std::int64_t>::max());
  // Of those at one height each sees the earlier ones first, then the later ones.
  for (const bool laterFirst : {false, true}) {
    std::sort(fromAbove.begin(), fromAbove.end(), [&](std::size_t one, std::size_t other) {
      const std::int32_t y = instruments[one].view->rect.y;
      const std::int32_t otherY = instruments[other].view->rect.y;
      return y != otherY ? y < otherY : laterFirst ? one > other : one < other;
    });
    std::vector<std::int64_t> taken(static_cast<std::size_t>(extent.right - extent.left), extent.top);
    for (const std::size_t index : fromAbove) {
      const vcom::CRect& rect = instruments[index].view->rect;
      const auto begin = taken.begin() + (rect.x - extent.left);
      const auto end = begin + rect.width;
      free[index] = std::min(free[index], rect.y - *std::max_element(begin, end));
      for (auto column = begin; column != end; ++column) {
        *column = std::max(*column, std::int64_t{rect.y} + rect.height);
      }
    }
  }
  std::vector<TBox> boxes;
  for (std::size_t i = 0; i < instruments.size(); ++i) {
    const vcom::CRect& rect = instruments[i].view->rect;
    const double height = std::min(static_cast<double>(free[i]), kCaptionMost);
    boxes.push_back(height < kCaptionLeast
                        ? TBox{}
                        : TBox{static_cast<double>(rect.x), rect.y - height, static_cast<double>(rect.width), height});
  }
  return boxes;
}

void PaintWindow(cairo_t* context, const std::vector<TInstrument>& instruments, const TExtent& extent) {
  CCanvas canvas(context);
  canvas.Fill({0, 0, static_cast<double>(extent.right - extent.left), static_cast<double>(extent.bottom - extent.top)},
              kWindowPaper);
  cairo_translate(context, static_cast<double>(-extent.left), static_cast<double>(-extent.top));
  const std::vector<TBox> captions = CaptionBoxes(instruments, extent);
  for (std::size_t i = 0; i < instruments.size(); ++i) {
    PaintView(canvas, *instruments[i].view, instruments[i].texts);
    canvas.CutText(captions[i], runtime::Utf16(instruments[i].caption), TFont(vgr::SystemN9), EAlign::kLeft,
                   kCaptionInk);
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
