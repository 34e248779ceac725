// What would otherwise depend on where Lua's tables keep their keys: `pairs`
// and `next` go through them in order, numbers before texts before booleans,
// and table.sort keeps the order of equals.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "runtime/script/script_state.h"

namespace runtime {

namespace {

constexpr double kBytesCompared = 64.0;  // of two texts, for one instruction of work

// A key of a table. Its text is Lua's: the key itself has to stay where Lua sees
// it, since the table that it comes from may drop it.
struct TKey {
  int type;  // a Lua type; booleans have the lowest of all
  bool isInteger;
  lua_Integer integer;  // of a boolean too
  lua_Number number;
  const char* text;
  std::size_t length;
  lua_Integer place;  // in the array that holds the keys
};

int RankOf(const TKey& key) { return key.type == LUA_TNUMBER ? 0 : key.type == LUA_TSTRING ? 1 : 2; }

// A key that is a float is no integer in value.
bool IntegerBefore(lua_Integer integer, lua_Number number) {
  if (number >= 0x1p63) return true;
  if (number < -0x1p63) return false;
  return integer <= static_cast<lua_Integer>(std::floor(number));
}

bool Before(const TKey& a, const TKey& b) {
  if (a.type != b.type) return RankOf(a) < RankOf(b);
  if (a.type == LUA_TSTRING) {
    const int order = std::memcmp(a.text, b.text, std::min(a.length, b.length));
    return order != 0 ? order < 0 : a.length < b.length;
  }
  if (a.isInteger && b.isInteger) return a.integer < b.integer;
  if (a.isInteger) return IntegerBefore(a.integer, b.number);
  if (b.isInteger) return !IntegerBefore(b.integer, a.number);
  return a.number < b.number;
}

TKey KeyAt(lua_State* lua, int index) {
  TKey key = {};
  key.type = lua_type(lua, index);
  switch (key.type) {
    case LUA_TNUMBER:
      key.isInteger = lua_isinteger(lua, index) != 0;
      key.integer = key.isInteger ? lua_tointeger(lua, index) : 0;
      key.number = key.isInteger ? 0.0 : lua_tonumber(lua, index);
      break;
    case LUA_TSTRING:
      key.text = lua_tolstring(lua, index, &key.length);
      break;
    case LUA_TBOOLEAN:
      key.isInteger = true;
      key.integer = lua_toboolean(lua, index);
      break;
    default:
      luaL_error(lua, "a key that is a %s has no place in an order", luaL_typename(lua, index));
  }
  return key;
}

// Upvalues: the sorted keys, the position of the last one. Argument 1: the table.
int NextOfPairs(lua_State* lua) {
  luaL_checktype(lua, 1, LUA_TTABLE);
  lua_settop(lua, 1);
  lua_Integer position = lua_tointeger(lua, lua_upvalueindex(2));
  for (;;) {
    if (lua_rawgeti(lua, lua_upvalueindex(1), ++position) == LUA_TNIL) return 1;
    lua_pushvalue(lua, -1);
    if (lua_rawget(lua, 1) != LUA_TNIL) break;
    lua_settop(lua, 1);  // taken out meanwhile
  }
  lua_pushinteger(lua, position);
  lua_replace(lua, lua_upvalueindex(2));
  return 2;
}

int Pairs(lua_State* lua) {
  luaL_checktype(lua, 1, LUA_TTABLE);
  lua_settop(lua, 1);
  lua_Integer count = 0;
  for (lua_pushnil(lua); lua_next(lua, 1); lua_pop(lua, 1)) ++count;
  Charge(lua, static_cast<double>(count));
  // A weak table may lose entries wherever memory is asked for, so its keys are
  // held before they are looked at.
  lua_createtable(lua, static_cast<int>(count), 0);
  count = 0;
  for (lua_pushnil(lua); lua_next(lua, 1); lua_pop(lua, 1)) {
    lua_pushvalue(lua, -2);
    lua_rawseti(lua, 2, ++count);
  }
  TKey* keys = static_cast<TKey*>(lua_newuserdatauv(lua, static_cast<std::size_t>(count) * sizeof(TKey), 0));
  for (lua_Integer i = 1; i <= count; ++i) {
    lua_rawgeti(lua, 2, i);
    keys[i - 1] = KeyAt(lua, -1);
    keys[i - 1].place = i;
    lua_pop(lua, 1);
  }
  std::sort(keys, keys + count, Before);
  lua_createtable(lua, static_cast<int>(count), 0);
  for (lua_Integer i = 1; i <= count; ++i) {
    lua_rawgeti(lua, 2, keys[i - 1].place);
    lua_rawseti(lua, -2, i);
  }
  lua_pushinteger(lua, 0);
  lua_pushcclosure(lua, NextOfPairs, 2);
  lua_pushvalue(lua, 1);
  lua_pushnil(lua);
  return 3;
}

// The least key above the one given, by looking at all.
int Next(lua_State* lua) {
  luaL_checktype(lua, 1, LUA_TTABLE);
  lua_settop(lua, 2);
  const bool isFirst = lua_isnil(lua, 2);
  const TKey last = isFirst ? TKey{} : KeyAt(lua, 2);
  lua_pushnil(lua);  // the least so far is held at 3
  TKey least = {};
  bool found = false;
  double count = 0.0;
  for (lua_pushnil(lua); lua_next(lua, 1); lua_pop(lua, 1)) {
    const TKey key = KeyAt(lua, -2);
    count += 1.0;
    if ((!isFirst && !Before(last, key)) || (found && !Before(key, least))) continue;
    least = key;
    lua_copy(lua, -2, 3);
    found = true;
  }
  Charge(lua, count);
  if (!found) return 1;
  lua_pushvalue(lua, 3);
  lua_rawget(lua, 1);
  return 2;
}

// Whether the upper of the two values on the stack belongs before the lower.
// Argument 2 is the order or nil.
bool UpperFirst(lua_State* lua) {
  if (lua_type(lua, -1) == LUA_TSTRING && lua_type(lua, -2) == LUA_TSTRING) {
    Charge(lua, static_cast<double>(std::min(lua_rawlen(lua, -1), lua_rawlen(lua, -2))) / kBytesCompared);
  }
  if (lua_isnil(lua, 2)) return lua_compare(lua, -1, -2, LUA_OPLT) != 0;
  lua_pushvalue(lua, 2);
  lua_pushvalue(lua, -2);
  lua_pushvalue(lua, -4);
  lua_call(lua, 2, 1);
  const bool result = lua_toboolean(lua, -1) != 0;
  lua_pop(lua, 1);
  return result;
}

// Merges the runs [low, middle) and [middle, high) of one table into another.
void Merge(lua_State* lua, int from, int to, lua_Integer low, lua_Integer middle, lua_Integer high) {
  lua_Integer left = low;
  lua_Integer right = middle;
  for (lua_Integer target = low; target < high; ++target) {
    bool takeRight = left >= middle;
    if (left < middle && right < high) {
      lua_rawgeti(lua, from, left);
      lua_rawgeti(lua, from, right);
      takeRight = UpperFirst(lua);
      lua_pop(lua, 2);
    }
    lua_rawgeti(lua, from, takeRight ? right++ : left++);
    lua_rawseti(lua, to, target);
  }
}

// Merging from below: stable, and no order that contradicts itself does harm.
int Sort(lua_State* lua) {
  const lua_Integer count = CheckLength(lua, 1);
  if (count > kMaximumElements) return luaL_error(lua, "too many elements to sort");
  lua_settop(lua, 2);
  if (!lua_isnil(lua, 2)) luaL_checktype(lua, 2, LUA_TFUNCTION);
  int from = 3;
  int to = 4;
  lua_createtable(lua, static_cast<int>(count), 0);
  lua_createtable(lua, static_cast<int>(count), 0);
  for (lua_Integer i = 1; i <= count; ++i) {
    lua_rawgeti(lua, 1, i);
    lua_rawseti(lua, from, i);
  }
  for (lua_Integer width = 1; width < count; width *= 2) {
    Charge(lua, static_cast<double>(count));
    for (lua_Integer low = 1; low <= count; low += 2 * width) {
      Merge(lua, from, to, low, std::min(low + width, count + 1), std::min(low + 2 * width, count + 1));
    }
    std::swap(from, to);
  }
  for (lua_Integer i = 1; i <= count; ++i) {
    lua_rawgeti(lua, from, i);
    lua_rawseti(lua, 1, i);
  }
  return 0;
}

}  // namespace

void ReplaceOrderedFunctions(lua_State* lua) {
  lua_register(lua, "pairs", Pairs);
  lua_register(lua, "next", Next);
  lua_getglobal(lua, LUA_TABLIBNAME);
  lua_pushcfunction(lua, Sort);
  lua_setfield(lua, -2, "sort");
  lua_pop(lua, 1);
}

}  // namespace runtime
