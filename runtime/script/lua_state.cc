// The Lua state of a script: memory, work, calls from outside and errors.
#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
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
constexpr char kNoMemory[] = "not enough memory";

double ProcessorTime() {
  std::timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

bool TimeIsUp(TScriptState& script) {
  const double now = ProcessorTime();
  if (script.timeAtStart < 0.0) script.timeAtStart = now;
  return now - script.timeAtStart > kTimeLimit;
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
void Stop(TScriptState& script) {
  script.stopped = true;
  lua_sethook(script.lua, Hook, LUA_MASKCOUNT, 1);
}

void Hook(lua_State* lua, lua_Debug*) {
  TScriptState& script = ScriptOf(lua);
  script.workLeft -= kHookInterval;
  if (!script.stopped && script.workLeft >= 0 && !TimeIsUp(script)) return;
  Stop(script);
  luaL_where(lua, 0);
  lua_pushstring(lua, kTooLong);
  lua_concat(lua, 2);
  lua_error(lua);
}

// Allocating counts as work, since copying long texts takes time within one
// instruction.
void* Allocate(void* user, void* block, std::size_t oldSize, std::size_t newSize) {
  TScriptState& script = *static_cast<TScriptState*>(user);
  if (block == nullptr) oldSize = 0;  // it is a type code then
  if (newSize == 0) {
    std::free(block);
    script.memoryUsed -= oldSize;
    return nullptr;
  }
  void* result = nullptr;
  const bool fits = newSize <= oldSize || newSize - oldSize <= script.memoryLimit - script.memoryUsed;
  if (fits) result = std::realloc(block, newSize);
  if (result != nullptr) script.memoryUsed += newSize - oldSize;
  if (script.depth > 0) {
    if (result == nullptr) script.refusedLine = CurrentLine(script.lua);
    script.workLeft -= result == nullptr ? kRefusalWork : static_cast<std::int64_t>(newSize) / kBytesPerWork;
    if (script.workLeft < 0 && !script.stopped) Stop(script);
  }
  return result;
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

void Begin(TScriptState& script) {
  script.workLeft = script.application.options.scriptWork;
  script.timeAtStart = -1.0;
  script.refusedLine = 0;
  script.stopped = false;
  lua_sethook(script.lua, Hook, LUA_MASKCOUNT, kHookInterval);
}

}  // namespace

bool OpenState(TScriptState& script) {
  script.lua = lua_newstate(Allocate, &script);
  if (script.lua == nullptr) return false;
  *static_cast<TScriptState**>(lua_getextraspace(script.lua)) = &script;
  lua_pushcfunction(script.lua, Open);
  if (lua_pcall(script.lua, 0, 0, 0) != LUA_OK) {
    lua_close(script.lua);
    script.lua = nullptr;
    return false;
  }
  script.memoryLimit = script.memoryUsed + kMemoryLimit;
  return true;
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
  if (script.depth == 0) Begin(script);
  // The function once more, for the line of its definition.
  lua_pushvalue(lua, function);
  lua_insert(lua, function);
  lua_pushcfunction(lua, NoteError);
  lua_insert(lua, function + 1);
  ++script.depth;
  const int status = lua_pcall(lua, arguments, results, function + 1);
  --script.depth;
  if (status == LUA_OK) {
    lua_rotate(lua, function, -2);
    lua_pop(lua, 2);
    return true;
  }
  if (status == LUA_ERRMEM) {
    SetMessage(script, kNoMemory);
    script.line = script.refusedLine;
  } else if (status == LUA_ERRERR && script.line == 0) {
    SetMessage(script, "error while handling an error");
  }
  if (script.line == 0) {
    lua_Debug definition;
    lua_pushvalue(lua, function);
    lua_getinfo(lua, ">S", &definition);
    if (definition.linedefined > 0) script.line = static_cast<std::uint32_t>(definition.linedefined);
  }
  lua_settop(lua, function - 1);
  // What the failed call leaves behind makes room for the next.
  if (script.refusedLine != 0 && script.depth == 0) lua_gc(lua, LUA_GCCOLLECT);
  return false;
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
  Stop(script);
  luaL_error(lua, "%s", kTooLong);
}

void CheckTime(lua_State* lua) {
  TScriptState& script = ScriptOf(lua);
  if (!TimeIsUp(script)) return;
  Stop(script);
  luaL_error(lua, "%s", kTooLong);
}

}  // namespace runtime
