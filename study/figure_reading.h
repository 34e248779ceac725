// Reading of a run's figures, and of a condition on them.
#ifndef LOOPBOX_STUDY_FIGURE_READING_H
#define LOOPBOX_STUDY_FIGURE_READING_H

#include <cstddef>
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
  bool ReadOr(runtime::CBlockText& text);  // whether it is a boolean
  bool ReadAnd(runtime::CBlockText& text);
  bool ReadNot(runtime::CBlockText& text);
  bool ReadComparison(runtime::CBlockText& text);
  bool ReadSum(runtime::CBlockText& text);
  bool ReadProduct(runtime::CBlockText& text);
  bool ReadPrimary(runtime::CBlockText& text);

  const TFigureNames& names;
  std::vector<TFigure> required;
  CCondition* made = nullptr;
};

}  // namespace study

#endif
