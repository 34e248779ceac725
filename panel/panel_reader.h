// Reads the `panel` blocks of an application's text: docs/panel.md describes them.
#ifndef LOOPBOX_PANEL_PANEL_READER_H
#define LOOPBOX_PANEL_PANEL_READER_H

#include "panel/definition.h"
#include "runtime/block.h"

namespace panel {

class CPanelReader final : public runtime::CBlockReader {
 public:
  // Of the plug-in's classes; they outlive the reader.
  explicit CPanelReader(const TParameterSets& parametersOfClasses) : sets(parametersOfClasses) {}

  const char* Keyword() const override { return "panel"; }
  void Read(runtime::CBlockText& text) override;

  const TDefinition& Definition() const { return definition; }

 private:
  const TParameterSets& sets;
  TDefinition definition;
};

}  // namespace panel

#endif
