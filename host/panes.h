// The view framework: rectangles, lists, events, graphic contexts, fonts,
// views with their tree, static texts and the millisecond clock.
#ifndef LOOPBOX_HOST_PANES_H
#define LOOPBOX_HOST_PANES_H

#include <cstdint>

#pragma GCC visibility push(default)

namespace vcom {

// A rectangle; a child's is in its parent's coordinates.
struct CRect {
  std::int32_t x;
  std::int32_t y;
  std::int32_t width;
  std::int32_t height;
};

struct TPoint {
  std::int32_t x;
  std::int32_t y;
};

// One receiver of a list: two words that only the host understands.
struct TListItem {
  std::uint32_t words[2];
  TListItem* next;
};

// A list of receiver items. The holder sets it up with ListInit; the items
// belong to the list and are released by ListDone, which leaves it empty.
struct CList {
  TListItem* first;
  TListItem* last;
  TListItem* cursor;  // what ListNext yields next
};

}  // namespace vcom

namespace vtape {

enum TTokenKind : std::uint32_t {
  kTokenEnd = 0,
  kTokenIdentifier = 1,
  kTokenNumber = 2,
  kTokenString = 3,
  kTokenPunctuation = 4,
};

// A token; `text` is the scanner's current-token buffer, overwritten by the
// next token read (at most 1023 characters are kept there).
struct TToken {
  std::uint32_t kind;
  const char16_t* text;
};

}  // namespace vtape

namespace vcore {

// An event; what the further words mean depends on the first.
struct TEvent {
  std::uint32_t words[4];
};

constexpr std::uint32_t kEventKeep = 0x4000;   // keep what was learnt
constexpr std::uint32_t kKeepAtEnd = 1;        // second word: the run ends
constexpr std::uint32_t kKeepOnRequest = 800;  // second word: the application asked

constexpr std::uint32_t kMillisecondsPerDay = 86'400'000;

// The application's clock in milliseconds, 0 to 86,399,999, restarting daily.
// It stands still within a period.
std::uint32_t GetTimeMS();

void Init_();

}  // namespace vcore

namespace vgr {

struct TFontInfoEx {
  char16_t family[32];
  std::uint32_t size;  // points
  std::uint8_t bold;
  std::uint8_t italic;
};

// A view's graphic context. 64 bytes, copied as they are.
struct TGContext {
  std::uint32_t ink;    // colour word 0x00BBGGRR
  std::uint32_t paper;  // colour word
  std::uint8_t mode;    // 0: paint over the paper, 1: transparent
  std::uint8_t reserved[7];
  const TFontInfoEx* font;  // not owned
  std::uint8_t reserved2[64 - 16 - sizeof(void*)];
};
static_assert(sizeof(TGContext) == 64);

extern const TFontInfoEx SystemN9;

// Width in pixels of a text of at most `maximum` characters.
std::int32_t GetTextW(const TFontInfoEx* font, std::uint32_t maximum, const char16_t* text);

void Init_();

}  // namespace vgr

namespace view {

class CNodeView;

enum TViewKind : std::uint8_t { kPlainView, kNodeView, kStaticText, kInstrument, kMeter };

// Anything with a place on the screen. Objects are built in two steps and end
// with Done; they are never deleted through a pointer.
class CView {
 public:
  CView();

  // Host, once, at the end: releases what the view owns. The caller then
  // releases the view's own block.
  virtual void Done();
  // Host, whenever an event is sent; the event is the caller's.
  virtual void ReceiveEvent(vcore::TEvent* event);
  // Anyone: gives the view its rectangle in its parent's coordinates.
  virtual void NewRect(vcom::CRect newRect);

  // 1 takes the view out of the picture, 0 puts it back.
  void SetDisable(std::uint8_t disable);
  // The view's graphic context number 16 (the only one); never null.
  vgr::TGContext* GetPGContext(std::uint32_t number);

  vcom::CRect rect;
  CNodeView* parent;
  CView* next;                // towards the end of the parent's children
  vgr::TGContext* gContext;   // owned, from MemAllocate; null: the default one
  std::uint32_t viewOptions;  // bit 0x8: centred text
  std::uint8_t disabled;
  std::uint8_t hidden;  // by blinking
  TViewKind kind;

 protected:
  ~CView() = default;
};

// A view with children, which it owns: its Done ends and releases them.
class CNodeView : public CView {
 public:
  CNodeView();
  void Done() override;

  void Register(CView* child);       // at the end of the children
  void RegisterFirst(CView* child);  // at the front

  CView* firstChild;

 protected:
  ~CNodeView() = default;
};

void Init_();

}  // namespace view

namespace vcont {

class CStaticText final : public view::CView {
 public:
  CStaticText();
  // Keeps a copy of the text, at most `capacity` (255) characters, and the
  // height of its font as the height of a rectangle that has none.
  void Init(vcom::CRect newRect, std::uint32_t capacity, const char16_t* newText);
  void Done() override;

  char16_t* text;       // owned
  std::int32_t height;  // pixels
};

void Init_();

}  // namespace vcont

namespace vwin {
void Init_();
}

#pragma GCC visibility pop

#endif
