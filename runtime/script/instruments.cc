// An instrument in a script: event procedures, colours, its rectangle. Its
// procedures are called elsewhere.
#include <cstdio>

#include "runtime/script/script_state.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr std::uint32_t kMaximumColors = 1000;  // an instrument that never says no is cut off

TInstrumentState& InstrumentAt(TScriptState& script, std::size_t index) {
  return script.application.instruments[index];
}

const TOfferedProcedure* FindEvent(TScriptState& script, std::size_t instrument, std::string_view name) {
  for (const TOfferedProcedure& event : OfferOf(script, instrument).events) {
    if (event.base == name) return &event;
  }
  return nullptr;
}

THandler* FindHandler(TScriptState& script, std::size_t instrument, std::string_view event) {
  for (THandler& handler : script.handlers) {
    if (handler.instrument == instrument && handler.event == event) return &handler;
  }
  return nullptr;
}

int FailNoEvent(TScriptState& script, std::size_t instrument, const char* name) {
  std::string known;
  for (const TOfferedProcedure& event : OfferOf(script, instrument).events)
    known += (known.empty() ? "" : ", ") + event.base;
  const char* className = InstrumentAt(script, instrument).className.c_str();
  if (known.empty()) return Fail(script, "'%s' is no event of %s, which has none", name, className);
  return Fail(script, "'%s' is no event of %s (there are %s)", name, className, known.c_str());
}

// The instrument of argument 1 and the name of argument 2.
const TProxy* NamedField(TScriptState& script, lua_State* lua, std::string_view* name) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kInstrument);
  if (proxy == nullptr || lua_type(lua, 2) != LUA_TSTRING) {
    Fail(script, "what an instrument has goes by names");
    return nullptr;
  }
  std::size_t length = 0;
  const char* characters = lua_tolstring(lua, 2, &length);
  *name = {characters, length};
  return proxy;
}

// `function NAME.OnOutput(u)`.
int SetField(TScriptState& script, lua_State* lua) {
  std::string_view name;
  const TProxy* proxy = NamedField(script, lua, &name);
  if (proxy == nullptr) return kFailed;
  const TOfferedProcedure* event = FindEvent(script, proxy->index, name);
  if (event == nullptr) return FailNoEvent(script, proxy->index, name.data());
  if (lua_type(lua, 3) != LUA_TFUNCTION) {
    return Fail(script, "'%s' is an event: function expected, got %s", name.data(), luaL_typename(lua, 3));
  }
  if (script.closed) {
    return Fail(script, "'%s' can't be defined any more: the instruments have been read", name.data());
  }
  lua_settop(lua, 3);
  const std::uint32_t line = LineOfDefinition(lua, 3);
  const int function = luaL_ref(lua, LUA_REGISTRYINDEX);
  if (THandler* handler = FindHandler(script, proxy->index, name)) {
    luaL_unref(lua, LUA_REGISTRYINDEX, handler->function);
    handler->function = function;
    handler->line = line;
    return 0;
  }
  const std::uint32_t number = static_cast<std::uint32_t>(script.handlers.size());
  script.handlers.push_back({proxy->index, event->base, function, line});
  InstrumentAt(script, proxy->index).object->host->events.push_back({event->name, number});
  return 0;
}

int Move(TScriptState& script, lua_State* lua) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kInstrument);
  if (proxy == nullptr) return Fail(script, "'move' is called with a colon: NAME:move(x, y, width, height)");
  if (RequireRead(script) == kFailed) return kFailed;
  std::int32_t sides[4];
  for (int i = 0; i < 4; ++i) {
    int isWhole = 0;
    const lua_Integer side = lua_type(lua, i + 2) == LUA_TNUMBER ? lua_tointegerx(lua, i + 2, &isWhole) : 0;
    if (!isWhole || side < INT32_MIN || side > INT32_MAX || (i >= 2 && side < 0)) {
      return Fail(script, "'move' takes x, y, width and height in whole pixels");
    }
    sides[i] = static_cast<std::int32_t>(side);
  }
  if (lua_gettop(lua) != 5) return Fail(script, "'move' takes x, y, width and height");
  InstrumentAt(script, proxy->index).object->NewRect({sides[0], sides[1], sides[2], sides[3]});
  return 0;
}

// Upvalues: the calling closures of procedures by name, `move`.
int GetField(TScriptState& script, lua_State* lua) {
  std::string_view name;
  const TProxy* proxy = NamedField(script, lua, &name);
  if (proxy == nullptr) return kFailed;
  if (name == "colors") {
    PushAsLua(script, [&] { PushProxy(lua, EProxy::kColors, proxy->index); });
    return 1;
  }
  if (name == "move") {
    lua_pushvalue(lua, lua_upvalueindex(2));
    return 1;
  }
  if (FindEvent(script, proxy->index, name) != nullptr) {
    const THandler* handler = FindHandler(script, proxy->index, name);
    if (handler == nullptr) {
      lua_pushnil(lua);
    } else {
      lua_rawgeti(lua, LUA_REGISTRYINDEX, handler->function);
    }
    return 1;
  }
  if (!HasProcedure(script, proxy->index, std::string(name))) {
    const TInstrumentState& instrument = InstrumentAt(script, proxy->index);
    return Fail(script, "'%s' (%s) has no procedure '%s' at this moment", instrument.name.c_str(),
                instrument.className.c_str(), name.data());
  }
  lua_pushvalue(lua, 2);
  if (lua_rawget(lua, lua_upvalueindex(1)) != LUA_TNIL) return 1;
  lua_pushvalue(lua, 2);
  lua_pushvalue(lua, 2);
  PushAsLua(script, [&] { lua_pushcclosure(lua, LuaFunction<CallProcedure>, 1); });
  lua_rawset(lua, lua_upvalueindex(1));
  lua_pushvalue(lua, 2);
  lua_rawget(lua, lua_upvalueindex(1));
  return 1;
}

int InstrumentText(TScriptState& script, lua_State* lua) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kInstrument);
  if (proxy == nullptr) return Fail(script, "not an instrument");
  PushAsLua(script, [&] { lua_pushstring(lua, InstrumentAt(script, proxy->index).name.c_str()); });
  return 1;
}

// --- Colours ---

// The word of the colour that argument 2 names; null with a message.
std::uint32_t* ColorWord(TScriptState& script, lua_State* lua, hx_vinst::CInstrument** object) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kColors);
  if (proxy == nullptr || lua_type(lua, 2) != LUA_TSTRING) {
    Fail(script, "colours have names");
    return nullptr;
  }
  const TInstrumentState& instrument = InstrumentAt(script, proxy->index);
  *object = instrument.object;
  char16_t keyword[kTextCapacity + 1];
  char16_t description[kTextCapacity + 1];
  for (std::uint32_t i = 0; i < kMaximumColors; ++i) {
    std::uint32_t* color = nullptr;
    std::uint32_t defaultColor = 0;
    if (!instrument.object->GetColorDescription(i, 0, &color, kTextCapacity, keyword, kTextCapacity, description,
                                                &defaultColor)) {
      break;
    }
    if (color != nullptr && Utf8(keyword) == lua_tostring(lua, 2)) return color;
  }
  Fail(script, "'%s' is no colour of %s", lua_tostring(lua, 2), instrument.className.c_str());
  return nullptr;
}

int GetColor(TScriptState& script, lua_State* lua) {
  hx_vinst::CInstrument* object = nullptr;
  const std::uint32_t* color = ColorWord(script, lua, &object);
  if (color == nullptr) return kFailed;
  char text[8];
  std::snprintf(text, sizeof text, "#%02X%02X%02X", *color & 0xFFu, (*color >> 8) & 0xFFu, (*color >> 16) & 0xFFu);
  PushAsLua(script, [&] { lua_pushstring(lua, text); });
  return 1;
}

// Six digits after `#`: red, green, blue.
bool ParseColor(std::string_view text, std::uint32_t* color) {
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  if (text.size() != 7 || text[0] != '#') return false;
  std::uint32_t word = 0;
  for (const char letter : text.substr(1)) {
    const std::size_t digit = kDigits.find(letter);
    if (digit == std::string_view::npos) return false;
    word = word * 16 + static_cast<std::uint32_t>(digit < 16 ? digit : digit - 6);
  }
  *color = (word & 0xFFu) << 16 | (word & 0xFF00u) | word >> 16;
  return true;
}

int SetColor(TScriptState& script, lua_State* lua) {
  if (RequireRead(script) == kFailed) return kFailed;
  hx_vinst::CInstrument* object = nullptr;
  std::uint32_t* color = ColorWord(script, lua, &object);
  if (color == nullptr) return kFailed;
  std::uint32_t word = 0;
  std::size_t length = 0;
  const char* text = lua_type(lua, 3) == LUA_TSTRING ? lua_tolstring(lua, 3, &length) : nullptr;
  if (text == nullptr || !ParseColor({text, length}, &word)) return Fail(script, "a colour is written \"#RRGGBB\"");
  *color = word;
  object->SettingsChanged();
  return 0;
}

int ColorsText(lua_State* lua) {
  lua_pushliteral(lua, "colors");
  return 1;
}

}  // namespace

void OpenInstruments(lua_State* lua) {
  PushProxyMetatable(lua, EProxy::kInstrument, LuaFunction<SetField>, LuaFunction<InstrumentText>);
  lua_newtable(lua);
  lua_pushcfunction(lua, LuaFunction<Move>);
  lua_pushcclosure(lua, LuaFunction<GetField>, 2);
  lua_setfield(lua, -2, "__index");
  PushProxyMetatable(lua, EProxy::kColors, LuaFunction<SetColor>, ColorsText);
  lua_pushcfunction(lua, LuaFunction<GetColor>);
  lua_setfield(lua, -2, "__index");
  const std::vector<TInstrumentState>& instruments = ScriptOf(lua).application.instruments;
  for (std::size_t i = 0; i < instruments.size(); ++i) {
    PushProxy(lua, EProxy::kInstrument, i);
    lua_setglobal(lua, instruments[i].name.c_str());
  }
  lua_settop(lua, 0);
}

}  // namespace runtime
