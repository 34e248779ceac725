// Blocks of an application's text that others than the runtime read, as
//
//   panel
//     title = "Oven 1";
//   end_panel;
//
// Who wants a block hands a reader of its keyword to CApplication::Read.
#ifndef LOOPBOX_RUNTIME_BLOCK_H
#define LOOPBOX_RUNTIME_BLOCK_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hx_expr {
struct TExprTreeRecord;
}

namespace runtime {

class CApplication;
struct TItem;
struct TBlockTextState;

// A word of a block. Its place is an offset in the application's text.
struct TBlockWord {
  enum EKind { kEnd, kName, kNumber, kText, kOther };

  EKind kind = kEnd;
  std::string text;  // as written; of a kText what stands between its quotes
  std::uint32_t offset = 0;
};

// An expression of a block. It is the application's, and is evaluated as long as
// that lives. What yields no finite value yields the last good one.
class CBlockExpression {
 public:
  double Value() const;  // with what elements hold now; of a boolean 0 or 1

 private:
  friend class CBlockText;
  explicit CBlockExpression(hx_expr::TExprTreeRecord* compiled) : expression(compiled) {}

  hx_expr::TExprTreeRecord* expression;
};

// The text of a block while it is read, from behind its keyword; its end is the
// keyword that closes it. Each Expect… takes what it names; where something else
// stands it ends the reader's Read by an exception that the runtime catches, and
// the place with what was expected becomes a diagnostic, as for every other block.
class CBlockText {
 public:
  explicit CBlockText(TBlockTextState& theState) : state(theState) {}
  CBlockText(const CBlockText&) = delete;
  CBlockText& operator=(const CBlockText&) = delete;

  TBlockWord Peek() const;
  bool IsAtEnd() const;
  bool TakeIf(std::string_view spelling);  // a name or punctuation
  void Expect(std::string_view spelling);
  std::string ExpectName(std::string_view what);
  // One of these; what else stands there is told with all of them, and those near it.
  std::string ExpectOneOf(const std::vector<std::string_view>& words);
  std::string ExpectText();
  std::int64_t ExpectInteger(std::int64_t low, std::int64_t high);
  double ExpectNumber();  // with an optional minus sign
  bool ExpectBoolean();
  // NAME of a single data element, NAME[INDEX] of an array's with a number.
  TItem ExpectItem();
  // Up to what can't continue it: of a boolean or of a number.
  CBlockExpression ExpectExpression(bool isBoolean);

  std::uint32_t LastOffset() const;  // of the word taken last
  // As it has been read, all but the blocks of others.
  const CApplication& Application() const;
  // What is wrong at a place; doesn't return.
  [[noreturn]] void Fail(std::uint32_t offset, const std::string& message) const;
  void Warn(std::uint32_t offset, const std::string& message) const;
  // For the end of a message: "; did you mean 'x'?", of the names near a word.
  static std::string MeantBy(std::string_view word, const std::vector<std::string>& names);

 private:
  TBlockTextState& state;
};

class CBlockReader {
 public:
  virtual ~CBlockReader() = default;
  virtual const char* Keyword() const = 0;
  // Whether its blocks let somebody outside steer the instruments' outputs: see
  // CInstrumentHandle::TrackFromOutside.
  virtual bool SteersOutputs() const { return false; }
  // For each block of that keyword, in the order of the text, once everything
  // else has been read without an error. It takes the whole block.
  virtual void Read(CBlockText& text) = 0;
  // Behind the last of them, if there was one: what can be judged then alone. Nothing
  // is left to take.
  virtual void Close(CBlockText&) {}
};

}  // namespace runtime

#endif
