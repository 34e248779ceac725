// What more can be said of a definition that its class refused.
#ifndef LOOPBOX_RUNTIME_REFUSED_DEFINITION_H
#define LOOPBOX_RUNTIME_REFUSED_DEFINITION_H

#include <string>

#include "runtime/instruments/application_state.h"

namespace runtime {

// The class's message at the word that it is about, with the names that are near to
// the word, or with the block that was left open before it, whose place it then has.
TTextError Explained(const TApplicationState& application, const TInstrumentState& instrument, TTextError refusal);

// The same of a definition that ends too early.
TTextError ExplainedEnd(const TApplicationState& application, const TInstrumentState& instrument, TTextError refusal);

}  // namespace runtime

#endif
