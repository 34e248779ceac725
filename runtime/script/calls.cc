// The functions of a script: at, every, time, save, print.
#include <cmath>

#include "runtime/script/script_state.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr double kMinimumInterval = 0.001;  // seconds, one step of the clock
constexpr double kPrintWork = 100.0;        // of one line, in instructions

// Takes (seconds, function) and schedules it.
int Schedule(TScriptState& script, lua_State* lua, const char* name, bool repeats) {
  const double seconds = lua_type(lua, 1) == LUA_TNUMBER ? lua_tonumber(lua, 1) : NAN;
  if (!std::isfinite(seconds) || lua_type(lua, 2) != LUA_TFUNCTION) {
    return Fail(script, "'%s' takes a number of seconds and a function", name);
  }
  if (repeats && seconds < kMinimumInterval) return Fail(script, "an interval is at least 0.001 s");
  if (script.schedule.IsFull()) return Fail(script, "more than %zu calls are scheduled", CSchedule::kMaximumPending);
  lua_settop(lua, 2);
  const std::uint32_t line = LineOfDefinition(lua, 2);
  const int function = luaL_ref(lua, LUA_REGISTRYINDEX);
  TCallback callback;
  callback.function = function;
  callback.line = line;
  if (repeats) {
    callback.start = script.application.expressions.Time();
    callback.interval = seconds;
  }
  const double due = callback.start + seconds;
  script.schedule.Add(due, std::move(callback));
  return 0;
}

int At(TScriptState& script, lua_State* lua) { return Schedule(script, lua, "at", false); }
int Every(TScriptState& script, lua_State* lua) { return Schedule(script, lua, "every", true); }

int Time(lua_State* lua) {
  lua_pushnumber(lua, ScriptOf(lua).application.expressions.Time());
  return 1;
}

int Save(TScriptState& script, lua_State*) {
  if (RequireRead(script) == kFailed) return kFailed;
  const double before = WallSeconds();
  KeepLearnt(script.application, vcore::kKeepOnRequest);
  if (script.left) return kFailed;  // in an event inside
  script.waited += WallSeconds() - before;
  return IsTimeUp(script) ? Fail(script, "%s", script.stopReason) : 0;
}

int PrintLine(TScriptState& script, lua_State* lua) {
  std::size_t length = 0;
  const char* text = lua_tolstring(lua, -1, &length);
  const std::string_view line(text, length);
  if (script.application.options.print) script.application.options.print(Utf8(Utf16(line)));
  return 0;
}

int Print(lua_State* lua) {
  const int count = lua_gettop(lua);
  luaL_Buffer line;
  luaL_buffinit(lua, &line);
  for (int i = 1; i <= count; ++i) {
    if (i > 1) luaL_addchar(&line, '\t');
    PushText(lua, i);
    luaL_addvalue(&line);
  }
  luaL_pushresult(&line);
  Charge(lua, kPrintWork);
  return LuaFunction<PrintLine>(lua);
}

}  // namespace

void OpenCalls(lua_State* lua) {
  lua_register(lua, "at", LuaFunction<At>);
  lua_register(lua, "every", LuaFunction<Every>);
  lua_register(lua, "time", Time);
  lua_register(lua, "save", LuaFunction<Save>);
  lua_register(lua, "print", Print);
}

}  // namespace runtime
