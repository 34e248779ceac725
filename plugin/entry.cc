#include "plugin/entry.h"

#include "host/gaugekit.h"
#include "plugin/images.h"
#include "plugin/registry.h"
#include "regulator/text.h"

namespace {

using loopbox::TInstrumentClass;
using loopbox::TText;

constexpr std::uint32_t kVersion = 0x01040000;
constexpr TText kLibraryName = loopbox::Text<10>(u"Regulátory");
constexpr TText kWrongInterface = loopbox::Text<21>(hx_err_::_Wrong_API_version);

constexpr std::uint32_t kProcessAttach = 1;

void Copy(std::uint32_t capacity, char16_t* destination, TText text) {
  runlib::WStrAssign(capacity, destination, text.length, text.text);
}

// The library's entry point: 1 for every reason.
std::uint8_t LibraryEntry(std::uint32_t reason) {
  if (reason == kProcessAttach) loopbox::FillImageTable();
  return 1;
}

[[gnu::constructor]] void Attach() { LibraryEntry(kProcessAttach); }

// Null when there is no such class.
const TInstrumentClass* FindClass(std::uint32_t length, const char16_t* name) {
  for (const TInstrumentClass& row : loopbox::Classes()) {
    if (runlib::WStrCompare(length, name, row.name.length, row.name.text) == 0) return &row;
  }
  return nullptr;
}

// Whether this is the first call that the counter sees.
bool CountsFirst(std::int32_t& counter) {
  const bool first = counter <= 0;
  // Wraps around rather than overflowing.
  counter = static_cast<std::int32_t>(static_cast<std::uint32_t>(counter) + 1);
  return first;
}

std::int32_t loopboxCounter = 0;
std::int32_t loopbox0Counter = 0;
std::int32_t loopboxTextsCounter = 0;

}  // namespace

extern "C" {

std::uint32_t Version() { return kVersion; }

std::uint8_t Check(std::uint32_t capacity, char16_t* message, std::uint32_t, std::uint32_t, std::uint32_t,
                   std::uint32_t hostInterface) {
  if (hostInterface == hx_main::kInterfaceNumber) return 1;
  Copy(capacity, message, kWrongInterface);
  return 0;
}

void GetDLLInfo(std::uint32_t capacity, char16_t* name, const std::uint8_t** smallImage,
                const std::uint8_t** largeImage, std::uint8_t* flag) {
  Copy(capacity, name, kLibraryName);
  *smallImage = loopbox::images[loopbox::kPidSmallImage];
  *largeImage = loopbox::images[loopbox::kLibraryLargeImage];
  *flag = 1;
}

std::uint8_t GetInstrumentName(std::uint32_t index, std::uint32_t capacity, char16_t* name) {
  const auto classes = loopbox::Classes();
  if (index >= classes.size()) return 0;
  Copy(capacity, name, classes[index].name);
  return 1;
}

std::uint8_t GetInstrumentInfo(std::uint32_t length, const char16_t* name, const std::uint8_t** smallImage,
                               const std::uint8_t** largeImage, std::uint32_t* infoWord, std::uint32_t capacity,
                               char16_t* description) {
  const TInstrumentClass* row = FindClass(length, name);
  if (row == nullptr) return 0;
  *smallImage = loopbox::images[row->smallImage];
  *largeImage = loopbox::images[row->largeImage];
  *infoWord = row->infoWord;
  Copy(capacity, description, row->description);
  return 1;
}

hx_vinst::CInstrument* MakeInstrument(std::uint32_t length, const char16_t* name) {
  const TInstrumentClass* row = FindClass(length, name);
  return row == nullptr ? nullptr : row->make();
}

}  // extern "C"

void loopbox::Init_() {
  if (!CountsFirst(loopboxCounter)) return;
  view::Init_();
  vgr::Init_();
  vcore::Init_();
  hx_vinst::Init_();
  vwin::Init_();
  vcont::Init_();
  hx_expr::Init_();
  hx_main::Init_();
  hx_keyw::Init_();
  hx_proc::Init_();
  hx_tool::Init_();
  loopbox_::Init_();
  loopbox0::Init_();
  gaugekit::Init_();
  gaugekit_::Init_();
}

void loopbox0::Init_() {
  if (!CountsFirst(loopbox0Counter)) return;
  vcont::Init_();
  vgr::Init_();
  vcore::Init_();
  view::Init_();
  hx_expr::Init_();
  hx_vinst::Init_();
  vwin::Init_();
  gaugekit::Init_();
  hx_main::Init_();
  hx_keyw::Init_();
  hx_tool::Init_();
  loopbox_::Init_();
  gaugekit_::Init_();
}

void loopbox_::Init_() {
  if (!CountsFirst(loopboxTextsCounter)) return;
  vgr::Init_();
  loopbox::FillImageTable();
}
