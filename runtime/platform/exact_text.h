// Texts that are declared with their lengths.
#ifndef LOOPBOX_RUNTIME_PLATFORM_EXACT_TEXT_H
#define LOOPBOX_RUNTIME_PLATFORM_EXACT_TEXT_H

// Defines a declared text and proves that the literal has its length.
#define LOOPBOX_EXACT_TEXT(name, literal)                                                     \
  static_assert(sizeof(name) == sizeof(literal), "the length differs from the declared one"); \
  const char16_t name[] = literal

#endif
