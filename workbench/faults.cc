#include "workbench/faults.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "workbench/exit_status.h"

namespace workbench {
namespace {

// Of the notice that lives; a handler can't be given any data.
const char* crashMessage = nullptr;

// Allowed in a signal handler, and where no memory is left.
void Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

extern "C" void OnCrash(int signal) {
  Write(crashMessage);
  switch (signal) {
    case SIGABRT:
      Write(" (aborted)\n");
      break;
    case SIGFPE:
      Write(" (arithmetic error)\n");
      break;
    case SIGILL:
      Write(" (illegal instruction)\n");
      break;
    default:
      Write(" (invalid access to memory)\n");
  }
  _exit(kApplicationWrong);
}

// An exception that met a function of C on its way is unknown to OnTerminate.
bool memoryEnded = false;

void OnNoMemory() {
  memoryEnded = true;
  throw std::bad_alloc();
}

[[noreturn]] void OnTerminate() {
  try {
    if (const std::exception_ptr exception = std::current_exception()) std::rethrow_exception(exception);
    Write(memoryEnded ? kOutOfMemory : "loopbox: terminated\n");
  } catch (const std::bad_alloc&) {
    Write(kOutOfMemory);
  } catch (const std::exception& error) {
    Write("loopbox: ");
    Write(error.what());
    Write("\n");
  } catch (...) {
    Write("loopbox: an exception of an unknown kind\n");
  }
  _exit(kApplicationWrong);
}

// A handler needs a stack of its own where the program's has overflowed.
void UseSignalStack() {
  static std::array<std::byte, 65536> memory;
  stack_t stack = {};
  stack.ss_sp = memory.data();
  stack.ss_size = memory.size();
  sigaltstack(&stack, nullptr);
}

}  // namespace

void InstallFaultHandlers() {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, nullptr);
  std::set_new_handler(OnNoMemory);
  std::set_terminate(OnTerminate);
}

CCrashNotice::CCrashNotice(std::string text) : message("loopbox: " + std::move(text)) {
  UseSignalStack();
  crashMessage = message.c_str();
  struct sigaction action {};
  action.sa_handler = OnCrash;
  action.sa_flags = SA_ONSTACK;
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &action, &before[i]);
}

CCrashNotice::~CCrashNotice() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &before[i], nullptr);
}

}  // namespace workbench
