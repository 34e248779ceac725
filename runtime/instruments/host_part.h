// What the host keeps beside an instrument of the application. The meters
// inside a regulator have none.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_HOST_PART_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_HOST_PART_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/hx_main.h"
#include "runtime/instruments/output_host.h"

namespace hx_vinst {

// What changes in it while the application runs.
struct THostState {
  std::uint32_t blinkRate = 0;  // milliseconds, 0: none
  std::uint8_t blinkPhase = 0;
  bool blinks = false;        // has a place among the application's blinking ones
  bool conditionHeld = true;  // when it acted last, while that is noted
  // What a pane's range cut, the last time that it cut anything.
  struct TCut {
    std::uint64_t period = 0;  // of the application's, from 1; 0: never
    double evaluated = 0.0;
  };
  TCut wishCut;
  TCut valueCut;
};

struct THostPart : THostState {
  struct TEvent {
    std::u16string name;    // identifier name, `OnOutput__R`
    std::uint32_t handler;  // the script's number of the function
  };

  std::size_t index = 0;  // in the application
  // What it got from the memory service for itself while it was made, itself
  // first; without what is small.
  std::vector<const void*> blocks;
  std::u16string name;
  // What the services gave and is still held: released by Done.
  std::vector<hx_expr::TExprTreeRecord*> expressions;
  std::vector<vcom::CList*> receiverLists;
  std::vector<TEvent> events;
  std::unique_ptr<runtime::COutputHost> output;  // null: its output is its own alone
  // The window's size that the class gave when it was made, in pixels.
  std::int32_t madeWidth = 0;
  std::int32_t madeHeight = 0;
  bool keeps = true;  // what it learnt
};

}  // namespace hx_vinst

namespace runtime {

// One Action, in the period of this number.
inline void ActIn(std::uint64_t period, hx_vinst::CInstrument& instrument, std::uint32_t reason) {
  if ((instrument.stateWord & kStateHosted) == 0) return instrument.Action(reason);
  COutputHost& output = *instrument.host->output;
  output.BeforeAction(period);
  instrument.Action(reason);
  output.AfterAction();
}

}  // namespace runtime

#endif
