// A block that a reader of others is in.
#ifndef LOOPBOX_RUNTIME_BLOCK_STATE_H
#define LOOPBOX_RUNTIME_BLOCK_STATE_H

#include <cstdint>

#include "runtime/instruments/application_state.h"

namespace runtime {

struct TBlockTextState {
  TApplicationState& application;
  CLexer lexer;       // behind the keyword that opens the block
  std::uint32_t end;  // offset of the keyword that closes it
};

}  // namespace runtime

#endif
