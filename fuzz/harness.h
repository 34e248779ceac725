// What the fuzzers share: values from bytes, invariants, and what an
// instrument shows of itself.
//
// A fuzzer is one function LLVMFuzzerTestOneInput. It does with the bytes what
// a user or a host could do, and calls Check for each invariant.
#ifndef LOOPBOX_FUZZ_HARNESS_H
#define LOOPBOX_FUZZ_HARNESS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/platform/memory.h"
#include "tests/support.h"

namespace fuzz {

// Ends the process with the message when the invariant does not hold.
void Check(bool holds, std::string_view invariant);

// Takes values from the front of an input. Past its end all is zero.
class CBytes {
 public:
  CBytes(const std::uint8_t* data, std::size_t size);
  bool IsAtEnd() const { return rest.empty(); }
  std::uint8_t Byte();
  std::uint32_t Word();                  // 32 bits, little-endian
  std::size_t Below(std::size_t limit);  // by one byte
  // One of the values that break things, or any double by its bits.
  double Real();
  std::string Rest();

 private:
  std::string_view rest;
};

// That everything the platform's memory service gave in its lifetime is back at
// its end.
class CMemoryBalance {
 public:
  CMemoryBalance() : before(runtime::MemoryStatistics()) {}
  ~CMemoryBalance();

 private:
  runtime::TMemoryStatistics before;
};

// Few script instructions, so that no input takes long.
runtime::TReadOptions Limited();

// An application is read, or its errors say why not; never both.
void CheckDiagnostics(const tests::CRun& run);
// Every data element and everything that the instruments show is finite.
void CheckFinite(const tests::CRun& run);
// At most that many periods, each of them checked for finite values; what
// outside writes into the elements before a period comes from the bytes.
void RunSome(tests::CRun& run, int periods, CBytes* bytes);

// What a regulator holds of its output.
struct TOutput {
  double last = 0.0;  // of the previous period
  double low = 0.0;   // the output pane's range, in ascending order
  double high = 0.0;
  bool isFree = false;  // the application may have replaced what the regulator decided
};

TOutput OutputOf(const tests::CRun& run, const std::string& regulator);
// Finite, and in its range unless it is free.
void CheckOutput(const TOutput& output);

}  // namespace fuzz

#endif
