#include "runtime/text/lexer.h"

#include <array>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "runtime/text/number_format.h"
#include "runtime/text/utf8.h"

namespace runtime {
namespace {

constexpr std::size_t kShownLength = 40;  // bytes of a lexeme that a message quotes

// What a character begins or belongs to.
enum EClass : std::uint8_t { kOther, kBlank, kLetter, kDigit, kQuote, kHash, kMark };
constexpr std::array<EClass, 256> kClasses = [] {
  std::array<EClass, 256> classes = {};
  const auto set = [&](std::string_view characters, EClass value) {
    for (const char c : characters) classes[static_cast<unsigned char>(c)] = value;
  };
  set(" \t\r\n", kBlank);
  set("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_", kLetter);
  set("0123456789", kDigit);
  set("\"", kQuote);
  set("#", kHash);
  set("()[],;:.=<>+-*/%^'!", kMark);
  return classes;
}();
EClass ClassOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }
bool IsDigit(char c) { return ClassOf(c) == kDigit; }
bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); }
bool IsWordCharacter(char c) { return ClassOf(c) == kLetter || IsDigit(c); }

// Signs of other languages, and what is written for them here; longer ones first.
struct TForeignSign {
  std::string_view sign;
  std::string_view written;
};
constexpr TForeignSign kForeignSigns[] = {
    {"&&", "and"}, {"||", "or"}, {"&", "and"}, {"|", "or"}, {"!", "not"}, {"?", "if(condition, a, b)"},
};

[[noreturn]] void FailUnexpected(std::uint32_t offset, std::string_view rest) {
  for (const TForeignSign& row : kForeignSigns) {
    if (!rest.starts_with(row.sign)) continue;
    throw TTextError{offset, "unexpected '" + std::string(row.sign) + "': write " + std::string(row.written)};
  }
  throw TTextError{offset, "unexpected character"};
}

std::string_view WordAt(std::string_view text) {
  std::size_t length = 1;
  while (length < text.size() && IsWordCharacter(text[length])) ++length;
  return text.substr(0, length);
}

// A cut must not fall inside a code point.
std::string Shorten(std::string_view text) {
  if (text.size() <= kShownLength) return std::string(text);
  std::size_t end = kShownLength;
  while (end > 0 && IsContinuation(text[end])) --end;
  return std::string(text.substr(0, end)) + "…";
}

}  // namespace

std::string Describe(const TLexeme& lexeme) {
  if (lexeme.kind == ELexeme::kEnd) return "the end of the text";
  if (lexeme.kind == ELexeme::kString) return "a string";
  return "'" + Shorten(lexeme.text) + "'";
}

void FailOpen(std::uint32_t header, std::string_view end, const TLexeme& next) {
  throw TTextError{header, "this block is not closed: expected " + std::string(end) + " before " + Describe(next)};
}

TLexeme CLexer::Next() {
  Skip();
  return std::move(ahead);
}

void CLexer::Skip() {
  Peek();
  position = ahead.EndOffset();
  lastOffset = ahead.offset;
  isAhead = false;
}

void CLexer::Seek(std::uint32_t offset) {
  position = offset;
  isAhead = false;
}

bool CLexer::TakeIf(std::string_view spelling) {
  if (!Peek().Is(spelling)) return false;
  Skip();
  return true;
}

void CLexer::Expect(std::string_view spelling) {
  if (TakeIf(spelling)) return;
  const std::string what = "'" + std::string(spelling) + "'";
  // What lacks its end lacks it where it ends, not where the next thing begins.
  if (spelling == ";") throw TTextError{position, "expected " + what + ", found " + Describe(Peek())};
  FailExpected(what);
}

TLexeme CLexer::ExpectIdentifier(std::string_view what) {
  if (Peek().kind != ELexeme::kIdentifier) FailExpected(what);
  return Next();
}

std::string CLexer::ExpectString() {
  if (Peek().kind != ELexeme::kString) FailExpected("a string");
  return Next().string;
}

bool CLexer::ExpectBoolean() {
  const bool value = Peek().Is("true");
  if (!value && !Peek().Is("false")) FailExpected("true or false");
  Skip();
  return value;
}

const double* CLexer::NumberAhead() {
  return Peek().kind == ELexeme::kIdentifier ? source->Number(Peek().text) : nullptr;
}

double CLexer::ExpectReal() {
  const std::uint32_t start = Peek().offset;
  const bool isNegative = TakeIf("-");
  const double* const named = NumberAhead();
  if (named == nullptr && Peek().kind != ELexeme::kNumber) FailExpected("a number");
  const double value = named != nullptr ? *named : Peek().number;
  Skip();
  lastOffset = start;
  return isNegative ? -value : value;
}

std::int64_t CLexer::ExpectInteger(std::int64_t low, std::int64_t high) {
  const std::uint32_t start = Peek().offset;
  bool isNegative = TakeIf("-");
  std::uint64_t magnitude = Peek().integer;
  if (const double* const named = NumberAhead()) {
    if (std::trunc(*named) != *named || std::fabs(*named) > 0x1p53) {
      throw TTextError{start,
                       "expected an integer, but '" + std::string(Peek().text) + "' is " + ShortestNumber(*named)};
    }
    magnitude = static_cast<std::uint64_t>(std::fabs(*named));
    isNegative = isNegative != (*named < 0.0);
  } else if (Peek().kind != ELexeme::kNumber || !Peek().isInteger) {
    FailExpected("an integer");
  }
  // The magnitudes that either end allows; -low overflows for the lowest.
  const std::uint64_t limit = isNegative ? std::uint64_t{1} << 63 : (std::uint64_t{1} << 63) - 1;
  const std::int64_t value =
      magnitude > limit ? 0 : static_cast<std::int64_t>(isNegative ? std::uint64_t{0} - magnitude : magnitude);
  if (magnitude > limit || value < low || value > high) {
    throw TTextError{start, "integer out of range, expected " + std::to_string(low) + " to " + std::to_string(high)};
  }
  Skip();
  lastOffset = start;
  return value;
}

void CLexer::FailExpected(std::string_view what) {
  const TLexeme& found = Peek();
  throw TTextError{found.offset, "expected " + std::string(what) + ", found " + Describe(found)};
}

// Past blanks and comments.
std::uint32_t CLexer::SkipBlanks(std::uint32_t offset) const {
  const std::string_view text = source->Text();
  for (;;) {
    while (offset < text.size() && ClassOf(text[offset]) == kBlank) ++offset;
    if (offset >= text.size() || text[offset] != '/') return offset;
    const std::string_view rest = text.substr(offset);
    if (rest.starts_with("//")) {
      const std::size_t end = rest.find_first_of("\r\n");
      if (end == std::string_view::npos) return source->Size();
      offset += static_cast<std::uint32_t>(end) + 1;
    } else if (rest.starts_with("/*")) {
      const std::size_t end = rest.find("*/", 2);
      if (end == std::string_view::npos) throw TTextError{offset, "comment without an end"};
      offset += static_cast<std::uint32_t>(end) + 2;
    } else {
      return offset;
    }
  }
}

void CLexer::Scan() {
  const std::string_view text = source->Text();
  ahead.isInteger = false;
  ahead.integer = 0;
  if (!ahead.string.empty()) ahead.string.clear();
  ahead.offset = SkipBlanks(position);
  ahead.kind = ELexeme::kEnd;
  ahead.text = {};
  if (ahead.offset >= text.size()) return;
  const std::string_view rest = text.substr(ahead.offset);
  switch (ClassOf(rest[0])) {
    case kLetter:
      ahead.kind = ELexeme::kIdentifier;
      ahead.text = WordAt(rest);
      break;
    case kDigit:
      ScanNumber();
      break;
    case kQuote:
      ScanString();
      break;
    case kHash:
      ScanColor();
      break;
    case kMark: {
      const char first = rest[0];
      const bool pairs = first == '=' || first == '!' || first == '<' || first == '>';
      const bool isPair = pairs && rest.size() > 1 && rest[1] == '=';
      if (first == '!' && !isPair) FailUnexpected(ahead.offset, rest);
      ahead.kind = ELexeme::kPunctuation;
      ahead.text = rest.substr(0, isPair ? 2 : 1);
      break;
    }
    case kBlank:
    case kOther:
      FailUnexpected(ahead.offset, rest);
  }
}

void CLexer::ScanNumber() {
  const std::string_view rest = source->Text().substr(ahead.offset);
  const bool isHex = rest.size() > 1 && rest[0] == '0' && (rest[1] == 'x' || rest[1] == 'X');
  std::size_t length = 0;
  const auto skipDigits = [&] {
    const std::size_t before = length;
    while (length < rest.size() && (isHex ? IsHexDigit(rest[length]) : IsDigit(rest[length]))) ++length;
    return length > before;
  };
  bool isValid = true;
  bool isWhole = true;
  if (isHex) {
    length = 2;
    isValid = skipDigits();
  } else {
    skipDigits();
    if (length < rest.size() && rest[length] == '.') {
      isWhole = false;
      ++length;
      isValid = skipDigits();
    }
    if (isValid && length < rest.size() && (rest[length] == 'e' || rest[length] == 'E')) {
      isWhole = false;
      ++length;
      if (length < rest.size() && (rest[length] == '+' || rest[length] == '-')) ++length;
      isValid = skipDigits();
    }
  }
  if (length < rest.size() && (IsWordCharacter(rest[length]) || rest[length] == '.')) isValid = false;
  if (!isValid) throw TTextError{ahead.offset, "malformed number"};

  ahead.kind = ELexeme::kNumber;
  ahead.text = rest.substr(0, length);
  const char* const begin = rest.data();
  const char* const end = begin + length;
  if (isWhole) {
    const auto result = std::from_chars(isHex ? begin + 2 : begin, end, ahead.integer, isHex ? 16 : 10);
    ahead.isInteger = result.ec == std::errc();
  }
  if (isHex) {
    if (!ahead.isInteger) throw TTextError{ahead.offset, "number out of range"};
    ahead.number = static_cast<double>(ahead.integer);
  } else if (std::from_chars(begin, end, ahead.number).ec != std::errc()) {
    throw TTextError{ahead.offset, "number out of range"};
  }
}

void CLexer::ScanString() {
  const std::string_view rest = source->Text().substr(ahead.offset);
  ahead.kind = ELexeme::kString;
  std::size_t at = 1;
  for (;;) {
    const std::size_t end = rest.find_first_of("\"\\\n", at);
    if (end == std::string_view::npos || rest[end] == '\n') throw TTextError{ahead.offset, "string without an end"};
    ahead.string.append(rest, at, end - at);
    at = end + 1;
    if (rest[end] == '"') break;
    const char escaped = at < rest.size() ? rest[at] : '\n';
    if (escaped != '"' && escaped != '\\' && escaped != 'n') {
      throw TTextError{ahead.offset + static_cast<std::uint32_t>(end), "unknown escape, expected \\\", \\\\ or \\n"};
    }
    ahead.string.push_back(escaped == 'n' ? '\n' : escaped);
    ++at;
  }
  ahead.text = rest.substr(0, at);
}

void CLexer::ScanColor() {
  constexpr std::size_t kDigits = 6;
  const std::string_view rest = source->Text().substr(ahead.offset);
  const std::string_view word = WordAt(rest);
  const char* const end = word.data() + word.size();
  const auto result = std::from_chars(word.data() + 1, end, ahead.integer, 16);
  if (word.size() != kDigits + 1 || result.ptr != end)
    throw TTextError{ahead.offset, "malformed color, expected #RRGGBB"};
  ahead.kind = ELexeme::kColor;
  ahead.text = word;
}

}  // namespace runtime
