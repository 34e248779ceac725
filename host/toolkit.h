// The tools library: rectangles, lists, procedure numbers, message groups.
#ifndef LOOPBOX_HOST_TOOLKIT_H
#define LOOPBOX_HOST_TOOLKIT_H

#include <cstdint>

#include "host/panes.h"

#pragma GCC visibility push(default)

namespace hx_main {
class CMsgScanner;
}

namespace toolkit {

void RectInit(vcom::CRect* rect);  // all zero
void RectSet(vcom::CRect* rect, std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height);

void ListInit(vcom::CList* list);   // empty
void ListDone(vcom::CList* list);   // releases the items, leaves the list empty
void ListFirst(vcom::CList* list);  // the next ListNext yields the first item
// False at the end, and then *item is null.
std::uint8_t ListNext(vcom::CList* list, vcom::TListItem** item);

// The procedure number, 16 bits, of an instrument's own procedure identifier.
std::uint16_t IdIndex(std::uint32_t identifier);

// Selects the group in which GetKeyPMsg looks keys up from now on.
void MsgScannerSetGroup(hx_main::CMsgScanner* scanner, std::uint32_t length, const char16_t* group);

}  // namespace toolkit

#pragma GCC visibility pop

#endif
