// The libraries that a script has: Lua's base, math, string and table, without
// what reaches files or compiled chunks, shows addresses, or can run for long
// inside one call.
#include <algorithm>
#include <cstring>

#include "runtime/script/script_state.h"

namespace runtime {

namespace {

// Every global of a script, instruments aside. What else the libraries bring
// is taken away.
constexpr std::string_view kGlobals[] = {"_G",       "_VERSION",     "assert",       "at",     "data",   "error",
                                         "every",    "getmetatable", "ipairs",       "math",   "next",   "pairs",
                                         "pcall",    "print",        "rawequal",     "rawget", "rawlen", "rawset",
                                         "save",     "select",       "string",       "table",  "time",   "tonumber",
                                         "tostring", "type",         "setmetatable", "xpcall"};

// Steps that one search for a pattern may take in the worst case.
constexpr double kMaximumSearch = 2e8;
constexpr double kLongSearch = 1e5;  // from here on the processor time is looked at
constexpr double kSetSteps = 8.0;    // characters of a set that are looked at in the time of one step
enum ESearch { kMatch, kFind, kMatchAll };

int ToString(lua_State* lua) {
  luaL_checkany(lua, 1);
  PushText(lua, 1);
  return 1;
}

// Finalizers would run outside every limit.
int SetMetatable(lua_State* lua) {
  if (lua_istable(lua, 2)) {
    lua_pushliteral(lua, "__gc");
    if (lua_rawget(lua, 2) != LUA_TNIL) return luaL_error(lua, "a script has no '__gc'");
    lua_pop(lua, 1);
  }
  const int count = lua_gettop(lua);
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, count, 1);
  return 1;
}

// Upvalue: the script's message handler. Lua runs it without the hook when the
// hook raised the error, so a script that ran too long gets it no more.
int HandleMessage(lua_State* lua) {
  lua_settop(lua, 1);
  if (ScriptOf(lua).stopReason != nullptr) return 1;
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, 1, 1);
  return 1;
}

// An error may have passed over what tells that Lua's own code runs.
int PCall(lua_State* lua) {
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, lua_gettop(lua) - 1, LUA_MULTRET);
  SetLeavable(ScriptOf(lua), 1);
  return lua_gettop(lua);
}

int XPCall(lua_State* lua) {
  luaL_checktype(lua, 2, LUA_TFUNCTION);
  lua_pushvalue(lua, 2);
  lua_pushcclosure(lua, HandleMessage, 1);
  lua_replace(lua, 2);
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, lua_gettop(lua) - 1, LUA_MULTRET);
  SetLeavable(ScriptOf(lua), 1);
  return lua_gettop(lua);
}

// Without a seed Lua would take one from the time and an address.
int RandomSeed(lua_State* lua) {
  if (lua_isnone(lua, 1)) lua_pushinteger(lua, static_cast<lua_Integer>(ScriptOf(lua).application.options.seed));
  const int count = lua_gettop(lua);
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, count, 0);
  return 0;
}

// What the worst pattern search costs: the number of ways to place the start
// and the end of each repetition in order, C(n + k, k) for k of them, each with a
// look at its set; or that of trying a fixed text at each place.
double SearchSteps(std::string_view pattern, double length, bool plain, bool canBeAnchored) {
  const double fixed = length * static_cast<double>(pattern.size());
  if (plain) return fixed;
  const bool anchored = canBeAnchored && !pattern.empty() && pattern[0] == '^';
  double places = anchored ? 0.0 : 1.0;
  double ways = anchored ? 1.0 : length + 1.0;
  std::size_t longestSet = 0;
  const auto repeat = [&] {
    places += 1.0;
    ways *= (length + places) / places;
  };
  for (std::size_t i = 0; i < pattern.size() && ways <= kMaximumSearch;) {
    const char kind = pattern[i];
    const char escaped = kind == '%' && i + 1 < pattern.size() ? pattern[i + 1] : '\0';
    if (kind == '[') {
      const std::size_t begin = i;
      i += i + 1 < pattern.size() && pattern[i + 1] == '^' ? 2 : 1;
      do {
        i += i < pattern.size() && pattern[i] == '%' ? 2 : 1;
      } while (i < pattern.size() && pattern[i] != ']');
      ++i;
      longestSet = std::max(longestSet, i - begin);
    } else if (escaped == 'b' || (escaped >= '0' && escaped <= '9')) {
      repeat();
      i += escaped == 'b' ? 4 : 2;
    } else {
      i += escaped != '\0' ? 2 : 1;
    }
    if (i >= pattern.size()) break;
    if (std::strchr("*+-", pattern[i]) != nullptr) {
      repeat();
      ++i;
    } else if (pattern[i] == '?') {
      ways *= 2.0;
      ++i;
    }
  }
  return std::max(ways * std::max(1.0, static_cast<double>(longestSet) / kSetSteps), fixed);
}

// What string.gmatch yields. Upvalues: Lua's own, nil once it found no more;
// whether a search can take long.
int NextMatch(lua_State* lua) {
  if (lua_toboolean(lua, lua_upvalueindex(2))) CheckTime(lua);
  lua_settop(lua, 0);
  lua_pushvalue(lua, lua_upvalueindex(1));
  if (lua_isnil(lua, 1)) return 1;
  lua_call(lua, 0, LUA_MULTRET);
  if (lua_isnil(lua, 1)) lua_copy(lua, 1, lua_upvalueindex(1));
  return lua_gettop(lua);
}

// Upvalues: Lua's own function, which of them it is. An error in a pattern may come
// late, so the time is looked at before each long search.
int Search(lua_State* lua) {
  std::size_t length = 0;
  std::size_t patternLength = 0;
  luaL_checklstring(lua, 1, &length);
  const char* pattern = luaL_checklstring(lua, 2, &patternLength);
  const lua_Integer kind = lua_tointeger(lua, lua_upvalueindex(2));
  const bool plain = kind == kFind && lua_toboolean(lua, 4);
  const double steps = SearchSteps({pattern, patternLength}, static_cast<double>(length), plain, kind != kMatchAll);
  if (steps > kMaximumSearch) return luaL_error(lua, "this pattern could take too long in a text of that length");
  Charge(lua, static_cast<double>(length) / 16.0);
  if (steps > kLongSearch) CheckTime(lua);
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, lua_gettop(lua) - 1, LUA_MULTRET);
  if (kind == kMatchAll) {
    lua_settop(lua, 1);
    lua_pushboolean(lua, steps > kLongSearch);
    lua_pushcclosure(lua, NextMatch, 2);
  }
  return lua_gettop(lua);
}

// Repeating nothing would count up to the number asked for.
int Repeat(lua_State* lua) {
  std::size_t length = 0;
  std::size_t separatorLength = 0;
  luaL_checklstring(lua, 1, &length);
  luaL_checkinteger(lua, 2);
  luaL_optlstring(lua, 3, "", &separatorLength);
  if (length + separatorLength == 0) {
    lua_pushliteral(lua, "");
    return 1;
  }
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, lua_gettop(lua) - 1, 1);
  return 1;
}

int Format(lua_State* lua) {
  std::size_t length = 0;
  const char* format = luaL_checklstring(lua, 1, &length);
  for (std::size_t i = 0; i < length; ++i) {
    if (format[i] != '%' || ++i >= length) continue;
    while (i < length && format[i] != '\0' && std::strchr("-+ #0123456789.", format[i]) != nullptr) ++i;
    if (i < length && format[i] == 'p') return luaL_error(lua, "'%%p' would print an address");
  }
  const int count = lua_gettop(lua);
  luaL_checkstack(lua, 4, nullptr);
  for (int i = 2; i <= count; ++i) {
    const int type = lua_type(lua, i);
    if (type != LUA_TTABLE && type != LUA_TUSERDATA && type != LUA_TFUNCTION) continue;
    PushText(lua, i);
    lua_replace(lua, i);
  }
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, count, 1);
  return 1;
}

// table.insert and table.remove at a place move what lies behind it. Upvalues:
// Lua's own function, the number of arguments without a place.
int InsertOrRemove(lua_State* lua) {
  const lua_Integer length = CheckLength(lua, 1);
  const int count = lua_gettop(lua);
  if (count > lua_tointeger(lua, lua_upvalueindex(2))) {
    int isInteger = 0;
    const lua_Integer place = lua_tointegerx(lua, 2, &isInteger);
    if (isInteger && place >= 1 && place <= length) Charge(lua, static_cast<double>(length - place + 1));
  }
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, count, LUA_MULTRET);
  return lua_gettop(lua);
}

void ChargeElements(lua_State* lua, lua_Integer first, lua_Integer last) {
  const double count = static_cast<double>(last) - static_cast<double>(first) + 1.0;
  if (count > static_cast<double>(kMaximumElements))
    luaL_error(lua, "too many elements (at most %I)", kMaximumElements);
  if (count > 0.0) Charge(lua, count);
}

int Move(lua_State* lua) {
  ChargeElements(lua, luaL_checkinteger(lua, 2), luaL_checkinteger(lua, 3));
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, lua_gettop(lua) - 1, 1);
  return 1;
}

// table.concat and table.unpack: a table's `__index` may yield as many elements as
// are asked for. Upvalues: Lua's own function, the argument with the first.
int ConcatOrUnpack(lua_State* lua) {
  const int place = static_cast<int>(lua_tointeger(lua, lua_upvalueindex(2)));
  const lua_Integer first = luaL_optinteger(lua, place, 1);
  const lua_Integer last = lua_isnoneornil(lua, place + 1) ? luaL_len(lua, 1) : luaL_checkinteger(lua, place + 1);
  ChargeElements(lua, first, last);
  lua_pushvalue(lua, lua_upvalueindex(1));
  lua_insert(lua, 1);
  lua_call(lua, lua_gettop(lua) - 1, LUA_MULTRET);
  return lua_gettop(lua);
}

struct TReplacement {
  const char* library;
  const char* name;
  lua_CFunction function;  // its upvalue 1 is the library's own; null: taken away
  int detail;              // upvalue 2
};
constexpr TReplacement kReplacements[] = {
    {LUA_GNAME, "pcall", PCall, 0},
    {LUA_GNAME, "setmetatable", SetMetatable, 0},
    {LUA_GNAME, "tostring", ToString, 0},
    {LUA_GNAME, "xpcall", XPCall, 0},
    {LUA_MATHLIBNAME, "randomseed", RandomSeed, 0},
    {LUA_STRLIBNAME, "dump", nullptr, 0},
    {LUA_STRLIBNAME, "find", Search, kFind},
    {LUA_STRLIBNAME, "format", Format, 0},
    {LUA_STRLIBNAME, "gmatch", Search, kMatchAll},
    {LUA_STRLIBNAME, "gsub", Search, kMatch},
    {LUA_STRLIBNAME, "match", Search, kMatch},
    {LUA_STRLIBNAME, "rep", Repeat, 0},
    {LUA_TABLIBNAME, "concat", ConcatOrUnpack, 3},
    {LUA_TABLIBNAME, "insert", InsertOrRemove, 2},
    {LUA_TABLIBNAME, "move", Move, 0},
    {LUA_TABLIBNAME, "remove", InsertOrRemove, 1},
    {LUA_TABLIBNAME, "unpack", ConcatOrUnpack, 2},
};

void Replace(lua_State* lua, const TReplacement& replacement) {
  lua_getglobal(lua, replacement.library);
  if (replacement.function == nullptr) {
    lua_pushnil(lua);
  } else {
    lua_getfield(lua, -1, replacement.name);
    lua_pushinteger(lua, replacement.detail);
    lua_pushcclosure(lua, replacement.function, 2);
  }
  lua_setfield(lua, -2, replacement.name);
  lua_pop(lua, 1);
}

}  // namespace

bool IsScriptGlobal(std::string_view name) {
  return std::find(std::begin(kGlobals), std::end(kGlobals), name) != std::end(kGlobals);
}

void OpenLibraries(lua_State* lua) {
  luaL_requiref(lua, LUA_GNAME, luaopen_base, 1);
  luaL_requiref(lua, LUA_MATHLIBNAME, luaopen_math, 1);
  luaL_requiref(lua, LUA_STRLIBNAME, luaopen_string, 1);
  luaL_requiref(lua, LUA_TABLIBNAME, luaopen_table, 1);
  lua_settop(lua, 0);
  for (const TReplacement& replacement : kReplacements) Replace(lua, replacement);
  ReplaceOrderedFunctions(lua);
  lua_pushglobaltable(lua);
  for (lua_pushnil(lua); lua_next(lua, 1);) {
    lua_pop(lua, 1);
    if (IsScriptGlobal(lua_tostring(lua, -1))) continue;
    lua_pushvalue(lua, -1);
    lua_pushnil(lua);
    lua_rawset(lua, 1);
  }
  lua_getglobal(lua, LUA_MATHLIBNAME);
  lua_getfield(lua, -1, "randomseed");
  lua_call(lua, 0, 0);
  lua_settop(lua, 0);
}

void PushText(lua_State* lua, int index) {
  index = lua_absindex(lua, index);
  if (luaL_getmetafield(lua, index, "__tostring") != LUA_TNIL) {
    lua_pushvalue(lua, index);
    lua_call(lua, 1, 1);
    if (!lua_isstring(lua, -1)) luaL_error(lua, "'__tostring' must yield a string");
    return;
  }
  switch (lua_type(lua, index)) {
    case LUA_TNIL:
    case LUA_TBOOLEAN:
    case LUA_TNUMBER:
    case LUA_TSTRING:
      luaL_tolstring(lua, index, nullptr);
      break;
    default:
      lua_pushstring(lua, luaL_typename(lua, index));
  }
}

lua_Integer CheckLength(lua_State* lua, int index) {
  luaL_checktype(lua, index, LUA_TTABLE);
  if (luaL_getmetafield(lua, index, "__len") != LUA_TNIL) {
    luaL_error(lua, "a table with '__len' has no length of its own");
  }
  return static_cast<lua_Integer>(lua_rawlen(lua, index));
}

}  // namespace runtime
