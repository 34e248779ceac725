#include <algorithm>
#include <string_view>

#include "host/panes.h"
#include "host/runlib.h"
#include "runtime/platform/capacities.h"
#include "runtime/platform/text_metrics.h"
#include "runtime/text/wide_text.h"

namespace vcont {

CStaticText::CStaticText() : text(nullptr), height(0) { kind = view::kStaticText; }

void CStaticText::Init(vcom::CRect newRect, std::uint32_t capacity, const char16_t* newText) {
  // The copy comes before the release, since the new text may be the old one.
  const std::u16string_view source = runtime::WideView(std::min(capacity, runtime::kTextCapacity), newText);
  void* copy = nullptr;
  runlib::MemAllocate(&copy, (source.size() + 1) * sizeof(char16_t));
  runtime::AssignWide(runtime::kTextCapacity, static_cast<char16_t*>(copy), source);
  void* old = text;
  runlib::MemDeallocate(&old);
  text = static_cast<char16_t*>(copy);

  if (newRect.height == 0) newRect.height = runtime::LineHeight(gContext != nullptr ? gContext->font : nullptr);
  height = newRect.height;
  NewRect(newRect);
}

void CStaticText::Done() {
  void* block = text;
  runlib::MemDeallocate(&block);
  text = nullptr;
  CView::Done();
}

}  // namespace vcont
