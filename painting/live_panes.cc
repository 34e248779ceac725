#include "painting/live_panes.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <type_traits>

#include "host/gaugekit.h"
#include "painting/canvas.h"
#include "painting/file_surface.h"
#include "painting/meter_texts.h"
#include "painting/views.h"
#include "runtime/instruments/driver.h"

namespace painting {

namespace {

// What a picture reads, and a period or a script may change.
struct TViewState {
  std::uint32_t ink;  // of a text
  std::uint32_t paper;
  std::uint8_t disabled;
  std::uint8_t hidden;
};

struct TMeterState {
  double value;
  double rangeFrom;
  double rangeTo;
  double lowLimit;
  double highLimit;
  double realStep;
  std::uint64_t samples;
  std::uint32_t mode;
  std::uint32_t content;
  std::uint32_t decPlaces;
  std::uint32_t curveColors[gaugekit::CBufferPainter::kMaximumCurves];
  gaugekit::TColors colors;
};

struct TMomentState {
  double time;
  std::uint64_t periods;
};

template <typename TState>
constexpr std::size_t kNumbers = (sizeof(TState) + sizeof(double) - 1) / sizeof(double);

// The numbers are a place for bytes: nobody computes with them.
template <typename TState>
double* Put(const TState& state, double* numbers) {
  static_assert(std::is_trivially_copyable_v<TState>);
  std::memcpy(numbers, &state, sizeof state);
  return numbers + kNumbers<TState>;
}

template <typename TState>
const double* Get(TState* state, const double* numbers) {
  std::memcpy(state, numbers, sizeof *state);
  return numbers + kNumbers<TState>;
}

vgr::TGContext* ContextOf(view::CView& view) { return view.kind == view::kStaticText ? view.gContext : nullptr; }

// A view, then what is in it.
void Collect(view::CView& view, std::vector<view::CView*>* views) {
  views->push_back(&view);
  if (view.kind == view::kPlainView || view.kind == view::kStaticText) return;
  for (view::CView* child = static_cast<view::CNodeView&>(view).firstChild; child != nullptr; child = child->next) {
    Collect(*child, views);
  }
}

// The histories that are drawn in one of the views.
std::set<const double*> HistoriesIn(const std::vector<view::CView*>& views) {
  std::set<const double*> drawn;
  for (const view::CView* view : views) {
    if (view->kind != view::kMeter) continue;
    const gaugekit::CBufferPainter& painter = static_cast<const gaugekit::CMeter*>(view)->painter;
    if (painter.enable == 0 || painter.created == 0) continue;
    for (std::uint32_t i = 0; i < painter.curveCount; ++i) drawn.insert(painter.curves[i].buffer);
  }
  return drawn;
}

}  // namespace

struct CLivePanes::TPlace {
  view::CView* view;
  gaugekit::CMeter* meter;    // null: it is none
  std::size_t samples;        // of its history that are kept; 0: none are
  std::uint64_t known;        // samples that it had when it was shown last
  bool isEachPeriod = false;  // one in each of the periods shown
};

CLivePanes::CLivePanes(runtime::CApplication& theApplication)
    : application(theApplication), size(kNumbers<TMomentState>) {
  for (const runtime::TInstrumentState& instrument : runtime::StateOf(application).instruments) {
    std::vector<view::CView*> views;
    Collect(*instrument.object, &views);
    const std::set<const double*> drawn = HistoriesIn(views);
    for (view::CView* const view : views) {
      auto* const meter = view->kind == view::kMeter ? static_cast<gaugekit::CMeter*>(view) : nullptr;
      const bool hasHistory = meter != nullptr && drawn.contains(meter->historyBuffer);
      const std::size_t samples = hasHistory ? std::min(std::size_t{meter->history} + 1, kMostSamples) : 0;
      places.push_back({view, meter, samples, hasHistory ? meter->samples : 0});
      size += kNumbers<TViewState> + (meter != nullptr ? kNumbers<TMeterState> + samples : 0);
    }
  }
}

CLivePanes::~CLivePanes() = default;

void CLivePanes::Keep(std::span<double> numbers) const {
  double* end = Put(TMomentState{application.Time(), application.PeriodsDone()}, numbers.data());
  for (const TPlace& place : places) {
    const vgr::TGContext* const context = ContextOf(*place.view);
    end = Put(TViewState{context != nullptr ? context->ink : 0, context != nullptr ? context->paper : 0,
                         place.view->disabled, place.view->hidden},
              end);
    if (place.meter == nullptr) continue;
    const gaugekit::CMeter& meter = *place.meter;
    end = Put(TMeterState{meter.meterValue,
                          meter.rangeFrom,
                          meter.rangeTo,
                          meter.lowLimit,
                          meter.highLimit,
                          meter.realStep,
                          meter.samples,
                          meter.mode,
                          meter.content,
                          meter.decPlaces,
                          {meter.painter.curves[0].color, meter.painter.curves[1].color},
                          meter.colors},
              end);
    if (place.samples == 0) continue;
    end = std::copy_n(meter.historyBuffer + meter.history + 1 - place.samples, place.samples, end);
  }
}

void CLivePanes::Show(std::span<const double> numbers) {
  TMomentState moment;
  const double* end = Get(&moment, numbers.data());
  time = moment.time;
  periods = moment.periods;
  for (TPlace& place : places) {
    TViewState view;
    end = Get(&view, end);
    place.view->disabled = view.disabled;
    place.view->hidden = view.hidden;
    if (vgr::TGContext* const context = ContextOf(*place.view)) {
      context->ink = view.ink;
      context->paper = view.paper;
    }
    if (place.meter == nullptr) continue;
    gaugekit::CMeter& meter = *place.meter;
    TMeterState shown;
    end = Get(&shown, end);
    meter.meterValue = shown.value;
    meter.rangeFrom = shown.rangeFrom;
    meter.rangeTo = shown.rangeTo;
    meter.lowLimit = shown.lowLimit;
    meter.highLimit = shown.highLimit;
    meter.realStep = shown.realStep;
    meter.mode = shown.mode;
    meter.content = shown.content;
    meter.decPlaces = shown.decPlaces;
    meter.painter.curves[0].color = shown.curveColors[0];
    meter.painter.curves[1].color = shown.curveColors[1];
    meter.colors = shown.colors;
    place.isEachPeriod = shown.samples == periods;
    if (place.samples == 0) continue;
    // Those that are new push out the oldest.
    const std::size_t length = std::size_t{meter.history} + 1;
    const std::uint64_t fresh = shown.samples - place.known;
    const std::size_t taken = std::min<std::uint64_t>(fresh, place.samples);
    std::copy(meter.historyBuffer + taken, meter.historyBuffer + length, meter.historyBuffer);
    std::copy_n(end + place.samples - taken, taken, meter.historyBuffer + length - taken);
    end += place.samples;
    place.known = shown.samples;
    meter.samples = fresh == taken ? meter.samples + fresh : taken;
  }
}

std::optional<TPictureSize> CLivePanes::SizeOf(std::size_t instrument) const {
  const view::CNodeView& view = *application.Instrument(instrument).View();
  if (view.disabled != 0 || view.rect.width <= 0 || view.rect.height <= 0) return std::nullopt;
  return TPictureSize{view.rect.width, view.rect.height};
}

bool CLivePanes::InstrumentPicture(std::size_t index, EFormat format, TPictureSize room, std::string* bytes,
                                   std::string* error) const {
  const runtime::CInstrumentHandle instrument = application.Instrument(index);
  const std::optional<TPictureSize> own = SizeOf(index);
  if (!own) {
    *error = "'" + instrument.Name() + "' is not seen in the window";
    return false;
  }
  if (room.width < 1 || room.height < 1 || room.width > kLargestSide || room.height > kLargestSide ||
      std::int64_t{room.width} * room.height > kLargestArea) {
    *error = "a picture of that size can't be drawn";
    return false;
  }
  const auto stepOf = [this](const gaugekit::CMeter& meter) {
    const auto place = std::find_if(places.begin(), places.end(), [&](const TPlace& at) { return at.meter == &meter; });
    return place->isEachPeriod ? application.Period() : 0;
  };
  const TMeterTexts texts = TextsOf(instrument, time, stepOf);
  const double width = room.width;
  const double height = room.height;
  const auto paint = [&](cairo_t* context) {
    CCanvas canvas(context);
    canvas.Fill({0, 0, width, height}, kWindowPaper);
    const double scale = std::min(width / own->width, height / own->height);
    cairo_translate(context, (width - own->width * scale) / 2, (height - own->height * scale) / 2);
    cairo_scale(context, scale, scale);
    cairo_translate(context, -instrument.View()->rect.x, -instrument.View()->rect.y);
    PaintView(canvas, *instrument.View(), texts);
  };
  return DrawFile(format, width, height, paint, bytes, error);
}

}  // namespace painting
