// Resolution, listing and calls of procedures, all by a class's one table.
#include <algorithm>
#include <cmath>

#include "regulator/conversion.h"
#include "regulator/regulator.h"

namespace loopbox {

namespace {

void Copy(std::uint32_t capacity, char16_t* destination, TText text) {
  runlib::WStrAssign(capacity, destination, text.length, text.text);
}

}  // namespace

bool TProcedureCall::Refuse(TText text) const {
  Copy(errorCapacity, errorText, text);
  return false;
}

bool TProcedureCall::TakeReal(std::uint32_t index, double* real) const {
  return ValueToReal(Argument(index), real) || Refuse(Text<20>(u"Chybný typ argumentu"));
}

bool TProcedureCall::TakeFinite(std::uint32_t index, double* real) const {
  double taken = 0.0;
  if (!TakeReal(index, &taken)) return false;
  if (!std::isfinite(taken)) return Refuse(Text<27>(u"Argument není konečné číslo"));
  *real = taken;
  return true;
}

bool TProcedureCall::TakeBoolean(std::uint32_t index, std::uint8_t* boolean) const {
  if (Argument(index).type != hx_expr::kBoolean) return Refuse(Text<20>(u"Chybný typ argumentu"));
  *boolean = Argument(index).boolean != 0;
  return true;
}

void TProcedureCall::GiveReal(std::uint32_t index, double real) const {
  hx_tool::SetValueLongReal(&arguments->items[index], real);
}

void TProcedureCall::GiveBoolean(std::uint32_t index, bool boolean) const {
  hx_tool::SetValueBoolean(&arguments->items[index], boolean);
}

const TProcedureRow* CRegulator::ProcedureOfId(std::uint32_t identifier) const {
  const auto found = std::find_if(tables.procedures.begin(), tables.procedures.end(),
                                  [&](const TProcedureRow& procedure) { return procedure.id == identifier; });
  return found == tables.procedures.end() ? nullptr : &*found;
}

std::uint32_t CRegulator::GetIdOfName(std::uint32_t length, const char16_t* procedureName, std::uint8_t flag) {
  const std::uint32_t identifier = CInstrument::GetIdOfName(length, procedureName, flag);
  if (identifier != hx_vinst::kNoIdentifier) return identifier;
  for (const TProcedureRow& procedure : tables.procedures) {
    if (procedure.resolves != nullptr && !procedure.resolves(*this)) continue;
    if (hx_vinst::Match(procedure.name.length, procedure.name.text, length, procedureName)) return procedure.id;
  }
  return hx_vinst::kNoIdentifier;
}

std::uint8_t CRegulator::GetNameOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* procedureName) {
  if (CInstrument::GetNameOfId(identifier, capacity, procedureName)) return 1;
  const TProcedureRow* procedure = ProcedureOfId(identifier);
  if (procedure == nullptr || procedure->description.text == nullptr) return 0;
  Copy(capacity, procedureName, procedure->name);
  return 1;
}

std::uint8_t CRegulator::GetDescriptionOfId(std::uint32_t identifier, std::uint32_t capacity, char16_t* description) {
  const TProcedureRow* procedure = ProcedureOfId(identifier);
  if (procedure == nullptr || procedure->description.text == nullptr) return 0;
  Copy(capacity, description, procedure->description);
  return 1;
}

std::uint8_t CRegulator::Invoke(std::uint32_t identifier, hx_expr::TValueArray* arguments, std::uint32_t errorCapacity,
                                char16_t* errorText) {
  if (errorText != nullptr) errorText[0] = 0;
  if ((identifier & hx_vinst::kHostIdentifier) != 0) {
    return CInstrument::Invoke(identifier, arguments, errorCapacity, errorText);
  }
  const TProcedureRow* procedure = ProcedureOfId(toolkit::IdIndex(identifier));
  if (procedure == nullptr || !IsComplete()) return 0;
  const TProcedureCall call = {arguments, errorCapacity, errorText};
  const std::uint32_t count = arguments == nullptr ? 0 : arguments->count;
  if (count < ParameterCount(procedure->name)) return call.Refuse(Text<22>(u"Chybný počet argumentů"));
  return procedure->run(*this, call);
}

std::uint8_t CRegulator::GetProcedureDescription(std::uint32_t index, std::uint32_t nameCapacity,
                                                 char16_t* procedureName, std::uint32_t descriptionCapacity,
                                                 char16_t* description) {
  if (index >= kEventCount) return 0;
  Copy(nameCapacity, procedureName, tables.events.texts[index].name);
  Copy(descriptionCapacity, description, tables.events.texts[index].description);
  return 1;
}

void CRegulator::FindEvents() {
  const auto find = [this](EEvent event) {
    const TText text = tables.events.texts[event].name;
    return GetIdOfName(text.length, text.text, 1);
  };
  loop.onOutputId = find(kOnOutput);
  loop.onOutputChangeId = find(kOnOutputChange);
}

}  // namespace loopbox
