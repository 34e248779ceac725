// The tools library: rectangles, receiver lists, procedure numbers, values.
#include "host/toolkit.h"

#include "host/hx_main.h"
#include "host/runlib.h"

namespace toolkit {

void RectInit(vcom::CRect* rect) { RectSet(rect, 0, 0, 0, 0); }

void RectSet(vcom::CRect* rect, std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) {
  *rect = {x, y, width, height};
}

void ListInit(vcom::CList* list) { *list = {nullptr, nullptr, nullptr}; }

void ListDone(vcom::CList* list) {
  while (list->first != nullptr) {
    void* block = list->first;
    list->first = list->first->next;
    runlib::MemDeallocate(&block);
  }
  ListInit(list);
}

void ListFirst(vcom::CList* list) { list->cursor = list->first; }

std::uint8_t ListNext(vcom::CList* list, vcom::TListItem** item) {
  *item = list->cursor;
  if (*item == nullptr) return 0;
  list->cursor = list->cursor->next;
  return 1;
}

std::uint16_t IdIndex(std::uint32_t identifier) { return static_cast<std::uint16_t>(identifier & 0xFFFF); }

}  // namespace toolkit
