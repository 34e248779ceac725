// Where the reading services are in an application's text.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_READING_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_READING_H

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/instruments/instrument_state.h"
#include "runtime/platform/capacities.h"
#include "runtime/text/lexer.h"

namespace runtime {

// The definition being read.
struct TReading {
  TInstrumentState* instrument = nullptr;
  std::unique_ptr<CLexer> lexer;
  std::uint32_t end = 0;  // offset at which the definition ends
  char16_t token[kTokenCapacity + 1] = {};
  std::uint32_t last = 0;    // offset of the last identifier or value read
  bool ended = false;        // the end of the definition was reached
  std::u16string complaint;  // the last message of a service
  std::uint32_t complaintOffset = 0;
};

}  // namespace runtime

#endif
