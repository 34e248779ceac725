// Operator new that succeeds as often as FAILING_NEW_AFTER says and then fails
// FAILING_NEW_COUNT times.
#include <cstdint>
#include <cstdlib>
#include <new>

#define EXPORT __attribute__((visibility("default")))

namespace {

long long Setting(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : std::atoll(text);
}

bool Fails() {
  static long long successesLeft = Setting("FAILING_NEW_AFTER");
  static long long failuresLeft = Setting("FAILING_NEW_COUNT");
  if (successesLeft > 0) {
    --successesLeft;
    return false;
  }
  return failuresLeft-- > 0;
}

}  // namespace

EXPORT void* operator new(std::size_t size) {
  void* block = Fails() ? nullptr : std::malloc(size);
  if (block == nullptr) {
    if (const std::new_handler handler = std::get_new_handler()) handler();
    throw std::bad_alloc();
  }
  return block;
}
EXPORT void operator delete(void* block) noexcept { std::free(block); }
EXPORT void operator delete(void* block, std::size_t) noexcept { std::free(block); }
