// What a page is told of a run once: what doesn't change while it shows it.
#ifndef LOOPBOX_PANEL_MODEL_H
#define LOOPBOX_PANEL_MODEL_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "painting/live_panes.h"
#include "panel/alarms.h"
#include "panel/definition.h"
#include "panel/facts.h"
#include "panel/frame.h"
#include "panel/frames.h"
#include "panel/site.h"
#include "runtime/runtime.h"

namespace panel {

struct TModel {
  struct TShown {
    std::string name;
    std::string unit;
    bool isBoolean = false;
    bool isInteger = false;
  };
  struct TInput {
    std::optional<std::size_t> element;
    std::size_t connection = 0;
  };
  struct TInstrument {
    std::string name;
    std::string title;
    std::string className;
    std::string unit;
    std::string outputUnit;
    TFacts facts;
    // By EOfInstrument up to the output: the shown items that they are; and the limits.
    std::array<std::optional<std::size_t>, 3> elements;
    std::array<runtime::TPaneLimits, 3> limits;
    std::vector<std::string> receivers;
    std::string wishFrom;               // the instrument whose output is the wish; may be empty
    std::vector<std::string> outputTo;  // those whose wish is the output
    // Where an operator may set them.
    std::optional<TParameterSet> parameters;
    std::optional<painting::TPictureSize> pane;
  };
  struct TOperator {
    std::string name;
    panel::TOperator::EKind kind = panel::TOperator::kElement;
    std::optional<std::size_t> element;     // that is shown
    std::optional<std::size_t> instrument;  // of all but an element
    std::string procedure;
    std::size_t arguments = 0;
    std::optional<std::pair<double, double>> range;
    std::optional<double> rate;
    bool isSwitch = false;
  };
  struct TAlarm {
    std::string name;
    EPriority priority = EPriority::kMedium;
    std::string text;
    std::optional<std::size_t> connection;
    std::vector<std::size_t> elements;  // shown items that it reads
  };

  std::string application;
  std::string title;
  double period = 0.0;    // seconds
  double duration = 0.0;  // seconds
  std::string language = "en";
  bool isLive = true;  // else what was kept of a run
  double from = 0.0;   // of what was kept, in seconds of the run
  double to = 0.0;
  bool isPlant = false;
  bool isDry = false;      // nothing is written to the plant
  double startWall = 0.0;  // seconds of the epoch; 0: not known
  EPhase phase = EPhase::kStarting;
  std::vector<TShown> elements;
  std::vector<TInput> inputs;
  std::vector<std::optional<std::size_t>> outputs;  // the shown items that they are
  std::vector<std::string> connections;
  std::vector<TInstrument> instruments;
  std::vector<TOperator> operators;
  std::vector<TAlarm> alarms;

  std::string Json(bool mayOperate) const;
};

// Of a run that goes on; `site` is null without a plant. What the frames don't know,
// language, plant and start, is the caller's to set.
TModel ModelOf(const runtime::CApplication& application, const TDefinition& definition, const TParameterSets& sets,
               const CSite* site, const CAlarms& alarms, const CFrames& frames);

const char* NameOf(EPhase phase);  // "starting", "running", "ended", "interrupted", "failed"

}  // namespace panel

#endif
