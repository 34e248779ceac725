#include "runtime/platform/messages.h"

#include <unordered_map>
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

runtime::CPhrases& Phrases() {
  static runtime::CPhrases phrases;
  return phrases;
}

// What was said in the place of texts that come again and again, as those of a run do.
std::unordered_map<std::string, std::string>& Said() {
  static std::unordered_map<std::string, std::string> said;
  return said;
}

constexpr std::size_t kMostSaid = 1000;
constexpr std::size_t kLongestSaid = 500;  // bytes

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
      if (const char* wrong = PhraseProblem(key, text)) throw TTextError{place, wrong};
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

void SetMessageTable(TMessageTable table) {
  Phrases() = CPhrases(std::move(table));
  Said().clear();
}

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
  const CPhrases& phrases = Phrases();
  if (phrases.IsEmpty()) return text;
  if (!phrases.HasHoles() || text.size() > kLongestSaid) return phrases.Translated(std::move(text));
  if (Said().size() >= kMostSaid) Said().clear();
  const auto [said, isNew] = Said().try_emplace(text);
  if (isNew) said->second = phrases.Translated(std::move(text));
  return said->second;
}

}  // namespace runtime

namespace hx_main {

CMsgScanner* RunMsgScanner = &scanner;

const char16_t* CMsgScanner::GetKeyPMsg(std::uint32_t keyLength, const char16_t* key, std::uint32_t defaultLength,
                                        const char16_t* defaultText) {
  runlib::WStrAssign(Capacity(message), message, defaultLength, defaultText);
  try {
    const runtime::CPhrases& phrases = Phrases();
    if (phrases.IsEmpty()) return message;
    const std::string* found = phrases.Find(runtime::MessageKey(
        runtime::Utf8(runtime::WideView(Capacity(group), group)), runtime::Utf8(runtime::WideView(keyLength, key))));
    if (found != nullptr) runtime::AssignWide(Capacity(message), message, runtime::Utf16(*found));
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
