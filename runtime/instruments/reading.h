// Where the reading services are in an application's text.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_READING_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_READING_H

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/expressions/data_elements.h"
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
  // The output element that was read last, and its index; -1 where there is none.
  std::int32_t output = -1;
  hx_expr::TExprTreeRecord* outputIndex = nullptr;
};

// Leaves a message with the caller and, with its place, in the reading.
void Complain(TReading& reading, std::uint32_t capacity, char16_t* message, const TTextError& error);
// Compiles the expression ahead. The instrument holds it until FreeExpression or
// Done. Throws TTextError.
hx_expr::TExprTreeRecord* CompileHeld(hx_vinst::CInstrument& instrument, EType type);

}  // namespace runtime

#endif
