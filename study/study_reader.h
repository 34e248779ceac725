// Reads the `study` blocks of an application's text: docs/studies.md describes them.
#ifndef LOOPBOX_STUDY_STUDY_READER_H
#define LOOPBOX_STUDY_STUDY_READER_H

#include <functional>
#include <string>
#include <vector>

#include "runtime/block.h"
#include "study/definition.h"

namespace study {

// The figures that an instrument has over a run; none where it isn't a regulator.
using TFigureNames = std::function<std::vector<std::string>(const runtime::CInstrumentHandle& instrument)>;

class CStudyReader final : public runtime::CBlockReader {
 public:
  explicit CStudyReader(TFigureNames namesOfFigures) : names(std::move(namesOfFigures)) {}

  const char* Keyword() const override { return "study"; }
  void Read(runtime::CBlockText& text) override;

  // In the order of the text.
  const std::vector<TDefinition>& Definitions() const { return definitions; }

 private:
  TFigureNames names;
  std::vector<TDefinition> definitions;
};

}  // namespace study

#endif
