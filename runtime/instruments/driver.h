// Driving an instrument of an application by hand: what the period and the
// reading of a text are made of, and what a check or a test does that looks at
// an instrument more closely than a host can.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_DRIVER_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_DRIVER_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "runtime/instruments/application_state.h"
#include "runtime/instruments/plugin_state.h"

namespace runtime {

// What stands behind the face, as long as that lives.
TApplicationState& StateOf(CApplication& application);
TPluginState& StateOf(CPlugin& plugin);

// By name; throws std::out_of_range when there is none.
TInstrumentState& InstrumentOf(TApplicationState& application, std::string_view name);

// Where an instrument leaves a message and the keyword that it read last. The
// texts have room for their capacity and a closing zero.
struct TDefinitionTexts {
  std::uint32_t errorCapacity;
  char16_t* error;
  std::uint32_t tokenCapacity;
  char16_t* token;
};

// Lets an instrument read its definition, the first time or anew, up to the
// offset `end` of the application's text. False when it refuses; `reading` then
// says where a service found fault. Nothing of the reading before is left.
bool ReadDefinition(TApplicationState& application, TInstrumentState& instrument, std::uint32_t end,
                    const TDefinitionTexts& texts);

// A period in which this instrument alone acts: the clock stands at so many
// milliseconds of the day, `reason` is hx_vinst::kActionTimer or
// kActionReceiver. What it activates doesn't act.
void Act(TApplicationState& application, hx_vinst::CInstrument& instrument, std::uint32_t milliseconds,
         std::uint32_t reason = hx_vinst::kActionTimer);

// A data element by its name; throws std::out_of_range when there is none.
double ValueOf(const TApplicationState& application, std::string_view element, std::size_t item = 0);
void SetValue(TApplicationState& application, std::string_view element, double value, std::size_t item = 0);

}  // namespace runtime

#endif
