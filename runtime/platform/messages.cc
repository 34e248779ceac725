#include "runtime/platform/messages.h"

#include <utility>

#include "host/hx_main.h"
#include "host/toolkit.h"
#include "runtime/platform/exact_text.h"
#include "runtime/platform/regular_file.h"
#include "runtime/runtime.h"
#include "runtime/text/lexer.h"
#include "runtime/text/source.h"
#include "runtime/text/wide_text.h"

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

bool ReadMessageTable(const std::string& path, TMessageTable* table, std::string* error) {
  CSource source;
  std::string problem;
  if (!IsRegularFile(path, &problem)) {
    *error = path + ": " + problem;
    return false;
  }
  if (!CSource::Load(path, &source, error)) return false;
  CLexer lexer(source);
  TMessageTable read;
  try {
    while (lexer.Peek().kind != ELexeme::kEnd) {
      const std::uint32_t place = lexer.Peek().offset;
      std::string key = lexer.ExpectString();
      lexer.Expect("=");
      if (lexer.Peek().kind == ELexeme::kString && lexer.Peek().string.empty()) lexer.FailExpected("a text");
      std::string text = lexer.ExpectString();
      lexer.Expect(";");
      if (!read.emplace(std::move(key), std::move(text)).second) throw TTextError{place, "a second entry of this text"};
    }
  } catch (const TTextError& wrong) {
    *error = Format(MakeDiagnostic(source, TDiagnostic::kError, wrong.offset, wrong.message));
    error->pop_back();  // the end of its last line
    return false;
  }
  *table = std::move(read);
  return true;
}

void SetMessageTable(TMessageTable table) { Table() = std::move(table); }

bool SetLanguage(const std::vector<std::string>& paths, std::string* error) {
  TMessageTable whole;
  for (const std::string& path : paths) {
    TMessageTable table;
    if (!ReadMessageTable(path, &table, error)) return false;
    table.merge(whole);  // keeps what it has
    whole = std::move(table);
  }
  SetMessageTable(std::move(whole));
  return true;
}

std::string MessageKey(std::string_view group, std::string_view key) {
  return std::string(group).append(".").append(key);
}

std::string Translated(std::string text) {
  constexpr std::string_view kColon = ": ";
  const TMessageTable& table = Table();
  if (table.empty()) return text;
  for (std::size_t at = 0;;) {
    const auto found = table.find(std::string_view(text).substr(at));
    if (found != table.end()) return text.replace(at, std::string::npos, found->second);
    const std::size_t colon = text.find(kColon, at);
    if (colon == std::string::npos) return text;
    at = colon + kColon.size();
  }
}

}  // namespace runtime

namespace hx_main {

CMsgScanner* RunMsgScanner = &scanner;

const char16_t* CMsgScanner::GetKeyPMsg(std::uint32_t keyLength, const char16_t* key, std::uint32_t defaultLength,
                                        const char16_t* defaultText) {
  runlib::WStrAssign(Capacity(message), message, defaultLength, defaultText);
  try {
    const runtime::TMessageTable& table = Table();
    if (table.empty()) return message;
    const auto found = table.find(runtime::MessageKey(runtime::Utf8(runtime::WideView(Capacity(group), group)),
                                                      runtime::Utf8(runtime::WideView(keyLength, key))));
    if (found != table.end()) runtime::AssignWide(Capacity(message), message, runtime::Utf16(found->second));
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
