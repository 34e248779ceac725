// The loop that reads every definition and every block in it.
#include <algorithm>

#include "regulator/entries.h"
#include "regulator/regulator.h"

namespace loopbox {

namespace {

constexpr vcom::CRect kDefaultRect = {10, 10, 110, 90};

// When the definition ends, the host leaves no message: then an identifier is
// what was expected.
bool ReadIdentifier(CRegulator& regulator, TRegulatorDefinition& definition, vtape::TToken* token, bool* ended) {
  if (definition.message != nullptr) definition.message[0] = 0;
  *ended = !regulator.ReadToken(definition.capacity, definition.message, token, 0);
  if (*ended && definition.message != nullptr && definition.message[0] != 0) return false;
  if (*ended || token->kind != vtape::kTokenIdentifier) return definition.Fail(kExpectedIdentifier);
  return true;
}

// Most comparisons end with the first character, and without a call.
bool Equals(const vtape::TToken& token, TText keyword) {
  return token.text[0] == keyword.text[0] &&
         runlib::WStrCompare(kTokenCapacity, token.text, keyword.length, keyword.text) == 0;
}

}  // namespace

bool CRegulator::ReadEntries(TRegulatorDefinition& definition, const TKeywordBlock& block, bool topLevel) {
  for (;;) {
    vtape::TToken token = {};
    bool ended = false;
    if (!ReadIdentifier(*this, definition, &token, &ended)) {
      if (!topLevel || !ended) return false;
      if (definition.message != nullptr) definition.message[0] = 0;  // the definition's end is no error
      return true;
    }
    if (topLevel) {
      runlib::WStrAssign(std::min(definition.tokenCapacity, kTokenCapacity), definition.tokenText, kTokenCapacity,
                         token.text);
      std::uint32_t code = 0;
      if (IsSystemKeyword(kTokenCapacity, token.text, &code)) {
        if (!ReadSystemKeyword(definition.capacity, definition.message, code)) return false;
        continue;
      }
    }
    const auto keyword = std::find_if(block.keywords.begin(), block.keywords.end(),
                                      [&](const TKeywordRow& candidate) { return Equals(token, candidate.text); });
    if (keyword == block.keywords.end()) return definition.Fail(block.unknown);
    if (keyword->read == nullptr) return ReadSemicolon(definition.capacity, definition.message);
    if (!keyword->read(*this, definition)) return false;
  }
}

std::uint8_t CRegulator::ReadSelf(std::uint32_t errorCapacity, char16_t* errorText, std::uint32_t tokenCapacity,
                                  char16_t* tokenText) {
  if (!CInstrument::ReadSelf(errorCapacity, errorText, tokenCapacity, tokenText)) return 0;
  Reset();
  TRegulatorDefinition definition = {errorCapacity, errorText, tokenCapacity, tokenText, kDefaultRect, 0};
  if (!IsComplete()) return definition.Fail(Text<17>(u"Nedostatek paměti"));

  vcom::TPoint minimum;
  vcom::TPoint maximum;
  if (GetWinMinMaxSize(&minimum, &maximum)) {
    toolkit::RectSet(&definition.rect, kDefaultRect.x, kDefaultRect.y, minimum.x, minimum.y);
  }
  if (!ReadEntries(definition, tables.definition, true) || !CheckDefinition(definition)) return 0;
  if ((winWidth == 0 || winHeight == 0) && GetWinMinMaxSize(&minimum, &maximum)) {
    winWidth = minimum.x;
    winHeight = minimum.y;
  }
  NewRect(definition.rect);
  FinishRead(definition.rect);
  return 1;
}

bool CRegulator::CheckDefinition(TRegulatorDefinition&) { return true; }

bool ReadName(CRegulator& regulator, TRegulatorDefinition& definition, const TNames& names, std::uint32_t* code) {
  vtape::TToken token = {};
  bool ended = false;
  if (!regulator.ReadEqu(definition.capacity, definition.message) ||
      !ReadIdentifier(regulator, definition, &token, &ended)) {
    return false;
  }
  const auto found = std::find_if(names.names.begin(), names.names.end(), [&](const auto& name) {
    return Equals(token, {gaugekit::kNameLength, name});
  });
  if (found == names.names.end()) return definition.Fail(kUnknownKeyword);
  if (!regulator.ReadSemicolon(definition.capacity, definition.message)) return false;
  *code = names.codes[found - names.names.begin()];
  return true;
}

bool PositionEntry(CRegulator& regulator, TRegulatorDefinition& definition) {
  vcom::CRect& rect = definition.rect;
  return regulator.ReadEquXYWD(definition.capacity, definition.message, &rect.x, &rect.y, &rect.width, &rect.height);
}

bool ColorsEntry(CRegulator& regulator, TRegulatorDefinition& definition) { return regulator.ReadColors(definition); }

}  // namespace loopbox
