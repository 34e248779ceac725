// What ends a call into Lua that nothing else ends. The hook runs between Lua's
// instructions, and no library function can be trusted to come back to it: a
// timer of the thread's processor time ticks while a script runs, and its signal
// leaves a call that is long overdue, wherever in Lua's code it is. The state can't
// be used after that; its memory is freed without Lua.
//
// A call is left only where Lua's own code runs. That code holds nothing but
// memory of its state: it takes no lock, opens nothing, and has no destructors. A
// host whose own signal handlers may run while a script does has them block
// SIGVTALRM, or one of them may be left too.
#ifndef LOOPBOX_RUNTIME_SCRIPT_WATCHDOG_H
#define LOOPBOX_RUNTIME_SCRIPT_WATCHDOG_H

namespace runtime {

struct TScriptState;

constexpr double kTickInterval = 0.1;        // seconds of the thread's processor time
constexpr double kTimeToEnd = 1.0;           // seconds that a call beyond its time has before it is left
constexpr double kInterruptionTime = 0.5;    // seconds that a script has from an interruption on
constexpr int kTicksAfterInterruption = 10;  // then it is left

// The calls into a script by this thread are watched from now on; false with errno
// when there is no timer. A thread that waits is not disturbed: its processor
// time stands still.
bool BeginWatching(TScriptState& script);
void EndWatching();
// Goes to the script's `way`, with true.
[[noreturn]] void Leave(TScriptState& script);

}  // namespace runtime

#endif
