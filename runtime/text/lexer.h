// Tokens of an application's text. Every failure is a TTextError.
#ifndef LOOPBOX_RUNTIME_TEXT_LEXER_H
#define LOOPBOX_RUNTIME_TEXT_LEXER_H

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/text/source.h"

namespace runtime {

enum class ELexeme : std::uint8_t {
  kEnd,          // the end of the text
  kIdentifier,   // [A-Za-z_][A-Za-z0-9_]*
  kNumber,       // 12, 0x1F, 1.5, 2e-3; a sign is a lexeme of its own
  kString,       // "…" with \" \\ \n
  kColor,        // #RRGGBB
  kPunctuation,  // == != <= >= and ( ) [ ] , ; : = < > + - * / % ^ '
};

struct TLexeme {
  ELexeme kind = ELexeme::kEnd;
  std::uint32_t offset = 0;   // the mark of its first byte
  std::string_view text;      // as written; valid as long as the source
  double number = 0;          // kNumber
  bool isInteger = false;     // kNumber written without point and exponent that fits 64 bits
  std::uint64_t integer = 0;  // its exact value then; of kColor the word 0x00RRGGBB
  std::string string;         // kString, decoded

  std::uint32_t EndOffset() const { return offset + static_cast<std::uint32_t>(text.size()); }
  // An identifier or punctuation of that spelling. Most comparisons end with the
  // first character, and without a call.
  bool Is(std::string_view spelling) const {
    return (kind == ELexeme::kIdentifier || kind == ELexeme::kPunctuation) && text.size() == spelling.size() &&
           text.front() == spelling.front() && text == spelling;
  }
};

// "this block is not closed: expected END before 'x'", at the block's header.
[[noreturn]] void FailOpen(std::uint32_t header, std::string_view end, const TLexeme& next);

// How messages name a lexeme: 'x', a string, the end of the text. Long ones
// are cut.
std::string Describe(const TLexeme& lexeme);

class CLexer {
 public:
  explicit CLexer(const CSource& text) : source(&text) {}

  const TLexeme& Peek() {  // valid until the next call
    if (!isAhead) {
      Scan();
      isAhead = true;
    }
    return ahead;
  }
  TLexeme Next();  // kEnd again and again at the end
  void Skip();     // Next without its copy

  // Where reading goes on: just behind the lexeme taken last. Seek(Offset())
  // changes nothing; Seek anywhere else may start reading anew.
  std::uint32_t Offset() const { return position; }
  void Seek(std::uint32_t offset);
  // The mark of the lexeme taken last.
  std::uint32_t LastOffset() const { return lastOffset; }

  // Takes the lexeme when it is that identifier or punctuation.
  bool TakeIf(std::string_view spelling);
  // The following throw, naming what was expected and what was found, at the
  // place of what was found; of a missing ";" behind what was taken last.
  void Expect(std::string_view spelling);
  TLexeme ExpectIdentifier(std::string_view what = "a name");
  std::string ExpectString();
  bool ExpectBoolean();  // true, false
  // With an optional minus sign; a number or the name of one.
  double ExpectReal();
  std::int64_t ExpectInteger(std::int64_t low, std::int64_t high);
  // The number of that name; null when none has it.
  const double* Number(std::string_view name) const { return source->Number(name); }
  const TNamedNumbers* Numbers() const { return source->Numbers(); }  // null for none
  [[noreturn]] void FailExpected(std::string_view what);              // "expected WHAT, found …"

 private:
  const double* NumberAhead();  // by its name; null when it isn't one
  void Scan();                  // reads the lexeme at `position` into `ahead`
  std::uint32_t SkipBlanks(std::uint32_t offset) const;
  void ScanNumber();
  void ScanString();
  void ScanColor();

  const CSource* source;
  std::uint32_t position = 0;
  std::uint32_t lastOffset = 0;
  TLexeme ahead;
  bool isAhead = false;
};

}  // namespace runtime

#endif
