#include "runtime/script/script.h"

#include <algorithm>
#include <cmath>

#include "runtime/script/script_state.h"

namespace runtime {

namespace {

constexpr int kMaximumCallbacks = 100'000;  // in one period
// Lua reads them anew for each block, to count lines: some tenths of a second.
constexpr std::uint64_t kMaximumLinesBefore = 100'000'000;
constexpr char kChunkName[] = "=script";
constexpr char kReporter[] = "script";

// Yields a block to Lua behind as many line ends as stand before it, so that
// Lua counts the lines of the file.
struct TBlockReader {
  std::uint32_t linesBefore;
  std::string_view text;
};

const char* ReadPiece(lua_State*, void* data, std::size_t* size) {
  static constexpr char kLineEnds[] =
      "\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n"
      "\n\n"
      "\n\n\n\n\n\n";
  TBlockReader& reader = *static_cast<TBlockReader*>(data);
  if (reader.linesBefore > 0) {
    *size = std::min<std::size_t>(reader.linesBefore, sizeof kLineEnds - 1);
    reader.linesBefore -= static_cast<std::uint32_t>(*size);
    return kLineEnds;
  }
  *size = reader.text.size();
  const char* piece = reader.text.data();
  reader.text = {};
  return *size == 0 ? nullptr : piece;
}

// Takes a TBlockReader, yields the block as a function. Lua's compiler is bounded as
// what it makes is.
int Load(lua_State* lua) {
  if (lua_load(lua, ReadPiece, lua_touserdata(lua, 1), kChunkName, "t") != LUA_OK) return lua_error(lua);
  return 1;
}

// Of the first character that is no blank in a line, counted from that at `begin`,
// which is 1.
std::uint32_t OffsetOfLine(std::string_view text, std::size_t begin, std::uint32_t line) {
  std::size_t offset = begin;
  for (std::uint32_t i = 1; i < line; ++i) {
    const std::size_t end = text.find('\n', offset);
    if (end == std::string_view::npos) break;
    offset = end + 1;
  }
  while (offset < text.size() && (text[offset] == ' ' || text[offset] == '\t')) ++offset;
  return static_cast<std::uint32_t>(offset);
}

// An event procedure's result for an argument; false with a message.
bool TakeResult(TScriptState& state, int index, const THandler& handler, hx_expr::TValue* value) {
  lua_State* lua = state.lua;
  const int wanted = value->type == hx_expr::kBoolean ? LUA_TBOOLEAN : LUA_TNUMBER;
  if (lua_type(lua, index) != wanted) {
    Fail(state, "'%s' returned a wrong value: %s expected, got %s", handler.event.c_str(), lua_typename(lua, wanted),
         luaL_typename(lua, index));
    return false;
  }
  if (wanted == LUA_TBOOLEAN) {
    hx_tool::SetValueBoolean(value, lua_toboolean(lua, index) != 0);
    return true;
  }
  const double number = lua_tonumber(lua, index);
  if (!std::isfinite(number)) {
    Fail(state, "'%s' returned what is not a finite number", handler.event.c_str());
    return false;
  }
  hx_tool::SetValueLongReal(value, number);
  return true;
}

}  // namespace

CScript::CScript(TApplicationState& application) : state(std::make_unique<TScriptState>(application)) {
  OpenState(*state);
}

CScript::~CScript() { CloseState(*state); }

bool CScript::IsGlobal(std::string_view name) { return IsScriptGlobal(name); }

void CScript::RunBlock(std::uint32_t begin, std::uint32_t end) {
  lua_State* lua = state->lua;
  if (state->left) return;  // which was an error of the text
  if (lua == nullptr) throw TTextError{begin, "not enough memory for a script"};
  const CSource& source = state->application.source;
  const std::uint32_t first = source.Locate(begin).line;
  TBlockReader reader{first - 1, source.Text().substr(begin, end - begin)};
  state->linesBefore += reader.linesBefore;
  if (state->linesBefore > kMaximumLinesBefore) {
    throw TTextError{begin, "too many script blocks so far down the text: join them"};
  }
  lua_pushcfunction(lua, Load);
  lua_pushlightuserdata(lua, &reader);
  if (Run(*state, 1, 1) && Run(*state, 0, 0)) return;
  if (state->left) CloseState(*state);
  const std::uint32_t place = state->line < first ? begin : OffsetOfLine(source.Text(), begin, state->line - first + 1);
  state->line = 0;
  throw TTextError{place, ErrorText(*state)};
}

void CScript::Close() { state->closed = true; }

void CScript::RunDue(double time, bool wereLeftOut) {
  if (state->lua == nullptr) return;
  // A time that is a multiple of the period may differ from it by a rounding.
  time += kForgivenRounding * state->application.period;
  for (int i = 0; i < kMaximumCallbacks; ++i) {
    if (IsInterrupted(*state)) return;  // the run ends with this period
    CSchedule::TPending::node_type due = state->schedule.TakeDue(time);
    if (due.empty()) {
      state->overfull = false;
      return;
    }
    TCallback& callback = due.mapped();
    lua_rawgeti(state->lua, LUA_REGISTRYINDEX, callback.function);
    std::string error;
    if (!Run(*state, 0, 0)) {
      if (state->left) state->line = callback.line;
      error = ErrorText(*state);
    }
    if (!error.empty() && error != callback.lastError) state->application.Report(kReporter, error);
    if (state->left) return CloseState(*state);
    if (callback.interval > 0.0) {
      callback.lastError = std::move(error);
      state->schedule.Repeat(std::move(due), wereLeftOut ? time : 0.0);
    } else {
      luaL_unref(state->lua, LUA_REGISTRYINDEX, callback.function);
    }
  }
  if (!state->overfull && state->schedule.HasDue(time)) {
    state->application.Report(kReporter, "more than 100000 callbacks in one period: the others wait for the next");
  }
  state->overfull = true;
}

bool CScript::CallEvent(std::uint32_t handlerNumber, hx_expr::TValueArray* arguments, std::string* error) {
  lua_State* lua = state->lua;
  // A script that was left has no events, nor has one whose run is about to end.
  if (lua == nullptr || state->left || (state->depth == 0 && IsInterrupted(*state))) return true;
  if (handlerNumber >= state->handlers.size() || arguments->count > kMaximumArguments ||
      !lua_checkstack(lua, static_cast<int>(kMaximumArguments) + 4)) {
    *error = "the event procedure can't be called";
    return false;
  }
  const THandler& handler = state->handlers[handlerNumber];
  const int top = lua_gettop(lua);
  lua_rawgeti(lua, LUA_REGISTRYINDEX, handler.function);
  for (std::uint32_t i = 0; i < arguments->count; ++i) {
    const hx_expr::TValue& argument = arguments->items[i];
    if (argument.type == hx_expr::kBoolean) {
      lua_pushboolean(lua, argument.boolean);
    } else {
      lua_pushnumber(lua, argument.real);
    }
  }
  if (!Run(*state, static_cast<int>(arguments->count), LUA_MULTRET)) {
    if (state->left) state->line = handler.line;
    *error = ErrorText(*state);
    if (state->left && state->depth == 0) CloseState(*state);
    return false;
  }
  // All results or none.
  hx_expr::TValue values[kMaximumArguments] = {};
  const std::uint32_t count = std::min(static_cast<std::uint32_t>(lua_gettop(lua) - top), arguments->count);
  bool succeeded = true;
  for (std::uint32_t i = 0; i < count && succeeded; ++i) {
    values[i] = arguments->items[i];
    succeeded = TakeResult(*state, top + 1 + static_cast<int>(i), handler, &values[i]);
  }
  lua_settop(lua, top);
  if (!succeeded) {
    state->line = handler.line;
    *error = ErrorText(*state);
    return false;
  }
  std::copy_n(values, count, arguments->items);
  return true;
}

}  // namespace runtime
