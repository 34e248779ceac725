#include "json/json.h"

#include <new>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

namespace json {
namespace {

using TLibraryValue = nlohmann::ordered_json;

TLibraryValue& In(std::byte* held) { return *std::launder(reinterpret_cast<TLibraryValue*>(held)); }
const TLibraryValue& In(const std::byte* held) { return *std::launder(reinterpret_cast<const TLibraryValue*>(held)); }

}  // namespace

static_assert(sizeof(TLibraryValue) == sizeof(CValue) && alignof(TLibraryValue) == alignof(CValue));

CValue::CValue(std::nullptr_t) { new (held) TLibraryValue(nullptr); }
CValue::CValue(bool truth) { new (held) TLibraryValue(truth); }
CValue::CValue(std::int64_t number) { new (held) TLibraryValue(number); }
CValue::CValue(std::uint64_t number) { new (held) TLibraryValue(number); }
CValue::CValue(double number) { new (held) TLibraryValue(number); }
CValue::CValue(std::string_view text) { new (held) TLibraryValue(text); }
CValue::CValue(std::initializer_list<TMember> members) : CValue() {
  for (const TMember& member : members) Set(member.name, std::move(member.value));
}

CValue::CValue(const CValue& other) { new (held) TLibraryValue(In(other.held)); }
CValue::CValue(CValue&& other) noexcept { new (held) TLibraryValue(std::move(In(other.held))); }
CValue& CValue::operator=(CValue other) noexcept {
  In(held).swap(In(other.held));
  return *this;
}
CValue::~CValue() { In(held).~TLibraryValue(); }

CValue CValue::Array() {
  CValue array;
  In(array.held) = TLibraryValue::array();
  return array;
}

void CValue::Add(const std::string& name, CValue value) {
  In(held).get_ref<TLibraryValue::object_t&>().emplace_back(name, std::move(In(value.held)));
}

CValue CValue::Object() {
  CValue object;
  In(object.held) = TLibraryValue::object();
  return object;
}

void CValue::Append(CValue value) { In(held).push_back(std::move(In(value.held))); }

void CValue::Set(const std::string& name, CValue value) { In(held)[name] = std::move(In(value.held)); }

std::optional<CValue> CValue::Parse(std::string_view text) {
  // Members are looked for as they come, which takes long where they stand in order.
  const nlohmann::json parsed = nlohmann::json::parse(text, nullptr, false);
  if (parsed.is_discarded()) return std::nullopt;
  CValue value;
  In(value.held) = parsed;
  return value;
}

std::optional<CValue> CValue::ParseUnambiguous(std::string_view text) {
  using TEvent = TLibraryValue::parse_event_t;
  std::vector<std::set<std::string>> open;  // the names of each object that isn't closed yet
  bool isAmbiguous = false;
  const auto look = [&](int, TEvent event, TLibraryValue& parsed) {
    if (event == TEvent::object_start) open.emplace_back();
    if (event == TEvent::object_end) open.pop_back();
    if (event == TEvent::key && !open.back().insert(parsed.get<std::string>()).second) isAmbiguous = true;
    return true;
  };
  TLibraryValue parsed = TLibraryValue::parse(text, look, false);
  if (parsed.is_discarded() || isAmbiguous) return std::nullopt;
  CValue value;
  In(value.held) = std::move(parsed);
  return value;
}

CValue CValue::Member(const std::string& name) const {
  CValue member;
  const TLibraryValue& object = In(held);
  if (object.is_object() && object.contains(name)) In(member.held) = object[name];
  return member;
}

std::vector<std::string> CValue::Names() const {
  std::vector<std::string> names;
  if (!In(held).is_object()) return names;
  for (const auto& [name, value] : In(held).items()) names.push_back(name);
  return names;
}

bool CValue::IsNull() const { return In(held).is_null(); }

bool CValue::IsObject() const { return In(held).is_object(); }

bool CValue::IsArray() const { return In(held).is_array(); }

std::optional<bool> CValue::Truth() const {
  if (!In(held).is_boolean()) return std::nullopt;
  return In(held).get<bool>();
}

std::optional<double> CValue::Number() const {
  if (!In(held).is_number()) return std::nullopt;
  return In(held).get<double>();
}

std::optional<std::string> CValue::String() const {
  if (!In(held).is_string()) return std::nullopt;
  return In(held).get<std::string>();
}

std::vector<CValue> CValue::Elements() const {
  std::vector<CValue> elements;
  if (!In(held).is_array()) return elements;
  for (const TLibraryValue& element : In(held)) In(elements.emplace_back().held) = element;
  return elements;
}

std::string CValue::Text(int indentation) const {
  return In(held).dump(indentation, ' ', false, TLibraryValue::error_handler_t::replace);
}

}  // namespace json
