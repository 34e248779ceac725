// Plug-ins with one fault each, chosen at compile time; without one, a plug-in
// of one class that does nothing.
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>

#include "host/hx_main.h"

// A host finds the exports by name: no header declares them.
#pragma GCC diagnostic ignored "-Wmissing-declarations"
#define EXPORT extern "C" __attribute__((visibility("default")))

#ifdef ENDS
// What the environment asks for.
void Misbehave() {
  const char* asked = std::getenv("ENDS");
  const std::string_view how = asked == nullptr ? "" : asked;
  const bool floods = how == "floods";
  // Whatever is open, the answer's pipe among it.
  for (bool more = floods || how == "forges"; more; more = floods) {
    for (int descriptor = 3; descriptor < 10; ++descriptor) {
      if (write(descriptor, "9 well", 6) < 0) continue;
    }
  }
  if (how == "exit") std::exit(0);
  if (how == "_exit" || how == "forges") _exit(0);
  if (how == "quick_exit") std::quick_exit(0);
  if (how == "signal") raise(SIGUSR1);
  const bool leaves = how == "leaves";
  if (!leaves && how != "hangs") return;
  if (fork() != 0) {
    while (!leaves) pause();
    return;
  }
  setsid();
  execlp("sleep", std::getenv("LEFT"), "1000", nullptr);
}
#endif

EXPORT std::uint32_t Version() {
#ifdef ENDS
  Misbehave();
#endif
#ifdef CRASHES
  raise(SIGSEGV);
#endif
  return 1;
}
EXPORT std::uint8_t Check(std::uint32_t capacity, char16_t* message, std::uint32_t, std::uint32_t, std::uint32_t,
                          std::uint32_t) {
#ifdef REFUSES_HOST
  const char16_t text[] = u"too old";
  for (std::uint32_t i = 0; i <= 7 && i <= capacity; ++i) message[i] = text[i];
  return 0;
#else
  (void)capacity;
  (void)message;
  return 1;
#endif
}
EXPORT void GetDLLInfo(std::uint32_t, char16_t* name, const std::uint8_t** small, const std::uint8_t** large,
                       std::uint8_t* flag) {
  name[0] = 0;
  *small = *large = nullptr;
  *flag = 1;
}
EXPORT std::uint8_t GetInstrumentName(std::uint32_t index, std::uint32_t capacity, char16_t* name) {
  const char16_t text[] = u"pid_regulator";
  for (std::uint32_t i = 0; i <= 13 && i <= capacity; ++i) name[i] = text[i];
  return index == 0;
}
EXPORT std::uint8_t GetInstrumentInfo(std::uint32_t, const char16_t*, const std::uint8_t**, const std::uint8_t**,
                                      std::uint32_t*, std::uint32_t, char16_t*) {
  return 0;
}
#ifndef LACKS_EXPORT
EXPORT hx_vinst::CInstrument* MakeInstrument(std::uint32_t, const char16_t*) {
  void* block = nullptr;
#ifdef CRASHES_MAKING
  std::abort();
#endif
#ifndef MAKES_NULL
  runlib::MemAllocate(&block, sizeof(hx_vinst::CInstrument));
#endif
  return block == nullptr ? nullptr : new (block) hx_vinst::CInstrument();
}
#endif
