// Reading of a run's figures, and of a condition on them.
#ifndef LOOPBOX_STUDY_FIGURE_READING_H
#define LOOPBOX_STUDY_FIGURE_READING_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/block.h"
#include "study/definition.h"
#include "study/study_reader.h"

namespace study {

inline constexpr std::size_t kNoInstrument = static_cast<std::size_t>(-1);
// Its number, or kNoInstrument.
std::size_t InstrumentNamed(const runtime::CApplication& application, const std::string& name);

class CFigureReading {
 public:
  explicit CFigureReading(const TFigureNames& namesOfFigures) : names(namesOfFigures) {}

  // INSTRUMENT.FIGURE, or final, min, max or mean of (ELEMENT).
  TFigure ExpectFigure(runtime::CBlockText& text);
  // A condition may stand before what is kept: its figures are numbered by what it
  // names, in `required`.
  void ReadCondition(runtime::CBlockText& text, CCondition* condition);
  // Once the whole block is read: what only the condition names joins the figures.
  void AddRequired(TDefinition* definition);

 private:
  bool ReadLevel(runtime::CBlockText& text, std::size_t level);
  bool ReadPrimary(runtime::CBlockText& text);
  void Nest(runtime::CBlockText& text, std::uint32_t place);

  const TFigureNames& names;
  std::vector<TFigure> required;
  CCondition* made = nullptr;
  int nesting = 0;
};

}  // namespace study

#endif
