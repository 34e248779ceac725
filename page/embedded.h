// A file that the program embeds. Its path is a definition of the source, which
// loopbox_embed in CMakeLists.txt makes:
//
//   LOOPBOX_EMBED(loopboxTheme, LOOPBOX_THEME);
//   std::string_view Theme() { return page::Between(loopboxThemeBegin, loopboxThemeEnd); }
#ifndef LOOPBOX_PAGE_EMBEDDED_H
#define LOOPBOX_PAGE_EMBEDDED_H

#include <cstddef>
#include <string_view>

// Its bytes in the read-only data of the program.
#define LOOPBOX_EMBED(name, path)      \
  extern "C" const char name##Begin[]; \
  extern "C" const char name##End[];   \
  __asm__(".pushsection .rodata, \"a\"\n" #name "Begin:\n.incbin \"" path "\"\n" #name "End:\n.popsection\n")

namespace page {

inline std::string_view Between(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace page

#endif
