// Calling the procedures of instruments from a script. A name is looked up
// among those that the class lists, by the number of arguments that are not by
// reference, and resolved at each call, since which procedures exist depends
// on the instrument's settings. Names that are not listed are tried with the
// letters that the arguments may stand for, and without arguments as questions.
#include <algorithm>
#include <cmath>

#include "runtime/instruments/making.h"
#include "runtime/script/script_state.h"
#include "runtime/text/number_format.h"
#include "runtime/text/wide_text.h"

namespace runtime {

namespace {

constexpr std::size_t kMaximumUnlisted = 8;  // arguments of a procedure that is not listed
constexpr char kUnlistedMark = '*';          // of an argument that may be by reference or not
constexpr double kLookUpWork = 10'000.0;     // of trying every combination of letters

// Marks the arguments that "Name( &a, b : real )" shows with `&`. All are in
// and out where the description does not fit the letters.
void ReadReferences(TOfferedProcedure& procedure) {
  const std::string& text = procedure.description;
  const std::size_t open = text.find('(');
  bool atName = true;
  for (std::size_t i = open == std::string::npos ? text.size() : open + 1; i < text.size() && text[i] != ')'; ++i) {
    if (text[i] == ',' || text[i] == ';') {
      atName = true;
    } else if (atName && text[i] != ' ') {
      procedure.byReference += text[i] == '&' ? '&' : ' ';
      atName = false;
    }
  }
  for (const char mark : procedure.byReference) procedure.inputs += mark == ' ' ? 1 : 0;
}

TOfferedProcedure MakeProcedure(const TNamed& named) {
  TOfferedProcedure procedure;
  procedure.base = named.name.substr(0, named.name.find("__"));
  procedure.letters = LettersOf(named.name);
  procedure.name = Utf16(named.name);
  procedure.description = named.description;
  ReadReferences(procedure);
  return procedure;
}

bool Resolves(hx_vinst::CInstrument& object, const std::u16string& name, std::uint32_t* identifier) {
  *identifier = object.GetIdOfName(static_cast<std::uint32_t>(name.size()), name.c_str(), 0);
  return *identifier != hx_vinst::kNoIdentifier;
}

// Tries `base__` with letters, each one of those allowed at its place.
bool FindLetters(hx_vinst::CInstrument& object, const std::string& base, const std::vector<std::string_view>& allowed,
                 std::string* letters, std::uint32_t* identifier) {
  std::vector<std::size_t> chosen(allowed.size(), 0);
  for (;;) {
    letters->clear();
    for (std::size_t i = 0; i < allowed.size(); ++i) *letters += allowed[i][chosen[i]];
    if (Resolves(object, Utf16(base + "__" + *letters), identifier)) return true;
    std::size_t place = 0;
    while (place < allowed.size() && ++chosen[place] == allowed[place].size()) chosen[place++] = 0;
    if (place == allowed.size()) return false;
  }
}

struct TScriptCall {
  std::uint32_t identifier = 0;
  std::string letters;
  std::string byReference;
};

std::size_t GivenCount(lua_State* lua) { return static_cast<std::size_t>(lua_gettop(lua) - 1); }

// Chooses what is called; false with a message.
bool Choose(TScriptState& script, lua_State* lua, std::size_t index, const std::string& base, TScriptCall* call) {
  const TInstrumentState& instrument = script.application.instruments[index];
  const std::size_t given = GivenCount(lua);
  const TOfferedProcedure* fitting = nullptr;
  std::string known;
  for (const TOfferedProcedure& procedure : OfferOf(script, index).procedures) {
    if (procedure.base != base) continue;
    known += (known.empty() ? "" : " or ") + procedure.description;
    if (procedure.inputs != given) continue;
    fitting = &procedure;
    if (!Resolves(*instrument.object, procedure.name, &call->identifier)) continue;
    call->letters = procedure.letters;
    call->byReference = procedure.byReference;
    return true;
  }
  if (fitting != nullptr) {
    Fail(script, "%s of '%s' does not exist at this moment", fitting->description.c_str(), instrument.name.c_str());
    return false;
  }
  if (!known.empty()) {
    Fail(script, "wrong number of arguments (%zu) for %s", given, known.c_str());
    return false;
  }
  if (given <= kMaximumUnlisted) {
    std::vector<std::string_view> allowed(given);
    for (std::size_t i = 0; i < given; ++i) {
      allowed[i] = lua_type(lua, static_cast<int>(i) + 2) == LUA_TBOOLEAN ? "l" : "Rn";
    }
    if (FindLetters(*instrument.object, base, allowed, &call->letters, &call->identifier)) {
      call->byReference.assign(given, kUnlistedMark);
      return true;
    }
  }
  for (std::size_t asked = 1; given == 0 && asked <= kMaximumUnlisted; ++asked) {
    const std::vector<std::string_view> allowed(asked, "Rl");
    if (FindLetters(*instrument.object, base, allowed, &call->letters, &call->identifier)) {
      call->byReference.assign(asked, '&');
      return true;
    }
  }
  Fail(script, "'%s' has no procedure '%s' for these arguments (%zu) at this moment", instrument.name.c_str(),
       base.c_str(), given);
  return false;
}

// An argument from the stack; false with a message.
bool TakeArgument(TScriptState& script, lua_State* lua, const std::string& base, int stackIndex, char letter,
                  hx_expr::TValue* value) {
  const int wanted = letter == 'l' ? LUA_TBOOLEAN : LUA_TNUMBER;
  if (lua_type(lua, stackIndex) != wanted) {
    Fail(script, "argument %d of '%s': %s expected, got %s", stackIndex - 1, base.c_str(), lua_typename(lua, wanted),
         luaL_typename(lua, stackIndex));
    return false;
  }
  if (letter == 'l') {
    hx_tool::SetValueBoolean(value, lua_toboolean(lua, stackIndex) != 0);
    return true;
  }
  if (letter == 'n' && lua_isinteger(lua, stackIndex)) {
    const lua_Integer integer = lua_tointeger(lua, stackIndex);
    if (integer < INT32_MIN || integer > INT32_MAX) {
      Fail(script, "argument %d of '%s' is out of the range of 32 bits", stackIndex - 1, base.c_str());
      return false;
    }
    value->type = hx_expr::kSigned32;
    value->signed32 = static_cast<std::int32_t>(integer);
    return true;
  }
  const double number = lua_tonumber(lua, stackIndex);
  if (!std::isfinite(number)) {
    Fail(script, "argument %d of '%s' is not a finite number", stackIndex - 1, base.c_str());
    return false;
  }
  hx_tool::SetValueLongReal(value, number);
  return true;
}

// Fills the values and calls; the number of values or kFailed. `given` keeps them
// as they were before the call.
int Invoke(TScriptState& script, lua_State* lua, const TProxy& proxy, const std::string& base, hx_expr::TValue* given,
           hx_expr::TValue* values, char* marks) {
  TScriptCall call;
  if (!Choose(script, lua, proxy.index, base, &call)) return kFailed;
  const std::size_t count = call.letters.size();
  if (count > kMaximumArguments || call.byReference.size() != count) {
    return Fail(script, "'%s' is described in a way that can't be called", base.c_str());
  }
  int stackIndex = 2;
  for (std::size_t i = 0; i < count; ++i) {
    marks[i] = call.byReference[i];
    if (marks[i] == '&') {
      if (call.letters[i] == 'l') {
        hx_tool::SetValueBoolean(&values[i], 0);
      } else {
        hx_tool::SetValueLongReal(&values[i], 0.0);
      }
    } else if (!TakeArgument(script, lua, base, stackIndex++, call.letters[i], &values[i])) {
      return kFailed;
    }
  }
  const TInstrumentState& instrument = script.application.instruments[proxy.index];
  std::copy_n(values, count, given);
  hx_expr::TValueArray array = {static_cast<std::uint32_t>(count), values};
  char16_t error[kTextCapacity + 1] = {};
  const bool succeeded = instrument.object->Invoke(call.identifier, &array, kTextCapacity, error) != 0;
  if (script.left) return kFailed;  // an event was
  if (!succeeded) {
    if (error[0] == 0) return Fail(script, "'%s' of '%s' failed", base.c_str(), instrument.name.c_str());
    return Fail(script, "'%s' of '%s' failed: %s", base.c_str(), instrument.name.c_str(), Utf8(error).c_str());
  }
  return static_cast<int>(count);
}

}  // namespace

const TOffer& OfferOf(TScriptState& script, std::size_t instrument) {
  const TInstrumentState& asked = script.application.instruments[instrument];
  const auto known = script.offers.find(asked.className);
  if (known != script.offers.end()) return known->second;
  TOffer offer;
  for (const TNamed& event : EventsOf(*asked.object)) offer.events.push_back(MakeProcedure(event));
  for (const TNamed& procedure : ProceduresOf(*asked.object)) offer.procedures.push_back(MakeProcedure(procedure));
  // A procedure without a fitting description is called like one not listed.
  std::erase_if(offer.procedures, [](const TOfferedProcedure& procedure) {
    return procedure.byReference.size() != procedure.letters.size();
  });
  return script.offers.emplace(asked.className, std::move(offer)).first->second;
}

bool HasProcedure(TScriptState& script, std::size_t instrument, const std::string& base) {
  for (const TOfferedProcedure& procedure : OfferOf(script, instrument).procedures) {
    if (procedure.base == base) return true;
  }
  // Names beyond what any class can offer are none.
  if (base.size() > kTextCapacity) return false;
  script.workLeft -= static_cast<std::int64_t>(kLookUpWork);
  hx_vinst::CInstrument& object = *script.application.instruments[instrument].object;
  std::string letters;
  std::uint32_t identifier = 0;
  for (std::size_t count = 0; count <= kMaximumUnlisted; ++count) {
    const std::vector<std::string_view> allowed(count, "Rnl");
    if (FindLetters(object, base, allowed, &letters, &identifier)) return true;
  }
  return false;
}

namespace {

double NumberOf(const hx_expr::TValue& value) { return value.type == hx_expr::kSigned32 ? value.signed32 : value.real; }

bool IsSame(const hx_expr::TValue& a, const hx_expr::TValue& b) {
  return a.type == hx_expr::kBoolean ? (a.boolean != 0) == (b.boolean != 0) : NumberOf(a) == NumberOf(b);
}

void TellAction(const TScriptState& script, const TProxy& proxy, const std::string& base, const hx_expr::TValue* values,
                int count) {
  const TApplicationState& application = script.application;
  if (!application.options.action) return;
  std::string text = base + "(";
  for (int i = 0; i < count; ++i) {
    const hx_expr::TValue& value = values[i];
    if (i > 0) text += ", ";
    if (value.type == hx_expr::kBoolean) {
      text += value.boolean != 0 ? "true" : "false";
    } else {
      AppendShortest(NumberOf(value), &text);
    }
  }
  application.options.action(application.instruments[proxy.index].name, text + ")");
}

// What answers nothing acts. What may have answered in an argument that isn't
// described asks when its name says so, or when it changed one.
bool IsAction(const std::string& base, const hx_expr::TValue* given, const hx_expr::TValue* values, const char* marks,
              int count) {
  for (int i = 0; i < count; ++i) {
    if (marks[i] == '&') return false;
    if (marks[i] != kUnlistedMark) continue;
    if (base.starts_with("Get") || base.starts_with("Is") || !IsSame(given[i], values[i])) return false;
  }
  return true;
}

}  // namespace

int CallProcedure(TScriptState& script, lua_State* lua) {
  const TProxy* proxy = ProxyAt(lua, 1, EProxy::kInstrument);
  const char* base = lua_tostring(lua, lua_upvalueindex(1));
  if (proxy == nullptr) return Fail(script, "'%s' is called with a colon: NAME:%s(…)", base, base);
  if (RequireRead(script) == kFailed) return kFailed;
  hx_expr::TValue values[kMaximumArguments] = {};
  hx_expr::TValue given[kMaximumArguments] = {};
  char marks[kMaximumArguments] = {};
  const int count = Invoke(script, lua, *proxy, base, given, values, marks);
  if (count == kFailed) return kFailed;
  int results = 0;
  for (int i = 0; i < count; ++i) {
    if (marks[i] == ' ') continue;
    const hx_expr::TValue& value = values[i];
    if (value.type == hx_expr::kBoolean) {
      lua_pushboolean(lua, value.boolean);
    } else if (value.type == hx_expr::kSigned32) {
      lua_pushinteger(lua, value.signed32);
    } else if (std::isfinite(value.real)) {
      lua_pushnumber(lua, value.real);
    } else {
      return Fail(script, "result %d of '%s' is not a finite number", results + 1, base);
    }
    ++results;
  }
  if (IsAction(base, given, values, marks, count)) TellAction(script, *proxy, base, values, count);
  return results;
}

int RequireRead(TScriptState& script) {
  return script.closed ? 0 : Fail(script, "the instruments are not read yet: at(0, f) is the earliest for this");
}

}  // namespace runtime
