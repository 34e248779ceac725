// How a definition is described to the reading loop: tables of keywords, each
// with what reads its entry.
#ifndef LOOPBOX_REGULATOR_DEFINITION_H
#define LOOPBOX_REGULATOR_DEFINITION_H

#include <cstdint>
#include <span>

#include "host/gaugekit.h"
#include "regulator/text.h"

namespace loopbox {

class CRegulator;

// What the readers of one definition share.
struct TDefinition {
  std::uint32_t capacity;
  char16_t* message;  // the caller's buffer for an error
  std::uint32_t tokenCapacity;
  char16_t* tokenText;    // receives each keyword of the top level
  vcom::CRect rect;       // the instrument's place
  std::uint32_t section;  // number of the section being read, or 0

  // Leaves the message in the caller's buffer; always false.
  bool Fail(TText text) const {
    runlib::WStrAssign(capacity, message, text.length, text.text);
    return false;
  }
};

// Reads what follows the keyword, its ";" included. False: the message says
// why.
using TEntryReader = bool (*)(CRegulator& regulator, TDefinition& definition);

struct TKeyword {
  TText text;
  TEntryReader read;  // null: the keyword closes its block
};

struct TBlock {
  std::span<const TKeyword> keywords;  // in the order of comparison
  TText unknown;                       // the message for any other keyword
};

// Names that stand for codes, same index.
struct TNames {
  const char16_t (*names)[gaugekit::kNameLength + 1];
  const std::uint32_t* codes;
  std::uint32_t count;
};

}  // namespace loopbox

#endif
