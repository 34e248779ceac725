#include "painting/views.h"

#include <algorithm>
#include <vector>

#include "host/gaugekit.h"
#include "runtime/instruments/meters.h"
#include "runtime/text/wide_text.h"

namespace painting {

namespace {

constexpr std::uint32_t kCentred = 0x8;
constexpr std::uint32_t kCaptionCapacity = 255;
constexpr std::uint8_t kOverPaper = 0;

bool IsShown(const view::CView& view) { return view.disabled == 0 && view.hidden == 0; }

void PaintText(CCanvas& canvas, const vcont::CStaticText& text) {
  if (text.gContext == nullptr || text.text == nullptr) return;
  const vgr::TGContext& context = *text.gContext;
  const TBox box = {0, 0, static_cast<double>(text.rect.width), static_cast<double>(text.rect.height)};
  if (context.mode == kOverPaper) canvas.Fill(box, context.paper);
  const vgr::TFontInfoEx& font = context.font != nullptr ? *context.font : vgr::SystemN9;
  canvas.CutText(box, runtime::WideView(kCaptionCapacity, text.text), TFont(font),
                 (text.viewOptions & kCentred) != 0 ? EAlign::kCentre : EAlign::kLeft, context.ink);
}

// How far down a description that lies over the top of a meter reaches, in
// the meter's own coordinates.
double DescribedHeight(const view::CView& meter) {
  std::int64_t reached = 0;
  if (meter.parent == nullptr) return 0;
  for (const vcont::CStaticText& text : runtime::TextsOf(*meter.parent)) {
    if (!IsShown(text) || text.rect.width <= 0) continue;
    const std::int64_t left = std::int64_t{text.rect.x} - meter.rect.x;
    const bool isOver = left + text.rect.width > 0 && left < meter.rect.width;
    if (isOver) reached = std::max(reached, std::int64_t{text.rect.y} + text.rect.height - meter.rect.y);
  }
  return static_cast<double>(reached);
}

}  // namespace

void PaintView(CCanvas& canvas, const view::CView& view, const TMeterTexts& texts) {
  if (!IsShown(view) || view.rect.width <= 0 || view.rect.height <= 0) return;
  const CCanvas::CInside inside(canvas, view.rect);
  if (view.kind == view::kStaticText) return PaintText(canvas, static_cast<const vcont::CStaticText&>(view));
  if (view.kind == view::kPlainView) return;
  if (view.kind == view::kMeter) {
    const auto& meter = static_cast<const gaugekit::CMeter&>(view);
    const auto text = texts.find(&meter);
    PaintMeter(canvas, meter, text != texts.end() ? text->second : TMeterText(), DescribedHeight(view));
  }
  std::vector<const view::CView*> children;
  for (const view::CView* child = static_cast<const view::CNodeView&>(view).firstChild; child != nullptr;
       child = child->next) {
    children.push_back(child);
  }
  std::for_each(children.rbegin(), children.rend(),
                [&](const view::CView* child) { PaintView(canvas, *child, texts); });
}

}  // namespace painting
