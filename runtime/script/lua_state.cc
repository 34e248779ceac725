// The Lua state of a script: memory, work, calls from outside and errors.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "runtime/script/script_state.h"
#include "runtime/text/utf8.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr int kHookInterval = 1000;             // instructions
constexpr std::int64_t kBytesPerWork = 64;      // allocated, for one instruction of work
constexpr std::int64_t kRefusalWork = 100'000;  // a refused block costs a whole collection
constexpr char kChunkPrefix[] = "script:";
constexpr char kTooLong[] = "the script ran too long";
constexpr char kInterrupted[] = "the script was interrupted";
constexpr char kLeft[] = "the script did not come back from one function: it runs no more";
constexpr char kNoMemory[] = "not enough memory";

double Seconds(clockid_t clock) {
  std::timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// The line that the innermost Lua function is at; 0: none is running.
std::uint32_t CurrentLine(lua_State* lua) {
  lua_Debug frame;
  for (int level = 0; lua_getstack(lua, level, &frame); ++level) {
    lua_getinfo(lua, "l", &frame);
    if (frame.currentline > 0) return static_cast<std::uint32_t>(frame.currentline);
  }
  return 0;
}

void Hook(lua_State* lua, lua_Debug*);

// From now on each instruction fails, so that no pcall of the script can go on
// for long.
void Stop(TScriptState& script, const char* reason) {
  if (script.stopReason == nullptr) script.stopReason = reason;
  if (script.left) return;
  lua_sethook(script.lua, Hook, LUA_MASKCOUNT, 1);
}

void Hook(lua_State* lua, lua_Debug*) {
  TScriptState& script = ScriptOf(lua);
  SetLeavable(script, 1);  // an error of memory may have passed over what sets it
  script.workLeft -= kHookInterval;
  if (script.workLeft < 0) Stop(script, kTooLong);
  if (script.stopReason == nullptr && !IsTimeUp(script)) return;
  luaL_where(lua, 0);
  lua_pushstring(lua, script.stopReason);
  lua_concat(lua, 2);
  lua_error(lua);
}

void Free(TScriptBlock* block) {
  block->previous->next = block->next;
  block->next->previous = block->previous;
  std::free(block);
}

// Null when there is no memory, and `block` stays.
TScriptBlock* Resize(TScriptState& script, TScriptBlock* block, std::size_t size) {
  TScriptBlock* const made = static_cast<TScriptBlock*>(std::realloc(block, sizeof(TScriptBlock) + size));
  if (made == nullptr) return nullptr;
  if (block == nullptr) {
    made->previous = &script.blocks;
    made->next = script.blocks.next;
  }
  made->previous->next = made;
  made->next->previous = made;
  return made;
}

// Within what is allowed. Where a library's own function asks, a refusal is an
// error of the script; where the runtime's asks, for little, it would be one that
// passes over C++, so that a reserve serves it.
bool IsGranted(TScriptState& script, std::size_t more) {
  if (script.lua != nullptr && script.application.options.scriptCollects) {
    // Lua collects what it can, and asks once more.
    script.refuseNext = !script.refuseNext;
    if (!script.refuseNext) return false;
  }
  const std::size_t reserve = script.leavable != 0 || script.depth == 0 ? 0 : kMemoryReserve;
  return script.memoryUsed <= script.memoryLimit + reserve && more <= script.memoryLimit + reserve - script.memoryUsed;
}

// Allocating counts as work, since copying long texts takes time within one
// instruction.
void* Allocate(void* user, void* memory, std::size_t oldSize, std::size_t newSize) {
  TScriptState& script = *static_cast<TScriptState*>(user);
  const std::sig_atomic_t before = script.leavable;
  TScriptBlock* const block = memory == nullptr ? nullptr : static_cast<TScriptBlock*>(memory) - 1;
  if (block == nullptr) oldSize = 0;  // it is a type code then
  TScriptBlock* result = nullptr;
  const bool granted = newSize <= oldSize || IsGranted(script, newSize - oldSize);
  SetLeavable(script, 0);
  if (newSize == 0) {
    if (block != nullptr) Free(block);
  } else if (granted) {
    result = Resize(script, block, newSize);
  }
  if (newSize == 0 || result != nullptr) script.memoryUsed += newSize - oldSize;
  if (newSize != 0 && script.depth > 0) {
    if (result != nullptr) {
      script.workLeft -= static_cast<std::int64_t>(newSize) / kBytesPerWork;
    } else if (!script.application.options.scriptCollects) {
      script.refusedLine = CurrentLine(script.lua);
      script.workLeft -= kRefusalWork;
    }
    if (script.workLeft < 0) Stop(script, kTooLong);
  }
  SetLeavable(script, before);
  return result == nullptr ? nullptr : result + 1;
}

void SetMessage(TScriptState& script, std::string_view text) {
  const std::size_t length = std::min(text.size(), sizeof script.message - 1);
  text.copy(script.message, length);
  script.message[length] = 0;
}

// Called where an error is raised, while the stack still shows the line.
int NoteError(lua_State* lua) {
  TScriptState& script = ScriptOf(lua);
  TakeMessage(script, lua);
  if (script.line == 0) script.line = CurrentLine(lua);
  return 1;
}

int Open(lua_State* lua) {
  OpenLibraries(lua);
  OpenData(lua);
  OpenInstruments(lua);
  OpenCalls(lua);
  return 0;
}

// False with the reason in `message`.
bool Begin(TScriptState& script) {
  const TReadOptions& options = script.application.options;
  script.workLeft = options.scriptWork;
  script.timeAtStart = -1.0;
  script.waited = 0.0;
  script.refusedLine = 0;
  script.stopReason = nullptr;
  script.ticksAllowed = static_cast<std::sig_atomic_t>((options.scriptTime + kTimeToEnd) / kTickInterval);
  lua_sethook(script.lua, Hook, LUA_MASKCOUNT, kHookInterval);
  if (BeginWatching(script)) return true;
  Fail(script, "no timer can be had to bound its time: %s", std::strerror(errno));
  return false;
}

// The status of a protected call, or kWasLeft.
constexpr int kWasLeft = -1;
[[gnu::noinline]] int CallProtected(TScriptState& script, int arguments, int results, int handler) {
  std::jmp_buf way;
  std::jmp_buf* const outer = script.way;
  int status = kWasLeft;
  if (_setjmp(way) == 0) {
    script.way = &way;
    SetLeavable(script, 1);
    status = lua_pcall(script.lua, arguments, results, handler);
    SetLeavable(script, 0);
  } else {
    status = kWasLeft;
  }
  script.way = outer;
  return status;
}

int Collect(lua_State* lua) {
  lua_gc(lua, LUA_GCCOLLECT);
  return 0;
}

// Sets `message` and `line`. The function that failed lies at an index.
void TakeFailure(TScriptState& script, int status, int function) {
  if (status == LUA_ERRMEM) {
    SetMessage(script, script.stopReason != nullptr ? script.stopReason : kNoMemory);
    script.line = script.refusedLine;
  } else if (status == LUA_ERRERR && script.line == 0) {
    SetMessage(script, "error while handling an error");
  }
  if (script.line == 0) script.line = LineOfDefinition(script.lua, function);
}

}  // namespace

bool OpenState(TScriptState& script) {
  script.lua = lua_newstate(Allocate, &script);
  if (script.lua == nullptr) return false;
  *static_cast<TScriptState**>(lua_getextraspace(script.lua)) = &script;
  lua_pushcfunction(script.lua, Open);
  if (lua_pcall(script.lua, 0, 0, 0) != LUA_OK) {
    CloseState(script);
    return false;
  }
  script.memoryLimit = script.memoryUsed + kMemoryLimit;
  return true;
}

// No finalizer has anything to do: all that Lua holds is its memory.
void CloseState(TScriptState& script) {
  for (TScriptBlock* block = script.blocks.next; block != &script.blocks;) {
    TScriptBlock* const next = block->next;
    std::free(block);
    block = next;
  }
  script.blocks = {&script.blocks, &script.blocks};
  script.memoryUsed = 0;
  script.lua = nullptr;
}

bool Run(TScriptState& script, int arguments, int results) {
  lua_State* lua = script.lua;
  const int function = lua_gettop(lua) - arguments;
  script.line = 0;
  const bool tooDeep = script.depth >= kMaximumDepth;
  if (tooDeep || !lua_checkstack(lua, 4)) {
    SetMessage(script, tooDeep ? "event procedures call one another too deeply" : kNoMemory);
    lua_settop(lua, function - 1);
    return false;
  }
  if (script.depth == 0 && !Begin(script)) {
    lua_settop(lua, function - 1);
    return false;
  }
  // The function once more, for the line of its definition.
  lua_pushvalue(lua, function);
  lua_insert(lua, function);
  lua_pushcfunction(lua, NoteError);
  lua_insert(lua, function + 1);
  ++script.depth;
  const int status = CallProtected(script, arguments, results, function + 1);
  const bool succeeded = status == LUA_OK;
  script.left = status == kWasLeft;
  if (succeeded) {
    lua_rotate(lua, function, -2);
    lua_pop(lua, 2);
  } else if (!script.left) {
    TakeFailure(script, status, function);
    lua_settop(lua, function - 1);
    // What the failed call leaves behind makes room for the next.
    if (script.refusedLine != 0 && script.depth == 1) {
      lua_pushcfunction(lua, Collect);
      script.left = CallProtected(script, 0, 0, 0) == kWasLeft;
    }
  }
  if (script.left) SetMessage(script, kLeft);
  --script.depth;
  if (script.depth == 0) EndWatching();
  return succeeded;
}

void TakeMessage(TScriptState& script, lua_State* lua) {
  script.line = 0;
  if (lua_type(lua, -1) != LUA_TSTRING) {
    if (lua_type(lua, -1) == LUA_TNUMBER) {
      char number[64];
      std::snprintf(number, sizeof number, "%.14g", lua_tonumber(lua, -1));
      SetMessage(script, number);
    } else {
      Fail(script, "the error is a %s value", luaL_typename(lua, -1));
    }
    return;
  }
  std::size_t length = 0;
  const char* characters = lua_tolstring(lua, -1, &length);
  std::string_view text(characters, length);
  constexpr std::size_t kPrefixLength = sizeof kChunkPrefix - 1;
  if (text.substr(0, kPrefixLength) == kChunkPrefix) {
    const char* end = characters + length;
    const std::from_chars_result number = std::from_chars(characters + kPrefixLength, end, script.line);
    if (number.ec == std::errc() && end - number.ptr >= 2 && number.ptr[0] == ':' && number.ptr[1] == ' ') {
      text.remove_prefix(static_cast<std::size_t>(number.ptr - characters) + 2);
    } else {
      script.line = 0;
    }
  }
  SetMessage(script, text);
}

std::uint32_t LineOfDefinition(lua_State* lua, int index) {
  lua_Debug definition;
  lua_pushvalue(lua, index);
  lua_getinfo(lua, ">S", &definition);
  return static_cast<std::uint32_t>(std::max(definition.linedefined, 0));
}

std::string ErrorText(const TScriptState& script) {
  std::string text = script.line == 0 ? std::string() : "line " + std::to_string(script.line) + ": ";
  text += script.message;
  return WellFormedLength(text) == text.size() ? text : Utf8(Utf16(text));
}

int Fail(TScriptState& script, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyzer overlooks va_start here
  std::vsnprintf(script.message, sizeof script.message, format, arguments);
  va_end(arguments);
  return kFailed;
}

void Charge(lua_State* lua, double work) {
  TScriptState& script = ScriptOf(lua);
  script.workLeft -= static_cast<std::int64_t>(std::min(work, 1e15));
  if (script.depth == 0 || script.workLeft >= 0) return;
  Stop(script, kTooLong);
  luaL_error(lua, "%s", script.stopReason);
}

double WallSeconds() { return Seconds(CLOCK_MONOTONIC); }

bool IsInterrupted(TScriptState& script) {
  bool (*const asked)() = script.application.options.interruptionAsked;
  if (asked == nullptr || !asked()) return false;
  const double now = WallSeconds();
  if (script.interruptedAt < 0.0) script.interruptedAt = now;
  return now - script.interruptedAt > kInterruptionTime;
}

bool IsTimeUp(TScriptState& script) {
  script.ticksSeen = script.ticks;
  const double now = Seconds(CLOCK_THREAD_CPUTIME_ID);
  if (script.timeAtStart < 0.0) script.timeAtStart = now;
  if (now - script.timeAtStart + script.waited > script.application.options.scriptTime) Stop(script, kTooLong);
  if (IsInterrupted(script)) Stop(script, kInterrupted);
  return script.stopReason != nullptr;
}

void CheckTime(lua_State* lua) {
  TScriptState& script = ScriptOf(lua);
  if (IsTimeUp(script)) luaL_error(lua, "%s", script.stopReason);
}

}  // namespace runtime
