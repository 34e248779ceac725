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
struct TRegulatorDefinition {
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

// Reads what follows the keyword, up to and with its ";". When that fails: false,
// and the message says why.
using TReadEntry = bool (*)(CRegulator& regulator, TRegulatorDefinition& definition);

struct TKeywordRow {
  TText text;
  TReadEntry read;  // null: the keyword closes its block
};

struct TKeywordBlock {
  std::span<const TKeywordRow> keywords;  // in the order of comparison
  TText unknown;                          // the message for any other keyword
};

// Names that stand for codes, same index.
struct TNames {
  std::span<const char16_t[gaugekit::kNameLength + 1]> names;
  std::span<const std::uint32_t> codes;
};

}  // namespace loopbox

#endif
