// The text of an application: loading, places in it, and messages about them.
//
// A text is held as UTF-8. A place is a mark: the offset of a byte, 32 bits. A text
// may be assembled of pieces of others: its places are told as those of the pieces.
#ifndef LOOPBOX_RUNTIME_TEXT_SOURCE_H
#define LOOPBOX_RUNTIME_TEXT_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/diagnostic.h"

namespace runtime {

constexpr std::size_t kMaximumSourceSize = std::size_t{64} << 20;  // bytes

// What is wrong with a text, and where. Thrown by the lexer and the compilers,
// caught by the reader of the application; it never leaves the runtime.
struct TTextError {
  std::uint32_t offset;
  std::string message;
};

struct TPosition {
  std::string_view path;      // this and lineText are valid as long as the source
  std::uint32_t line;         // from 1
  std::uint32_t column;       // from 1, in code points
  std::string_view lineText;  // without its end
  std::size_t caret;          // bytes of lineText before the place
};

// Numbers that a text may use by name, where a number may stand.
using TNamedNumbers = std::map<std::string, double, std::less<>>;

class CSource {
 public:
  CSource() = default;

  // Reads a file of UTF-8 (with or without a byte order mark) or of UTF-16
  // with one. On false *error is one whole line, the path included:
  // `PATH: message` or, when the bytes are no text, `PATH:LINE:COLUMN: message`.
  static bool Load(const std::string& path, CSource* source, std::string* error);
  // The same for bytes in memory; the path serves for messages alone.
  static bool FromBytes(const std::string& path, std::string bytes, CSource* source, std::string* error);

  // A text put together of pieces of others, with their places.
  class CAssembly;

  // The numbers that have names, which outlive the source; null for none.
  void SetNumbers(const TNamedNumbers* theNumbers) { numbers = theNumbers; }
  const TNamedNumbers* Numbers() const { return numbers; }
  // Null when none has this name.
  const double* Number(std::string_view name) const;

  const std::string& Path() const { return path; }
  std::string_view Text() const { return text; }
  std::uint32_t Size() const { return static_cast<std::uint32_t>(text.size()); }

  // An offset past the end counts as the end. Takes constant time.
  TPosition Locate(std::uint32_t offset) const;

 private:
  // Of the place at which a block of bytes begins. A record for each line would
  // take more than a text of line ends.
  struct TBlock {
    std::uint32_t lines;          // before it
    std::uint32_t continuations;  // bytes before it that continue a code point
    std::uint32_t lineStart;      // of the line it is in
    std::uint32_t lineEnd;        // of the same, "\n" aside
  };

  // From `begin` to the next piece the text is that of an origin, from its place
  // `origin` on; or it is a replacement, which has that place as a whole.
  struct TPiece {
    std::uint32_t begin;
    std::uint32_t origin;
    std::shared_ptr<const CSource> source;
    bool isReplacement;
  };

  void MakeIndex();
  std::size_t PieceAt(std::uint32_t offset) const;  // number of the piece there
  // The bytes before `offset` that continue a code point.
  std::uint32_t Continuations(std::uint32_t offset) const;

  std::string path;
  std::string text;
  std::vector<TBlock> blocks{TBlock{}};
  std::vector<TPiece> pieces;  // of an assembled text
  const TNamedNumbers* numbers = nullptr;
};

class CSource::CAssembly {
 public:
  // The text of `from` between two offsets, as it stands.
  void Append(const std::shared_ptr<const CSource>& from, std::uint32_t begin, std::uint32_t end);
  // A text in the place of what stands there.
  void Replace(const std::shared_ptr<const CSource>& from, std::uint32_t place, std::string_view added);
  std::size_t Size() const { return made.text.size(); }
  CSource Take() { return std::move(made); }

 private:
  void Add(const std::shared_ptr<const CSource>& from, std::uint32_t origin, std::string_view added,
           bool isReplacement);
  CSource made;
};

TDiagnostic MakeDiagnostic(const CSource& source, TDiagnostic::EKind kind, std::uint32_t offset, std::string message);

}  // namespace runtime

#endif
