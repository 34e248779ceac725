// What the files of the script share: the Lua state with its limits, errors,
// and what a script can reach.
//
// Lua leaves a C function by longjmp. So no object with a destructor may be
// alive where Lua can raise an error: a function registered as
// LuaFunction<Function> answers kFailed after Fail instead, and is left before the
// error is raised. An exception never passes through Lua.
//
// A text that Lua owns lives only as long as something that Lua sees holds it:
// a pointer into one is kept across a call that may allocate only while the text
// stands on the stack or in a table that does.
#ifndef LOOPBOX_RUNTIME_SCRIPT_SCRIPT_STATE_H
#define LOOPBOX_RUNTIME_SCRIPT_SCRIPT_STATE_H

#include <atomic>
#include <csetjmp>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <limits>
#include <lua.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/instruments/application_state.h"
#include "runtime/script/schedule.h"
#include "runtime/script/watchdog.h"

namespace runtime {

constexpr std::size_t kMemoryLimit = std::size_t{64} << 20;  // bytes beyond what the sandbox itself takes
constexpr std::size_t kMemoryReserve = std::size_t{4}
                                       << 20;    // further bytes, for what the runtime's own functions make
constexpr int kMaximumDepth = 8;                 // events inside procedures inside events
constexpr std::uint32_t kMaximumArguments = 16;  // of a procedure or event
constexpr int kFailed = -1;

struct TOfferedProcedure {
  std::string base;         // SetParameters
  std::string letters;      // RRR
  std::u16string name;      // SetParameters__RRR
  std::string description;  // SetParameters( r0, tI, tD : real )
  std::string byReference;  // for each letter '&' or ' '
  std::size_t inputs = 0;   // arguments that are not by reference
};

// What a class offers to scripts. Events have a base and a name alone.
struct TOffer {
  std::vector<TOfferedProcedure> events;
  std::vector<TOfferedProcedure> procedures;
};

struct THandler {
  std::size_t instrument;
  std::string event;   // base name
  int function;        // reference in the registry
  std::uint32_t line;  // where it is defined
};

// Stands before each block of memory that Lua has, so that all can be freed
// without Lua.
struct alignas(std::max_align_t) TScriptBlock {
  TScriptBlock* previous;
  TScriptBlock* next;
};

struct TScriptState {
  explicit TScriptState(TApplicationState& theApplication) : application(theApplication) {}

  TApplicationState& application;
  lua_State* lua = nullptr;

  std::size_t memoryUsed = 0;
  std::size_t memoryLimit = std::numeric_limits<std::size_t>::max();
  TScriptBlock blocks{&blocks, &blocks};  // a ring
  bool refuseNext = true;                 // with `scriptCollects`
  std::uint32_t refusedLine = 0;          // where memory was refused last; 0: none was
  std::int64_t workLeft = 0;
  double timeAtStart = -1.0;         // of the call from outside; negative: not read yet
  double waited = 0.0;               // seconds of that call in which the system was waited for
  double interruptedAt = -1.0;       // when an interruption was first seen, in seconds; negative: none was
  const char* stopReason = nullptr;  // not null: every further instruction fails
  int depth = 0;                     // calls from outside that are going on

  // What ends a call that nothing else ends (watchdog.h). A signal handler sees
  // these.
  std::jmp_buf* volatile way = nullptr;     // out of the innermost call from outside
  volatile std::sig_atomic_t leavable = 0;  // Lua's own code runs, none of the runtime's that holds something
  volatile std::sig_atomic_t ticks = 0;     // that the call from outside has taken
  volatile std::sig_atomic_t ticksAllowed = 0;
  volatile std::sig_atomic_t ticksInterrupted = 0;
  std::sig_atomic_t ticksSeen = 0;  // when the time was looked at last
  bool left = false;                // a call was left: the state can't be used any more

  bool closed = false;            // the instruments have been read
  std::uint64_t linesBefore = 0;  // of all blocks so far
  char message[1000] = {};
  std::uint32_t line = 0;  // of the last failed call; 0: unknown

  CSchedule schedule;
  bool overfull = false;                           // the last period had too many callbacks
  std::deque<THandler> handlers;                   // those that are called stay where they are
  std::unordered_map<std::string, TOffer> offers;  // by class
};

// Nothing that stands before it is done after it, nor the other way round.
inline void SetLeavable(TScriptState& script, std::sig_atomic_t leavable) {
  std::atomic_signal_fence(std::memory_order_seq_cst);
  script.leavable = leavable;
  std::atomic_signal_fence(std::memory_order_seq_cst);
}

inline TScriptState& ScriptOf(lua_State* lua) { return **static_cast<TScriptState**>(lua_getextraspace(lua)); }

// --- Running (lua_state.cc) ---

// Makes the state with its sandbox; false when memory does not suffice.
bool OpenState(TScriptState& script);
// Frees it, also one that was left, without Lua.
void CloseState(TScriptState& script);
// Calls the function that lies below its arguments on the stack; both are
// taken off. On false there are no results, and `message` and `line` tell why; when
// the state was `left`, nothing of Lua may be called any more.
bool Run(TScriptState& script, int arguments, int results);
// Sets `message` and `line` from an error that Lua left on the stack.
void TakeMessage(TScriptState& script, lua_State* lua);
// "line 42: message", of valid characters.
std::string ErrorText(const TScriptState& script);
// Where the function at an index is defined; 0: it is none of the text's.
std::uint32_t LineOfDefinition(lua_State* lua, int index);
// Sets the message; yields kFailed.
[[gnu::format(printf, 2, 3)]] int Fail(TScriptState& script, const char* format, ...);
// Counts work done outside Lua's instructions, in instructions. Raises the
// error of a script that ran too long.
void Charge(lua_State* lua, double work);
// Raises the same error when the time is used up.
void CheckTime(lua_State* lua);
// Whether the call from outside has to end; no further instruction succeeds then.
bool IsTimeUp(TScriptState& script);
// Whether a script had its time since an interruption was asked for.
bool IsInterrupted(TScriptState& script);
// From a monotonic clock.
double WallSeconds();

template <int (*function)(TScriptState&, lua_State*)>
int LuaFunction(lua_State* lua) {
  TScriptState& script = ScriptOf(lua);
  SetLeavable(script, 0);
  int results = kFailed;
  try {
    results = function(script, lua);
  } catch (const std::exception&) {
    Fail(script, "not enough memory");
  }
  if (script.left) Leave(script);
  SetLeavable(script, 1);
  // Its own time is seen at once.
  if (script.ticksSeen != script.ticks && IsTimeUp(script)) results = Fail(script, "%s", script.stopReason);
  return results == kFailed ? luaL_error(lua, "%s", script.message) : results;
}

// For a LuaFunction that holds nothing with a destructor: what it pushes may make
// Lua collect, which takes its time.
template <typename TPush>
void PushAsLua(TScriptState& script, TPush push) {
  SetLeavable(script, 1);
  push();
  SetLeavable(script, 0);
}

// --- The sandbox (sandbox.cc, order.cc) ---

bool IsScriptGlobal(std::string_view name);
// All of these run inside a protected call.
void OpenLibraries(lua_State* lua);
void ReplaceOrderedFunctions(lua_State* lua);  // pairs, next, table.sort
// Pushes what `tostring` yields, without addresses.
void PushText(lua_State* lua, int index);
constexpr lua_Integer kMaximumElements = 10'000'000;  // that a function of `table` goes through
// The length of a table argument; one with `__len` is refused.
lua_Integer CheckLength(lua_State* lua, int index);

// --- What scripts reach ---

// Every userdata that a script can get hold of is a proxy.
enum class EProxy : std::uint8_t { kData, kArray, kInstrument, kColors };
struct TProxy {
  EProxy kind;
  std::size_t index;  // of the element or the instrument
};

void PushProxy(lua_State* lua, EProxy kind, std::size_t index);
// Null when it is none of that kind.
const TProxy* ProxyAt(lua_State* lua, int index, EProxy kind);
// Makes the metatable of a kind. Further fields are set by the caller, who
// finds it on the stack.
void PushProxyMetatable(lua_State* lua, EProxy kind, lua_CFunction newIndex, lua_CFunction toString);

void OpenData(lua_State* lua);         // data.cc
void OpenInstruments(lua_State* lua);  // instruments.cc
void OpenCalls(lua_State* lua);        // calls.cc: at, every, time, save, print

// --- Instruments (procedures.cc) ---

const TOffer& OfferOf(TScriptState& script, std::size_t instrument);
bool HasProcedure(TScriptState& script, std::size_t instrument, const std::string& base);
// LuaFunction. Upvalue 1 is the procedure's base name, argument 1 the instrument.
int CallProcedure(TScriptState& script, lua_State* lua);
// Before the instruments are read: sets the message and yields kFailed; else 0.
int RequireRead(TScriptState& script);

}  // namespace runtime

#endif
