// Warnings about what an application's text says.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_WARNINGS_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_WARNINGS_H

#include <cstdint>
#include <string_view>

#include "host/hx_main.h"

namespace runtime {

// Reports a warning at a mark of the text being read; kNoMark: at the
// instrument's header.
void WarnAtMark(hx_main::TContext* context, std::uint32_t mark, std::string_view message);

}  // namespace runtime

#endif
