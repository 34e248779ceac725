// Where the numbers of an application stand in its frames (panel/frame.h).
#ifndef LOOPBOX_PANEL_FRAME_LAYOUT_H
#define LOOPBOX_PANEL_FRAME_LAYOUT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "panel/alarms.h"
#include "panel/facts.h"
#include "panel/site.h"
#include "runtime/runtime.h"

namespace panel {

// A data element or an item of one that is an array, of which the first 64 are shown.
struct TShownItem {
  runtime::TItem item;
  std::string name;  // as a trace has it
  std::string unit;
  bool isBoolean = false;
  bool isInteger = false;
};

struct TFrameLayout {
  // `site` is null without a plant, `facts` are those of each instrument, and the panes
  // keep so many numbers.
  TFrameLayout(const runtime::CApplication& application, const CSite* site, const CAlarms& alarms,
               const std::vector<TFacts>& facts, std::size_t paneNumbers);

  // Of an item's shown ones; none where it isn't shown.
  std::optional<std::size_t> ShownIndex(runtime::TItem item) const;
  // Of what a trend asks for: a shown item by its name, or INSTRUMENT.wish, .value or
  // .output. None where there is no such thing.
  std::optional<std::size_t> IndexOf(const std::string& name) const;
  // Of all that a trend may ask for, ascending.
  std::vector<std::size_t> Trends() const;

  struct TInstrument {
    std::string name;
    bool hasPanes = false;             // three; else it is a meter, which has a value alone
    std::vector<std::size_t> outputs;  // of the site: those that it writes
    std::size_t settings = 0;          // how many
    std::size_t learnt = 0;            // how many; with the time of their last change at the end, unless none
    std::size_t factsAt = 0;           // where the settings begin; the learnt follow
  };

  std::vector<TShownItem> items;
  std::vector<std::string> inputs;  // of the site
  std::size_t outputs = 0;
  std::vector<TInstrument> instruments;
  std::size_t alarms = 0;

  // Where each kind begins.
  std::size_t itemsAt = 0;
  std::size_t inputsAt = 0;
  std::size_t outputsAt = 0;
  std::size_t instrumentsAt = 0;
  std::size_t alarmsAt = 0;
  std::size_t panesAt = 0;
  std::size_t size = 0;
};

}  // namespace panel

#endif
