// The data element that takes an output of a regulator.
#ifndef LOOPBOX_REGULATOR_OUTPUT_H
#define LOOPBOX_REGULATOR_OUTPUT_H

#include <cstdint>

#include "host/hx_main.h"
#include "regulator/text.h"

namespace loopbox {

// `owner` is always the regulator whose definition names the element.
struct TOutputElement {
  // Whether the definition names one.
  bool Given() const { return static_cast<std::uint32_t>(id) != static_cast<std::uint32_t>(hx_vinst::kNoDataElement); }
  // Back to none; the index expression is released.
  void Forget(hx_vinst::CInstrument& owner) {
    if (indexExpr != nullptr) owner.FreeExpression(&indexExpr);
    *this = {};
  }
  void Write(hx_vinst::CInstrument& owner, const hx_expr::TValue& value) const {
    owner.SetDataElement(id, indexExpr, &value);
  }
  void WriteBoolean(hx_vinst::CInstrument& owner, bool boolean) const {
    hx_expr::TValue value = {};
    hx_tool::SetValueBoolean(&value, boolean);
    Write(owner, value);
  }
  void WriteReal(hx_vinst::CInstrument& owner, double real) const {
    hx_expr::TValue value = {};
    hx_tool::SetValueLongReal(&value, real);
    Write(owner, value);
  }

  // A period touches these two alone.
  std::uint64_t id = hx_vinst::kNoDataElement;
  hx_expr::TExprTreeRecord* indexExpr = nullptr;  // null: the element is not of an array
  char16_t name[kNameCapacity + 1] = {};          // as written
};

}  // namespace loopbox

#endif
