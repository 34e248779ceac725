// What is wrong with a text, or worth knowing, for a person to read.
#ifndef LOOPBOX_RUNTIME_DIAGNOSTIC_H
#define LOOPBOX_RUNTIME_DIAGNOSTIC_H

#include <cstdint>
#include <string>
#include <string_view>

namespace runtime {

struct TDiagnostic {
  enum EKind { kError, kWarning };

  EKind kind = kError;
  std::string path;
  std::uint32_t line = 0;
  std::uint32_t column = 0;
  std::string message;
  // What is shown of the line: about 100 columns round the place, cut ends
  // marked by "…", control characters replaced.
  std::string lineText;
  std::string caretText;  // blanks (and tabs where the line has them) and "^"
};

// The text as a terminal may be given it: what it would obey or hide, and what is
// no UTF-8, is replaced by U+FFFD. That are control characters (C0 but for line
// end and tab, DEL, C1), marks that turn the direction of text, and characters
// without any width.
std::string Printable(std::string_view text);

// Printable. Three lines, each with its end: `FILE:LINE:COLUMN: message` (a warning's
// message after "warning: "), the source line, the caret. What has no place in
// a text (line 0) is its message alone.
std::string Format(const TDiagnostic& diagnostic);

}  // namespace runtime

#endif
