// `data`: the data elements of the application, and the proxies of all kinds.
#include <cmath>

#include "runtime/script/script_state.h"
#include "runtime/text/number_format.h"

namespace runtime {

namespace {

constexpr const char* kMetatables[] = {"loopbox.data", "loopbox.array", "loopbox.instrument", "loopbox.colors"};

const char* MetatableName(EProxy kind) { return kMetatables[static_cast<std::size_t>(kind)]; }

void PushElement(lua_State* lua, const TDataElement& element, std::uint32_t index) {
  switch (element.type) {
    case EType::kReal:
      lua_pushnumber(lua, element.Reals()[index]);
      break;
    case EType::kBoolean:
      lua_pushboolean(lua, element.Booleans()[index]);
      break;
    case EType::kInteger:
      lua_pushinteger(lua, element.Integers()[index]);
      break;
  }
}

// Sets one value from the stack, or nothing.
int WriteElement(TScriptState& script, lua_State* lua, const TDataElement& element, std::uint32_t index, int value) {
  const char* name = element.name.c_str();
  const int wanted = element.type == EType::kBoolean ? LUA_TBOOLEAN : LUA_TNUMBER;
  if (lua_type(lua, value) != wanted) {
    return Fail(script, "'%s' is %s: %s expected, got %s", name, TypeName(element.type), lua_typename(lua, wanted),
                luaL_typename(lua, value));
  }
  if (element.type == EType::kBoolean) {
    element.Booleans()[index] = lua_toboolean(lua, value) != 0;
    return 0;
  }
  const double number = lua_tonumber(lua, value);
  if (!std::isfinite(number)) return Fail(script, "'%s' was given what is not a finite number", name);
  if (element.type == EType::kReal) {
    element.Reals()[index] = number;
    return 0;
  }
  int isWhole = 0;
  const lua_Integer whole = lua_tointegerx(lua, value, &isWhole);
  if (!isWhole && number == std::floor(number)) return Fail(script, "%.17g is out of the range of '%s'", number, name);
  if (!isWhole) return Fail(script, "'%s' is integer and can't be given %.17g", name, number);
  if (whole < INT32_MIN || whole > INT32_MAX) {
    return Fail(script, "%lld is out of the range of '%s'", static_cast<long long>(whole), name);
  }
  element.Integers()[index] = static_cast<std::int32_t>(whole);
  return 0;
}

// The same, told to whoever follows what the script changes.
int SetElement(TScriptState& script, lua_State* lua, std::int32_t number, std::uint32_t index, int value) {
  const TApplicationState& application = script.application;
  const TDataElement& element = application.data[number];
  if (!application.connected.empty() && application.connected.contains(application.data.Place(number, index))) {
    return Fail(script, "'%s' is read from the plant and can't be written", element.name.c_str());
  }
  const double before = application.data.AsDouble(number, index);
  const int result = WriteElement(script, lua, element, index, value);
  const double now = application.data.AsDouble(number, index);
  if (result != kFailed && application.options.action && now != before) {
    application.options.action(
        "", element.name + (element.isArray ? "[" + std::to_string(index) + "]" : "") + " = " + ShortestNumber(now));
  }
  return result;
}

// The element that argument 2 names; null with a message when there is none.
const TDataElement* NamedElement(TScriptState& script, lua_State* lua, std::int32_t* number) {
  if (ProxyAt(lua, 1, EProxy::kData) == nullptr || lua_type(lua, 2) != LUA_TSTRING) {
    Fail(script, "data elements have names");
    return nullptr;
  }
  std::size_t length = 0;
  const char* name = lua_tolstring(lua, 2, &length);
  *number = script.application.data.Find({name, length});
  if (*number >= 0) return &script.application.data[*number];
  Fail(script, "there is no data element '%s'", name);
  return nullptr;
}

// Upvalue 1 keeps the proxies of arrays.
int GetData(TScriptState& script, lua_State* lua) {
  std::int32_t number = 0;
  const TDataElement* element = NamedElement(script, lua, &number);
  if (element == nullptr) return kFailed;
  if (!element->isArray) {
    PushElement(lua, *element, 0);
    return 1;
  }
  if (lua_rawgeti(lua, lua_upvalueindex(1), number) != LUA_TNIL) return 1;
  PushAsLua(script, [&] { PushProxy(lua, EProxy::kArray, static_cast<std::size_t>(number)); });
  lua_pushvalue(lua, -1);
  lua_rawseti(lua, lua_upvalueindex(1), number);
  return 1;
}

int SetData(TScriptState& script, lua_State* lua) {
  std::int32_t number = 0;
  const TDataElement* element = NamedElement(script, lua, &number);
  if (element == nullptr) return kFailed;
  if (element->isArray) {
    return Fail(script, "'%s' is an array: its elements are set one by one", element->name.c_str());
  }
  return SetElement(script, lua, number, 0, 3);
}

// The array of argument 1 with the index of argument 2; null with a message.
const TDataElement* IndexedArray(TScriptState& script, lua_State* lua, std::uint32_t* index) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kArray);
  if (proxy == nullptr) {
    Fail(script, "not an array of data elements");
    return nullptr;
  }
  const TDataElement& element = script.application.data[static_cast<std::int32_t>(proxy->index)];
  int isWhole = 0;
  const lua_Integer whole = lua_type(lua, 2) == LUA_TNUMBER ? lua_tointegerx(lua, 2, &isWhole) : 0;
  if (!isWhole || whole < 0 || whole >= static_cast<lua_Integer>(element.count)) {
    Fail(script, "the indices of '%s' are 0 to %u", element.name.c_str(), element.count - 1);
    return nullptr;
  }
  *index = static_cast<std::uint32_t>(whole);
  return &element;
}

int GetArray(TScriptState& script, lua_State* lua) {
  std::uint32_t index = 0;
  const TDataElement* element = IndexedArray(script, lua, &index);
  if (element == nullptr) return kFailed;
  PushElement(lua, *element, index);
  return 1;
}

int SetArray(TScriptState& script, lua_State* lua) {
  std::uint32_t index = 0;
  const TDataElement* element = IndexedArray(script, lua, &index);
  if (element == nullptr) return kFailed;
  const auto number = static_cast<std::int32_t>(ProxyAt(lua, 1, EProxy::kArray)->index);
  return SetElement(script, lua, number, index, 3);
}

int ArrayLength(TScriptState& script, lua_State* lua) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kArray);
  if (proxy == nullptr) return Fail(script, "not an array of data elements");
  lua_pushinteger(lua, script.application.data[static_cast<std::int32_t>(proxy->index)].count);
  return 1;
}

int DataText(lua_State* lua) {
  lua_pushliteral(lua, "data");
  return 1;
}

}  // namespace

void PushProxy(lua_State* lua, EProxy kind, std::size_t index) {
  TProxy* proxy = static_cast<TProxy*>(lua_newuserdatauv(lua, sizeof(TProxy), 0));
  *proxy = {kind, index};
  luaL_setmetatable(lua, MetatableName(kind));
}

const TProxy* ProxyAt(lua_State* lua, int index, EProxy kind) {
  if (lua_type(lua, index) != LUA_TUSERDATA) return nullptr;
  const TProxy* proxy = static_cast<const TProxy*>(lua_touserdata(lua, index));
  return proxy->kind == kind ? proxy : nullptr;
}

void PushProxyMetatable(lua_State* lua, EProxy kind, lua_CFunction newIndex, lua_CFunction toString) {
  luaL_newmetatable(lua, MetatableName(kind));
  lua_pushcfunction(lua, newIndex);
  lua_setfield(lua, -2, "__newindex");
  lua_pushcfunction(lua, toString);
  lua_setfield(lua, -2, "__tostring");
  lua_pushboolean(lua, 0);
  lua_setfield(lua, -2, "__metatable");
}

void OpenData(lua_State* lua) {
  PushProxyMetatable(lua, EProxy::kData, LuaFunction<SetData>, DataText);
  lua_newtable(lua);
  lua_pushcclosure(lua, LuaFunction<GetData>, 1);
  lua_setfield(lua, -2, "__index");
  PushProxyMetatable(lua, EProxy::kArray, LuaFunction<SetArray>, DataText);
  lua_pushcfunction(lua, LuaFunction<GetArray>);
  lua_setfield(lua, -2, "__index");
  lua_pushcfunction(lua, LuaFunction<ArrayLength>);
  lua_setfield(lua, -2, "__len");
  PushProxy(lua, EProxy::kData, 0);
  lua_setglobal(lua, "data");
  lua_settop(lua, 0);
}

}  // namespace runtime
