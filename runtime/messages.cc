#include "runtime/messages.h"

#include <utility>

#include "host/hx_main.h"
#include "host/toolkit.h"
#include "runtime/exact_text.h"
#include "runtime/wide_text.h"

namespace hx_err_ {

LOOPBOX_EXACT_TEXT(_Wrong_API_version, u"Chybná verze rozhraní");
LOOPBOX_EXACT_TEXT(_Expected_identifier, u"Očekáván identifikátor");
LOOPBOX_EXACT_TEXT(_Unknown_identifier, u"Neznámý identifikátor");
LOOPBOX_EXACT_TEXT(_Unknown_keyword, u"Neznámé klíčové slovo");
LOOPBOX_EXACT_TEXT(_Expression_redefined, u"Výraz redefinován");

}  // namespace hx_err_

namespace {

template <std::size_t n>
constexpr std::uint32_t Capacity(const char16_t (&)[n]) {
  return n - 1;
}

runtime::TMessageTable& Table() {
  static runtime::TMessageTable table;
  return table;
}

hx_main::CMsgScanner scanner = {};

}  // namespace

namespace runtime {

std::u16string MessageKey(std::u16string_view group, std::u16string_view key) {
  std::u16string whole(group);
  whole += u'.';
  whole += key;
  return whole;
}

void SetMessageTable(TMessageTable table) { Table() = std::move(table); }

}  // namespace runtime

namespace hx_main {

CMsgScanner* RunMsgScanner = &scanner;

const char16_t* CMsgScanner::GetKeyPMsg(std::uint32_t keyLength, const char16_t* key, std::uint32_t defaultLength,
                                        const char16_t* defaultText) {
  runlib::WStrAssign(Capacity(message), message, defaultLength, defaultText);
  try {
    const runtime::TMessageTable& table = Table();
    const auto found =
        table.find(runtime::MessageKey(runtime::WideView(Capacity(group), group), runtime::WideView(keyLength, key)));
    if (found != table.end()) runtime::AssignWide(Capacity(message), message, found->second);
  } catch (...) {
    // No memory for the look-up: the default stands.
  }
  return message;
}

}  // namespace hx_main

namespace toolkit {

void MsgScannerSetGroup(hx_main::CMsgScanner* scanner, std::uint32_t length, const char16_t* group) {
  if (scanner != nullptr) runlib::WStrAssign(Capacity(scanner->group), scanner->group, length, group);
}

}  // namespace toolkit
