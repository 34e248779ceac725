// What the files of the script share: the Lua state with its limits, errors,
// and what a script can reach.
//
// Lua leaves a C function by longjmp. So no object with a destructor may be
// alive where Lua can raise an error: a function registered as
// LuaFunction<Function> answers kFailed after Fail instead, and is left before the
// error is raised. An exception never passes through Lua.
#ifndef LOOPBOX_RUNTIME_SCRIPT_SCRIPT_STATE_H
#define LOOPBOX_RUNTIME_SCRIPT_SCRIPT_STATE_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <lua.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "runtime/instruments/application_state.h"
#include "runtime/script/schedule.h"

namespace runtime {

constexpr std::size_t kMemoryLimit = std::size_t{64} << 20;  // bytes beyond what the sandbox itself takes
constexpr double kTimeLimit = 10.0;                          // seconds of processor time for a block, callback or event
constexpr int kMaximumDepth = 8;                             // events inside procedures inside events
constexpr std::uint32_t kMaximumArguments = 16;              // of a procedure or event
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
  std::string event;  // base name
  int function;       // reference in the registry
};

struct TScriptState {
  explicit TScriptState(TApplicationState& theApplication) : application(theApplication) {}

  TApplicationState& application;
  lua_State* lua = nullptr;

  std::size_t memoryUsed = 0;
  std::size_t memoryLimit = std::numeric_limits<std::size_t>::max();
  std::uint32_t refusedLine = 0;  // where memory was refused last; 0: none was
  std::int64_t workLeft = 0;
  double timeAtStart = -1.0;  // of the call from outside; negative: not read yet
  bool stopped = false;       // every further instruction fails
  int depth = 0;              // calls from outside that are going on

  bool closed = false;  // the instruments have been read
  char message[1000] = {};
  std::uint32_t line = 0;  // of the last failed call; 0: unknown

  CSchedule schedule;
  bool overfull = false;  // the last period had too many callbacks
  std::vector<THandler> handlers;
  std::unordered_map<std::string, TOffer> offers;  // by class
};

inline TScriptState& ScriptOf(lua_State* lua) { return **static_cast<TScriptState**>(lua_getextraspace(lua)); }

// --- Running (script_state.cc) ---

// Makes the state with its sandbox; false when memory does not suffice.
bool OpenState(TScriptState& script);
// Calls the function that lies below its arguments on the stack; both are
// taken off. On false there are no results, and `message` and `line` tell why.
bool Run(TScriptState& script, int arguments, int results);
// Sets `message` and `line` from an error that Lua left on the stack.
void TakeMessage(TScriptState& script, lua_State* lua);
// "line 42: message", of valid characters.
std::string ErrorText(const TScriptState& script);
// Sets the message; yields kFailed.
[[gnu::format(printf, 2, 3)]] int Fail(TScriptState& script, const char* format, ...);
// Counts work done outside Lua's instructions, in instructions. Raises the
// error of a script that ran too long.
void Charge(lua_State* lua, double work);
// Raises the same error when the processor time is used up.
void CheckTime(lua_State* lua);

template <int (*function)(TScriptState&, lua_State*)>
int LuaFunction(lua_State* lua) {
  TScriptState& script = ScriptOf(lua);
  int results = kFailed;
  try {
    results = function(script, lua);
  } catch (const std::exception&) {
    Fail(script, "not enough memory");
  }
  return results == kFailed ? luaL_error(lua, "%s", script.message) : results;
}

// --- The sandbox (script_sandbox.cc, script_order.cc) ---

bool IsScriptGlobal(std::string_view name);
// All of these run inside a protected call.
void OpenLibraries(lua_State* lua);
void ReplaceOrderedFunctions(lua_State* lua);  // pairs, next, table.sort
// Pushes what `tostring` yields, without addresses.
void PushText(lua_State* lua, int index);
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

void OpenData(lua_State* lua);         // script_data.cc
void OpenInstruments(lua_State* lua);  // script_instruments.cc
void OpenCalls(lua_State* lua);        // script_calls.cc: at, every, time, save, print

// --- Instruments (script_procedures.cc) ---

const TOffer& OfferOf(TScriptState& script, std::size_t instrument);
bool HasProcedure(TScriptState& script, std::size_t instrument, const std::string& base);
// LuaFunction. Upvalue 1 is the procedure's base name, argument 1 the instrument.
int CallProcedure(TScriptState& script, lua_State* lua);
// Before the instruments are read: sets the message and yields kFailed; else 0.
int RequireRead(TScriptState& script);

}  // namespace runtime

#endif
