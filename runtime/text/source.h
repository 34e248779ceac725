// The text of an application: loading, places in it, and messages about them.
//
// A text is held as UTF-8. A place is a mark: the offset of a byte, 32 bits.
#ifndef LOOPBOX_RUNTIME_TEXT_SOURCE_H
#define LOOPBOX_RUNTIME_TEXT_SOURCE_H

#include <cstddef>
#include <cstdint>
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
  std::uint32_t line;         // from 1
  std::uint32_t column;       // from 1, in code points
  std::string_view lineText;  // without its end; valid as long as the source
};

class CSource {
 public:
  CSource() = default;

  // Reads a file of UTF-8 (with or without a byte order mark) or of UTF-16
  // with one. On false *error is one whole line, the path included:
  // `PATH: message` or, when the bytes are no text, `PATH:LINE:COLUMN: message`.
  static bool Load(const std::string& path, CSource* source, std::string* error);
  // The same for bytes in memory; the path serves for messages alone.
  static bool FromBytes(const std::string& path, std::string bytes, CSource* source, std::string* error);

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

  void MakeIndex();
  // The bytes before `offset` that continue a code point.
  std::uint32_t Continuations(std::uint32_t offset) const;

  std::string path;
  std::string text;
  std::vector<TBlock> blocks{TBlock{}};
};

TDiagnostic MakeDiagnostic(const CSource& source, TDiagnostic::EKind kind, std::uint32_t offset, std::string message);

}  // namespace runtime

#endif
