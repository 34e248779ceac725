// The definition of a meter that stands alone: the entries of a section, its
// place, colours and an expression.
#include <algorithm>
#include <iterator>

#include "host/gaugekit.h"
#include "runtime/instruments/making.h"
#include "runtime/platform/capacities.h"
#include "runtime/text/wide_text.h"

namespace gaugekit {

namespace {

constexpr vcom::CRect kDefaultRect = {10, 10, 110, 90};

struct TDefinition {
  CMeter& meter;
  std::uint32_t capacity;
  char16_t* message;
  vcom::CRect rect;

  bool Fail(std::u16string_view text) const {
    runlib::WStrAssign(capacity, message, static_cast<std::uint32_t>(text.size()), text.data());
    return false;
  }
  bool Equ() const { return meter.ReadEqu(capacity, message) != 0; }
  bool Semicolon() const { return meter.ReadSemicolon(capacity, message) != 0; }
  bool Identifier(vtape::TToken* token) const {
    if (!meter.ReadToken(capacity, message, token, 0)) return false;
    return token->kind == vtape::kTokenIdentifier || Fail(hx_err_::_Expected_identifier);
  }
};

using TEntryReader = bool (*)(TDefinition& definition);

struct TEntry {
  std::u16string_view keyword;
  TEntryReader read;
};

bool Is(const vtape::TToken& token, std::u16string_view keyword) {
  return runlib::WStrCompare(runtime::kTokenCapacity, token.text, static_cast<std::uint32_t>(keyword.size()),
                             keyword.data()) == 0;
}

template <double CMeter::*value, std::uint32_t CMeter::*mark>
bool Real(TDefinition& d) {
  return d.Equ() && d.meter.ReadReal(d.capacity, d.message, &(d.meter.*value), &(d.meter.*mark)) && d.Semicolon();
}

template <std::uint32_t CMeter::*value, std::uint32_t CMeter::*mark>
bool Cardinal(TDefinition& d) {
  return d.Equ() && d.meter.ReadCardinal(d.capacity, d.message, &(d.meter.*value), &(d.meter.*mark)) && d.Semicolon();
}

template <std::uint32_t CMeter::*code>
bool Name(TDefinition& d) {
  constexpr bool kIsMode = code == &CMeter::mode;
  const auto* names = kIsMode ? ModeStringArray : ContentStringArray;
  const std::uint32_t* codes = kIsMode ? ModeCardArray : ContentCardArray;
  const auto* last = names + (kIsMode ? kModeCount : kContentCount);
  vtape::TToken token;
  if (!d.Equ() || !d.Identifier(&token)) return false;
  const auto* found = std::find_if(names, last, [&](const auto& name) { return Is(token, name); });
  if (found == last) return d.Fail(hx_err_::_Unknown_keyword);
  d.meter.*code = codes[found - names];
  return d.Semicolon();
}

bool Mask(TDefinition& d) {
  return d.Equ() &&
         d.meter.ReadString(d.capacity, d.message, static_cast<std::uint32_t>(std::size(d.meter.mask)) - 1,
                            d.meter.mask, &d.meter.maskMark) &&
         d.Semicolon();
}

bool Font(TDefinition& d) {
  return d.meter.ReadEquFont(d.capacity, d.message, &d.meter.font, &d.meter.fontHandle) != 0;
}

bool Position(TDefinition& d) {
  return d.meter.ReadEquXYWD(d.capacity, d.message, &d.rect.x, &d.rect.y, &d.rect.width, &d.rect.height) != 0;
}

bool Expression(TDefinition& d) {
  if (d.meter.expression != nullptr) return d.Fail(hx_err_::_Expression_redefined);
  return d.meter.ReadEquExpression(d.capacity, d.message, &d.meter.expression, hx_expr::kReal) != 0;
}

bool Colors(TDefinition& d) {
  for (;;) {
    vtape::TToken token;
    if (!d.Identifier(&token)) return false;
    if (Is(token, gaugekit_::kwEND_COLORS)) return d.Semicolon();
    char16_t keyword[runtime::kTextCapacity + 1];
    char16_t description[runtime::kTextCapacity + 1];
    std::uint32_t* word = nullptr;
    std::uint32_t defaultColor = 0;
    std::uint32_t index = 0;
    while (d.meter.GetColorDescription(index, 0, &word, runtime::kTextCapacity, keyword, runtime::kTextCapacity,
                                       description, &defaultColor) &&
           !Is(token, keyword)) {
      ++index;
      word = nullptr;
    }
    if (word == nullptr) return d.Fail(hx_err_::_Unknown_keyword);
    if (!d.meter.ReadEquColor(d.capacity, d.message, word)) return false;
  }
}

template <std::size_t size>
constexpr std::u16string_view Text(const char16_t (&text)[size]) {
  return {text, size - 1};
}

constexpr TEntry kEntries[] = {
    {Text(gaugekit_::kwMODE), Name<&CMeter::mode>},
    {Text(gaugekit_::kwCONTENT), Name<&CMeter::content>},
    {Text(gaugekit_::kwRANGE_FROM), Real<&CMeter::rangeFrom, &CMeter::rangeFromMark>},
    {Text(gaugekit_::kwRANGE_TO), Real<&CMeter::rangeTo, &CMeter::rangeToMark>},
    {Text(gaugekit_::kwLOW_LIMIT), Real<&CMeter::lowLimit, &CMeter::lowLimitMark>},
    {Text(gaugekit_::kwHIGH_LIMIT), Real<&CMeter::highLimit, &CMeter::highLimitMark>},
    {Text(gaugekit_::kwHISTORY), Cardinal<&CMeter::history, &CMeter::historyMark>},
    {Text(gaugekit_::kwDEC_PLACES), Cardinal<&CMeter::decPlaces, &CMeter::decPlacesMark>},
    {Text(gaugekit_::kwREAL_STEP), Real<&CMeter::realStep, &CMeter::realStepMark>},
    {Text(gaugekit_::kwH_GRID), Cardinal<&CMeter::hGrid, &CMeter::hGridMark>},
    {Text(gaugekit_::kwV_GRID), Cardinal<&CMeter::vGrid, &CMeter::vGridMark>},
    {Text(gaugekit_::kwFONT), Font},
    {Text(gaugekit_::kwMASK), Mask},
    {Text(hx_keyw::kwPOSITION), Position},
    {Text(gaugekit_::kwEXPRESSION), Expression},
    {Text(gaugekit_::kwCOLORS), Colors},
};

}  // namespace

std::uint8_t CMeter::ReadSelf(std::uint32_t errorCapacity, char16_t* errorText, std::uint32_t tokenCapacity,
                              char16_t* tokenText) {
  if (!CInstrument::ReadSelf(errorCapacity, errorText, tokenCapacity, tokenText)) return 0;
  InitData();
  TDefinition definition = {*this, errorCapacity, errorText, kDefaultRect};
  vtape::TToken token;
  while (ReadToken(errorCapacity, errorText, &token, 0)) {
    if (token.kind != vtape::kTokenIdentifier) return definition.Fail(hx_err_::_Expected_identifier);
    runlib::WStrAssign(tokenCapacity, tokenText, runtime::kTokenCapacity, token.text);
    std::uint32_t code = 0;
    if (IsSystemKeyword(runtime::kTokenCapacity, token.text, &code)) {
      if (!ReadSystemKeyword(errorCapacity, errorText, code)) return 0;
      continue;
    }
    const auto* entry = std::find_if(std::begin(kEntries), std::end(kEntries),
                                     [&](const TEntry& known) { return Is(token, known.keyword); });
    if (entry == std::end(kEntries)) return definition.Fail(hx_err_::_Unknown_identifier);
    if (!entry->read(definition)) return 0;
  }
  if (winWidth == 0 || winHeight == 0) {
    vcom::TPoint maximum;
    vcom::TPoint minimum;
    GetWinMinMaxSize(&minimum, &maximum);
    winWidth = minimum.x;
    winHeight = minimum.y;
  }
  SetBaseRect(definition.rect);
  FinishRead(definition.rect);
  return 1;
}

void CMeter::FinishRead(vcom::CRect finalRect) {
  CInstrument::FinishRead(finalRect);
  if (mode != kHistory || historyBuffer == nullptr) return;
  std::fill_n(historyBuffer, std::size_t{history} + 1, rangeFrom);
  painter.DeallocateStructure();
  painter.SetRange(rangeFrom, rangeTo, lowLimit, highLimit);
  painter.RegisterBuffer(historyBuffer, history, colors.value);
  painter.enable = 1;
  painter.CreateStructure();
}

}  // namespace gaugekit

namespace runtime {

std::vector<TClassWord> WordsOfMeter() {
  std::vector<TClassWord> words;
  for (const gaugekit::TEntry& entry : gaugekit::kEntries) words.push_back({"", "", Utf8(entry.keyword)});
  for (const auto& mode : gaugekit::ModeStringArray) words.push_back({"", "mode", Utf8(mode)});
  for (const auto& content : gaugekit::ContentStringArray) words.push_back({"", "content", Utf8(content)});
  return words;
}

}  // namespace runtime
