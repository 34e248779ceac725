// The Lua state of a script: memory, work, calls from outside and errors.
#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "runtime/script/script_state.h"
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

bool TimeIsUp(TScriptPart& part) {
  const double now = ProcessorTime();
  if (part.timeAtStart < 0.0) part.timeAtStart = now;
  return now - part.timeAtStart > kTimeLimit;
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
void Stop(TScriptPart& part) {
  part.stopped = true;
  lua_sethook(part.state, Hook, LUA_MASKCOUNT, 1);
}

void Hook(lua_State* lua, lua_Debug*) {
  TScriptPart& part = PartOf(lua);
  part.workLeft -= kHookInterval;
  if (!part.stopped && part.workLeft >= 0 && !TimeIsUp(part)) return;
  Stop(part);
  luaL_where(lua, 0);
  lua_pushstring(lua, kTooLong);
  lua_concat(lua, 2);
  lua_error(lua);
}

// Allocating counts as work, since copying long texts takes time within one
// instruction.
void* Allocate(void* user, void* block, std::size_t oldSize, std::size_t newSize) {
  TScriptPart& part = *static_cast<TScriptPart*>(user);
  if (block == nullptr) oldSize = 0;  // it is a type code then
  if (newSize == 0) {
    std::free(block);
    part.memoryUsed -= oldSize;
    return nullptr;
  }
  void* result = nullptr;
  const bool fits = newSize <= oldSize || newSize - oldSize <= part.memoryLimit - part.memoryUsed;
  if (fits) result = std::realloc(block, newSize);
  if (result != nullptr) part.memoryUsed += newSize - oldSize;
  if (part.depth > 0) {
    if (result == nullptr) part.refusedLine = CurrentLine(part.state);
    part.workLeft -= result == nullptr ? kRefusalWork : static_cast<std::int64_t>(newSize) / kBytesPerWork;
    if (part.workLeft < 0 && !part.stopped) Stop(part);
  }
  return result;
}

void SetMessage(TScriptPart& part, std::string_view text) {
  const std::size_t length = std::min(text.size(), sizeof part.message - 1);
  text.copy(part.message, length);
  part.message[length] = 0;
}

// Called where an error is raised, while the stack still shows the line.
int NoteError(lua_State* lua) {
  TScriptPart& part = PartOf(lua);
  TakeMessage(part, lua);
  if (part.line == 0) part.line = CurrentLine(lua);
  return 1;
}

int Open(lua_State* lua) {
  OpenLibraries(lua);
  OpenData(lua);
  OpenInstruments(lua);
  OpenCalls(lua);
  return 0;
}

void Begin(TScriptPart& part) {
  part.workLeft = part.application.options.scriptWork;
  part.timeAtStart = -1.0;
  part.refusedLine = 0;
  part.stopped = false;
  lua_sethook(part.state, Hook, LUA_MASKCOUNT, kHookInterval);
}

}  // namespace

bool OpenState(TScriptPart& part) {
  part.state = lua_newstate(Allocate, &part);
  if (part.state == nullptr) return false;
  *static_cast<TScriptPart**>(lua_getextraspace(part.state)) = &part;
  lua_pushcfunction(part.state, Open);
  if (lua_pcall(part.state, 0, 0, 0) != LUA_OK) {
    lua_close(part.state);
    part.state = nullptr;
    return false;
  }
  part.memoryLimit = part.memoryUsed + kMemoryLimit;
  return true;
}

bool Run(TScriptPart& part, int arguments, int results) {
  lua_State* lua = part.state;
  const int function = lua_gettop(lua) - arguments;
  part.line = 0;
  const bool tooDeep = part.depth >= kMaximumDepth;
  if (tooDeep || !lua_checkstack(lua, 4)) {
    SetMessage(part, tooDeep ? "event procedures call one another too deeply" : kNoMemory);
    lua_settop(lua, function - 1);
    return false;
  }
  if (part.depth == 0) Begin(part);
  // The function once more, for the line of its definition.
  lua_pushvalue(lua, function);
  lua_insert(lua, function);
  lua_pushcfunction(lua, NoteError);
  lua_insert(lua, function + 1);
  ++part.depth;
  const int status = lua_pcall(lua, arguments, results, function + 1);
  --part.depth;
  if (status == LUA_OK) {
    lua_rotate(lua, function, -2);
    lua_pop(lua, 2);
    return true;
  }
  if (status == LUA_ERRMEM) {
    SetMessage(part, kNoMemory);
    part.line = part.refusedLine;
  } else if (status == LUA_ERRERR && part.line == 0) {
    SetMessage(part, "error while handling an error");
  }
  if (part.line == 0) {
    lua_Debug definition;
    lua_pushvalue(lua, function);
    lua_getinfo(lua, ">S", &definition);
    if (definition.linedefined > 0) part.line = static_cast<std::uint32_t>(definition.linedefined);
  }
  lua_settop(lua, function - 1);
  // What the failed call leaves behind makes room for the next.
  if (part.refusedLine != 0 && part.depth == 0) lua_gc(lua, LUA_GCCOLLECT);
  return false;
}

void TakeMessage(TScriptPart& part, lua_State* lua) {
  part.line = 0;
  if (lua_type(lua, -1) != LUA_TSTRING) {
    if (lua_type(lua, -1) == LUA_TNUMBER) {
      char number[64];
      std::snprintf(number, sizeof number, "%.14g", lua_tonumber(lua, -1));
      SetMessage(part, number);
    } else {
      Fail(part, "the error is a %s value", luaL_typename(lua, -1));
    }
    return;
  }
  std::size_t length = 0;
  const char* characters = lua_tolstring(lua, -1, &length);
  std::string_view text(characters, length);
  constexpr std::size_t kPrefixLength = sizeof kChunkPrefix - 1;
  if (text.substr(0, kPrefixLength) == kChunkPrefix) {
    const char* end = characters + length;
    const std::from_chars_result number = std::from_chars(characters + kPrefixLength, end, part.line);
    if (number.ec == std::errc() && end - number.ptr >= 2 && number.ptr[0] == ':' && number.ptr[1] == ' ') {
      text.remove_prefix(static_cast<std::size_t>(number.ptr - characters) + 2);
    } else {
      part.line = 0;
    }
  }
  SetMessage(part, text);
}

std::string ErrorText(const TScriptPart& part) {
  std::string text = part.line == 0 ? std::string() : "line " + std::to_string(part.line) + ": ";
  text += part.message;
  return ValidUtf8(text) ? text : Utf8(Utf16(text));
}

int Fail(TScriptPart& part, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyzer overlooks va_start here
  std::vsnprintf(part.message, sizeof part.message, format, arguments);
  va_end(arguments);
  return kFailed;
}

void Charge(lua_State* lua, double work) {
  TScriptPart& part = PartOf(lua);
  part.workLeft -= static_cast<std::int64_t>(std::min(work, 1e15));
  if (part.depth == 0 || part.workLeft >= 0) return;
  Stop(part);
  luaL_error(lua, "%s", kTooLong);
}

void CheckTime(lua_State* lua) {
  TScriptPart& part = PartOf(lua);
  if (!TimeIsUp(part)) return;
  Stop(part);
  luaL_error(lua, "%s", kTooLong);
}

}  // namespace runtime
