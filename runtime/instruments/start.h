// How an application stands when it has been read, so that it can run again without
// being read again.
//
// Kept are the values of its data elements, what its expressions remember, the host's
// part of each instrument, and the bytes of every block that the instruments hold: a
// class keeps all that it has in blocks of the memory service, which stay where they
// are. A run that gave or took back a block leaves others behind, and can't be undone.
#ifndef LOOPBOX_RUNTIME_INSTRUMENTS_START_H
#define LOOPBOX_RUNTIME_INSTRUMENTS_START_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/expressions/compiler.h"
#include "runtime/instruments/host_part.h"
#include "runtime/platform/memory.h"
#include "runtime/runtime.h"

namespace runtime {

struct TApplicationState;

class CStart {
 public:
  // Before anything is read.
  explicit CStart(TApplicationState& theApplication) : application(theApplication) {}

  // When all has been read, before the process starts.
  void Keep();
  // Brings it all back. False, and nothing changes, where that can't be had.
  bool Restore();

 private:
  struct TInstrument {
    hx_vinst::THostState host;
    std::optional<COutputHost::TState> output;
  };

  TApplicationState& application;
  CBlockLog log;
  std::uint64_t changes = 0;  // of the log
  std::vector<std::byte> values;
  std::vector<TRemembered> remembered;
  std::vector<TInstrument> instruments;
  std::vector<std::byte> blocks;
  std::vector<hx_vinst::CInstrument*> blinking;
  std::vector<TRunTimeMessage> unseen;
};

}  // namespace runtime

#endif
