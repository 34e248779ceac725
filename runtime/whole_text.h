// An application's text made whole, before its blocks are read:
//
//   constants NAME = EXPRESSION; … end_constants;   numbers by name
//   for NAME = FIRST to LAST … end_for;             the blocks inside, once for each
//   include "FILE";                                 the blocks of another text; in a
//                                                   loop repeated as what stands there
//
// and with the entries and numbers that TReadOptions::initialValues replaces.
#ifndef LOOPBOX_RUNTIME_WHOLE_TEXT_H
#define LOOPBOX_RUNTIME_WHOLE_TEXT_H

#include "runtime/instruments/application_state.h"

namespace runtime {

// Makes `application.source` whole and fills `application.numbers`. What is wrong
// goes to the diagnostics. A text without any of these stays as it is.
void MakeTextWhole(TApplicationState& application);

}  // namespace runtime

#endif
