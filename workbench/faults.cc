#include "workbench/faults.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string_view>

#include "runtime/runtime.h"
#include "workbench/exit_status.h"

namespace workbench {
namespace {

// Of the notice that lives; a handler can't be given any data.
const char* crashMessage = nullptr;

// Who writes them can't look for words: they are translated before.
struct {
  std::string outOfMemory = "out of memory";
  std::string terminated = "terminated";
  std::string unknownException = "an exception of an unknown kind";
  std::string smallStack;
  std::string aborted = "aborted";
  std::string arithmeticError = "arithmetic error";
  std::string illegalInstruction = "illegal instruction";
  std::string invalidAccess = "invalid access to memory";
  std::string endedProgram = "ended the program";
} texts;

// Allowed in a signal handler, and where no memory is left.
void Write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

void WriteError(std::string_view text) {
  Write("loopbox: ");
  Write(text);
  Write("\n");
}

// Behind the message of a notice.
void WriteHow(std::string_view text) {
  Write(" (");
  Write(text);
  Write(")\n");
}

// The stack that a program is given where nobody says otherwise, in bytes.
constexpr rlim_t kUsualStack = rlim_t{8} << 20;

// A smaller one grows to that, as far as its user may let it; what it is then.
rlim_t stackSize = kUsualStack;
const char* stackBegin = nullptr;  // it grows downward

void SettleStack(const char* begin) {
  stackBegin = begin;
  rlimit limit{};
  getrlimit(RLIMIT_STACK, &limit);
  if (limit.rlim_cur >= kUsualStack) return;
  limit.rlim_cur = std::min(kUsualStack, limit.rlim_max);
  setrlimit(RLIMIT_STACK, &limit);
  stackSize = limit.rlim_cur;
  texts.smallStack = "the stack of " + std::to_string(stackSize >> 10) + " KiB is too small (ulimit -s)";
}

// Nobody's fault but that of who made the stack small.
bool IsBelowSmallStack(const void* address) {
  constexpr std::ptrdiff_t kBelow = 1 << 20;  // a call may step over more than a page
  const std::ptrdiff_t depth = stackBegin - static_cast<const char*>(address);
  return stackSize < kUsualStack && depth > 0 && depth < static_cast<std::ptrdiff_t>(stackSize) + kBelow;
}

// Ends the program, whoever stands in for the C library's own ends.
[[noreturn]] void End(int status) {
  for (;;) syscall(SYS_exit_group, status);
}

extern "C" void OnCrash(int signal, siginfo_t* about, void*) {
  if (signal == SIGSEGV && IsBelowSmallStack(about->si_addr)) {
    WriteError(texts.smallStack);
    End(kApplicationWrong);
  }
  Write(crashMessage);
  switch (signal) {
    case SIGABRT:
      WriteHow(texts.aborted);
      break;
    case SIGFPE:
      WriteHow(texts.arithmeticError);
      break;
    case SIGILL:
      WriteHow(texts.illegalInstruction);
      break;
    default:
      WriteHow(texts.invalidAccess);
  }
  End(kApplicationWrong);
}

extern "C" void OnEnding(int number, siginfo_t* about, void*) {
  const bool isOfSystem =
      about->si_code == SI_KERNEL && (number == SIGHUP || number == SIGINT || number == SIGQUIT || number == SIGXCPU);
  const bool isSent = about->si_code == SI_USER || about->si_code == SI_QUEUE || about->si_code == SI_TKILL;
  if (isOfSystem || (isSent && about->si_pid != getpid())) {
    signal(number, SIG_DFL);
    raise(number);  // comes when this returns
    return;
  }
  Write(crashMessage);
  WriteHow(sigdescr_np(number));
  End(kApplicationWrong);
}

pid_t program = 0;  // what it forks ends as it likes

// An exit while a notice lives isn't the program's own.
void OnExit() {
  if (crashMessage == nullptr || getpid() != program) return;
  Write(crashMessage);
  WriteHow(texts.endedProgram);
  End(kApplicationWrong);
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
    WriteError(memoryEnded ? texts.outOfMemory : texts.terminated);
  } catch (const std::bad_alloc&) {
    WriteError(texts.outOfMemory);
  } catch (const std::exception& error) {
    WriteError(runtime::Printable(error.what()));
  } catch (...) {
    WriteError(texts.unknownException);
  }
  End(kApplicationWrong);
}

// A handler needs a stack of its own where the program's has overflowed.
void UseSignalStack() {
  alignas(std::max_align_t) static std::array<std::byte, 65536> memory;
  stack_t stack = {};
  stack.ss_sp = memory.data();
  stack.ss_size = memory.size();
  sigaltstack(&stack, nullptr);
}

}  // namespace

void HoldStandardStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDONLY);  // takes the lowest that is free
  }
}

void InstallFaultHandlers() {
  const char here = 0;
  SettleStack(&here);  // where the stack begins, whatever stands there
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &ignore, nullptr);
  program = getpid();
  std::atexit(OnExit);
  std::at_quick_exit(OnExit);
  std::set_new_handler(OnNoMemory);
  std::set_terminate(OnTerminate);
  // NOLINTNEXTLINE(clang-analyzer-core.StackAddressEscape): nobody reads what is there.
}

void TranslateFaults() {
  for (std::string* text :
       {&texts.outOfMemory, &texts.terminated, &texts.unknownException, &texts.smallStack, &texts.aborted,
        &texts.arithmeticError, &texts.illegalInstruction, &texts.invalidAccess, &texts.endedProgram}) {
    *text = runtime::Printable(runtime::Translated(*text));
  }
}

void TellNoMemory() { WriteError(texts.outOfMemory); }

CCrashNotice::CCrashNotice(const std::string& text)
    : message(runtime::Printable("loopbox: " + runtime::Translated(text))), outer(crashMessage) {
  UseSignalStack();
  crashMessage = message.c_str();
  struct sigaction action {};
  action.sa_flags = SA_ONSTACK | SA_SIGINFO;
  action.sa_sigaction = OnCrash;
  std::size_t i = 0;
  for (const int number : kCrashes) sigaction(number, &action, &before[i++]);
  action.sa_sigaction = OnEnding;
  for (const int number : kEnding) {
    sigaction(number, nullptr, &before[i]);
    if (before[i++].sa_handler == SIG_DFL) sigaction(number, &action, nullptr);
  }
}

CCrashNotice::~CCrashNotice() {
  std::size_t i = 0;
  for (const int number : kCrashes) sigaction(number, &before[i++], nullptr);
  for (const int number : kEnding) {
    if (before[i].sa_handler == SIG_DFL) sigaction(number, &before[i], nullptr);
    ++i;
  }
  crashMessage = outer;
}

}  // namespace workbench

// A plug-in's calls come here, and not to the C library, whose own exit ends by
// other ways.
extern "C" [[gnu::visibility("default")]] void _exit(int status) {
  workbench::OnExit();
  workbench::End(status);
}
extern "C" [[gnu::visibility("default")]] void _Exit(int status) noexcept { _exit(status); }
