#include "host/panes.h"
#include "host/runlib.h"

namespace {

constexpr vgr::TGContext kDefaultContext = {0xFFFFFF, 0x7F7F7F, 0, {}, &vgr::SystemN9, {}};

}  // namespace

namespace view {

CView::CView()
    : rect{},
      parent(nullptr),
      next(nullptr),
      gContext(nullptr),
      viewOptions(0),
      disabled(0),
      hidden(0),
      kind(kPlainView) {}

void CView::Done() {
  void* block = gContext;
  runlib::MemDeallocate(&block);
  gContext = nullptr;
}

void CView::ReceiveEvent(vcore::TEvent*) {}

void CView::NewRect(vcom::CRect newRect) { rect = newRect; }

void CView::SetDisable(std::uint8_t disable) { disabled = disable != 0 ? 1 : 0; }

vgr::TGContext* CView::GetPGContext(std::uint32_t) {
  if (gContext == nullptr) {
    void* block = nullptr;
    runlib::MemAllocate(&block, sizeof(vgr::TGContext));
    if (block == nullptr) {
      // Out of memory: what is written here is lost, and reading finds the default.
      static vgr::TGContext scratch;
      scratch = kDefaultContext;
      return &scratch;
    }
    gContext = static_cast<vgr::TGContext*>(block);
    *gContext = kDefaultContext;
  }
  return gContext;
}

CNodeView::CNodeView() : firstChild(nullptr) { kind = kNodeView; }

void CNodeView::Done() {
  while (firstChild != nullptr) {
    CView* child = firstChild;
    firstChild = child->next;
    child->Done();
    void* block = child;
    runlib::MemDeallocate(&block);
  }
  CView::Done();
}

void CNodeView::Register(CView* child) {
  if (child == nullptr) return;
  CView** link = &firstChild;
  while (*link != nullptr) link = &(*link)->next;
  *link = child;
  child->next = nullptr;
  child->parent = this;
}

void CNodeView::RegisterFirst(CView* child) {
  if (child == nullptr) return;
  child->next = firstChild;
  child->parent = this;
  firstChild = child;
}

}  // namespace view
