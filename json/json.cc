#include "json/json.h"

#include <new>
#include <nlohmann/json.hpp>
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

void CValue::Append(CValue value) { In(held).push_back(std::move(In(value.held))); }

void CValue::Set(const std::string& name, CValue value) { In(held)[name] = std::move(In(value.held)); }

std::string CValue::Text(int indentation) const {
  return In(held).dump(indentation, ' ', false, TLibraryValue::error_handler_t::replace);
}

}  // namespace json
