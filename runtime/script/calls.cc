// The functions of a script: at, every, time, save, print.
#include <cmath>

#include "runtime/script/script_state.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr double kMinimumInterval = 0.001;  // seconds, one step of the clock
constexpr double kPrintWork = 100.0;        // of one line, in instructions

// Takes (seconds, function) and schedules it.
int Schedule(TScriptPart& part, lua_State* lua, const char* name, bool repeats) {
  const double seconds = lua_type(lua, 1) == LUA_TNUMBER ? lua_tonumber(lua, 1) : NAN;
  if (!std::isfinite(seconds) || lua_type(lua, 2) != LUA_TFUNCTION) {
    return Fail(part, "'%s' takes a number of seconds and a function", name);
  }
  if (repeats && seconds < kMinimumInterval) return Fail(part, "an interval is at least 0.001 s");
  if (part.schedule.IsFull()) return Fail(part, "more than %zu calls are scheduled", CSchedule::kMaximumPending);
  lua_settop(lua, 2);
  TCallback callback;
  callback.function = luaL_ref(lua, LUA_REGISTRYINDEX);
  if (repeats) {
    callback.start = part.application.expressions.Time();
    callback.interval = seconds;
  }
  const double due = callback.start + seconds;
  part.schedule.Add(due, std::move(callback));
  return 0;
}

int At(TScriptPart& part, lua_State* lua) { return Schedule(part, lua, "at", false); }
int Every(TScriptPart& part, lua_State* lua) { return Schedule(part, lua, "every", true); }

int Time(lua_State* lua) {
  lua_pushnumber(lua, PartOf(lua).application.expressions.Time());
  return 1;
}

int Save(TScriptPart& part, lua_State*) {
  if (RequireRead(part) == kFailed) return kFailed;
  KeepLearnt(part.application, vcore::kKeepOnRequest);
  return 0;
}

int PrintLine(TScriptPart& part, lua_State* lua) {
  std::size_t length = 0;
  const char* text = lua_tolstring(lua, -1, &length);
  const std::string_view line(text, length);
  if (part.application.options.print) part.application.options.print(Utf8(Utf16(line)));
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
  return Guarded<PrintLine>(lua);
}

}  // namespace

void OpenCalls(lua_State* lua) {
  lua_register(lua, "at", Guarded<At>);
  lua_register(lua, "every", Guarded<Every>);
  lua_register(lua, "time", Time);
  lua_register(lua, "save", Guarded<Save>);
  lua_register(lua, "print", Print);
}

}  // namespace runtime
