// An instrument as its application holds it.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_INSTRUMENT_STATE_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_INSTRUMENT_STATE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/hx_main.h"
#include "runtime/runtime.h"

namespace runtime {

struct TInstrumentState {
  std::string name;
  std::string className;
  std::string title;
  std::string quantityUnit;
  std::string outputUnit;
  std::uint32_t header = 0;  // offset of the keyword that opens the block
  std::uint32_t begin = 0;   // offsets of the definition's text
  std::uint32_t end = 0;     // of the keyword that closes it
  hx_vinst::CInstrument* object = nullptr;
  std::vector<std::size_t> receivers;
  std::vector<std::string> files;                   // that its definition names
  std::int32_t output = -1;                         // the data element of its output; below 0: none
  hx_expr::TExprTreeRecord* outputIndex = nullptr;  // where that is an array
  std::vector<TItem> outputItems;                   // of all its outputs, where their places stay
  std::uint64_t activatedIn = 0;                    // the period in which it was activated last
  bool timed = false;
  bool isPlaced = false;  // by its definition
};

// An instrument that acts in every period, and the cache lines that it will
// touch then, as far as the host can know: they are asked for ahead.
struct TTimed {
  static constexpr std::size_t kLines = 16;

  void AskForMemory() const {
    static_assert(kLines == 16);
#pragma GCC unroll 16
    for (const void* line : lines) __builtin_prefetch(line);
  }

  hx_vinst::CInstrument* object;
  const void* lines[kLines];
};

}  // namespace runtime

#endif
