// The digest of each elementary function as CSV, for tools/cross-check. Fails
// where one isn't what it should be on every platform.
#include <cinttypes>
#include <cstdio>

#include "tests/elementary_arguments.h"

int main() {
  bool right = true;
  std::printf("function,digest\n");
  for (const tests::TElementary& function : tests::kElementary) {
    const std::uint64_t digest = tests::Digest(function);
    std::printf("%s,%016" PRIX64 "\n", function.name, digest);
    right = right && digest == function.sameBits;
  }
  return right ? 0 : 1;
}
